/* A phone process in C that links the installed library. */
#include <phonecore/fifo.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  NewFifo *queue = NULL;
  char text[32] = {0};
  int length = 0;
  if (NEWFIFO_INIT(&queue, 1024, 8) != 0) return 1;
  if (NEWFIFO_WRITE(queue, "hello from C", 12, 0) != 0) return 2;
  if (NEWFIFO_READ(queue, text, &length) != 12 || strcmp(text, "hello from C") != 0) return 3;
  if (NEWFIFO_RELEASE(&queue) != 0 || queue != NULL) return 4;
  printf("consumer: linked libphonecore and passed \"%s\" through a queue\n", text);
  return 0;
}

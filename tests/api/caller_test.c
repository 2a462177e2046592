/* A caller of the library written to its documented argument lists and
 * nothing else: every count, size and length pointer is an output, so a
 * zeroed, stale or garbage value on entry must not change what comes back.
 * Output buffers are given exactly the room the headers name, with a guard
 * byte behind it that must stay untouched.
 *
 *   caller_test unit   what needs no peers (runs on the host and under
 *                      qemu-arm)
 *   caller_test box    what needs the phone box: /proc, /appconfigs, the
 *                      shell, the message server and the SIP process */
#include <json-c/json.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "phonecore/bus_client.h"
#include "phonecore/fileutil.h"
#include "phonecore/json_msg.h"
#include "phonecore/syscmd.h"
#include "phonecore/text.h"
#include "phonecore/voip.h"

static int failures;

#define CHECK(cond)                                                            \
  do {                                                                         \
    if (!(cond)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                              \
    }                                                                          \
  } while (0)

#define GUARD 0x5A

/* The values a careless or older caller leaves in an output count. */
static const int entries[] = {0, 1, -1, 3, 0x7fffffff, (int)0x80000000u, 0x5A5A5A5A};
#define ENTRY_COUNT ((int)(sizeof entries / sizeof entries[0]))

/* A buffer of room bytes and a guard byte behind it. */
static unsigned char *guarded(size_t room) {
  unsigned char *b = malloc(room + 1);
  if (b == NULL) abort();
  memset(b, '#', room);
  b[room] = GUARD;
  return b;
}

/* The record is what other processes were built against. */
_Static_assert(offsetof(BusPacket, data) == 16, "header of 16 bytes");
_Static_assert(sizeof(((BusPacket *)0)->data) == 16384, "send buffer of 16384 payload bytes");
_Static_assert(offsetof(MessageClient, session_mask) == 8, "session mask after four u16");
_Static_assert(offsetof(MessageClient, listener) == 16, "listener after the mask");

/* --- without peers ------------------------------------------------------ */

static void text_tools(void) {
  unsigned char *out = guarded(STR_REPLACE_ME_OUT_SIZE);
  CHECK(str_replace_me("one two one", "one", "1", (char *)out) == 2);
  CHECK(strcmp((char *)out, "1 two 1") == 0);
  /* Output that grows past the room is cut there. */
  char *big = malloc(STR_REPLACE_ME_OUT_SIZE + 1);
  memset(big, 'a', STR_REPLACE_ME_OUT_SIZE);
  big[STR_REPLACE_ME_OUT_SIZE] = 0;
  CHECK(str_replace_me(big, "a", "xyz", (char *)out) == STR_REPLACE_ME_OUT_SIZE);
  CHECK(strlen((char *)out) == STR_REPLACE_ME_OUT_SIZE - 1);
  CHECK(out[STR_REPLACE_ME_OUT_SIZE] == GUARD);
  free(big);
  free(out);

  out = guarded(PARSE_SUB_STR_MAX);
  CHECK(parseSubStr("<b>bold</b>", "<b>", "</b>", (char *)out) == 4);
  CHECK(memcmp(out, "bold#", 5) == 0); /* not terminated */
  CHECK(parseSubStr("<b>bold", "<b>", "</b>", (char *)out) == -1);
  char *wide = malloc(PARSE_SUB_STR_MAX + 16);
  memset(wide, 'w', PARSE_SUB_STR_MAX + 15);
  wide[0] = '[';
  wide[PARSE_SUB_STR_MAX + 14] = ']';
  wide[PARSE_SUB_STR_MAX + 15] = 0;
  CHECK(parseSubStr(wide, "[", "]", (char *)out) == PARSE_SUB_STR_MAX);
  CHECK(out[PARSE_SUB_STR_MAX] == GUARD);
  free(wide);
  free(out);
}

/* A session record that no server knows: enough for the hook table, which
 * is all the waits look at. */
static void hook_waits(void) {
  MessageClient *c = calloc(1, sizeof *c);
  if (c == NULL) abort();
  const char *reply = "{\"msgtype\":\"caller_reply\",\"data\":\"0123456789abcdef\"}";
  const int reply_length = (int)strlen(reply);
  enum { kFifo = 256 };
  for (int i = 0; i < ENTRY_COUNT; ++i) {
    MsgHook *h = add_hook_bymsgname(c, "caller_reply", kFifo, 2);
    CHECK(h != NULL);
    if (h == NULL) break;
    hook_process_msgname(c, "caller_reply", reply, reply_length);
    unsigned char *dest = guarded(kFifo);
    int length = entries[i];
    CHECK(wiat_hook(c, h, dest, &length, 200) == reply_length);
    CHECK(length == reply_length);
    CHECK(memcmp(dest, reply, (size_t)reply_length) == 0);
    CHECK(dest[kFifo] == GUARD);

    hook_process_msgname(c, "caller_reply", reply, reply_length);
    length = entries[i];
    memset(dest, '#', kFifo);
    CHECK(wiat_hook_intant(c, h, dest, &length, 200) == reply_length);
    CHECK(length == reply_length);
    CHECK(memcmp(dest, reply, (size_t)reply_length) == 0);
    CHECK(dest[kFifo] == GUARD);
    CHECK(h->hook_type == 0); /* used once */

    /* Nothing came: the length is 0, whatever it was. */
    h = add_hook_bymsgname(c, "caller_reply", kFifo, 2);
    length = entries[i];
    CHECK(wiat_hook(c, h, dest, &length, 10) == 0);
    CHECK(length == 0);
    length = entries[i];
    CHECK(wiat_hook_intant(c, h, dest, &length, 10) == 0);
    CHECK(length == 0);
    free(dest);
  }
  /* An element of the whole FIFO size fits a destination of that room. */
  MsgHook *h = add_hook_bymsgtype(c, 42, kFifo, 2);
  unsigned char packet[kFifo];
  memset(packet, 'p', sizeof packet);
  uint16_t msgtype = 42;
  memcpy(packet + 4, &msgtype, sizeof msgtype);
  hook_process_msgtype(c, packet, kFifo);
  unsigned char *dest = guarded(kFifo);
  int length = 1;
  CHECK(wiat_hook_intant(c, h, dest, &length, 200) == kFifo);
  CHECK(length == kFifo);
  CHECK(dest[kFifo] == GUARD);
  free(dest);
  del_all_hook(c);
  free(c);
}

static void ownership_without_session(void) {
  /* Without a session the buffer form answers -1 and leaves the data
   * object to its caller, who still releases it. */
  json_object *data = json_object_new_object();
  json_object_object_add(data, "isCleard", json_object_new_int(0));
  unsigned char out[8];
  int out_length = 0x5A5A5A5A;
  CHECK(send_sjson_to_sip_hook_wait_buffer(NULL, "warnningist_get", 6, data, out, &out_length, 10) == -1);
  CHECK(strcmp(json_object_to_json_string(data), "{ \"isCleard\": 0 }") == 0);
  CHECK(json_object_put(data) == 1);

  unsigned char *list = guarded(VOIP_WARNNINGIST_MAX);
  CHECK(voip_warnningist_get(NULL, 0, list) == 0);
  CHECK(list[0] == '#' && list[VOIP_WARNNINGIST_MAX] == GUARD);
  free(list);
}

static void unit_checks(void) {
  text_tools();
  hook_waits();
  ownership_without_session();
}

/* --- in the phone box ---------------------------------------------------- */

static void process_lookup(void) {
  const char *self = "caller_test";
  for (int i = 0; i < ENTRY_COUNT; ++i) {
    pid_t pids[FIND_PID_MAX + 1];
    pids[FIND_PID_MAX] = (pid_t)-77;
    int count = entries[i];
    CHECK(find_pid_by_name(self, pids, &count) == 0);
    CHECK(count == 1);
    CHECK(pids[0] == getpid());
    CHECK(pids[FIND_PID_MAX] == (pid_t)-77);
    count = entries[i];
    CHECK(find_pid_by_name("msgserver", pids, &count) == 0);
    CHECK(count == 1);
    count = entries[i];
    CHECK(find_pid_by_name("nobody_has_this", pids, &count) == -1);
    CHECK(count == 0);
  }
}

static void whole_files(void) {
  const char text[] = "line one\nline two\n";
  CHECK(writeFileToBuf("caller_test.txt", text, (int)strlen(text)) == 0);
  unsigned char *buffer = guarded(READFILE_BUF2_MAX);
  for (int i = 0; i < ENTRY_COUNT; ++i) {
    int size = entries[i];
    memset(buffer, '#', READFILE_BUF2_MAX);
    CHECK(readFileToBuf2("caller_test.txt", (char *)buffer, &size) == 0);
    CHECK(size == (int)strlen(text));
    CHECK(strcmp((char *)buffer, text) == 0);
    size = entries[i];
    CHECK(readFileToBuf2("caller_test_missing.txt", (char *)buffer, &size) == -1);
    CHECK(size == 0);
  }
  /* A file larger than the room is read up to it. */
  char *big = malloc(READFILE_BUF2_MAX * 2);
  memset(big, 'b', READFILE_BUF2_MAX * 2);
  CHECK(writeFileToBuf("caller_test_big.txt", big, READFILE_BUF2_MAX * 2) == 0);
  int size = 0;
  CHECK(readFileToBuf2("caller_test_big.txt", (char *)buffer, &size) == 0);
  CHECK(size > 0 && size < READFILE_BUF2_MAX);
  CHECK(buffer[READFILE_BUF2_MAX] == GUARD);
  free(big);
  free(buffer);
  unlink("/appconfigs/caller_test.txt");
  unlink("/appconfigs/caller_test_big.txt");
}

static void shell_and_hosts(void) {
  unsigned char *line = guarded(POPEN_CMD_GETSTR_SIZE);
  CHECK(popen_cmd_getstr("echo first; echo second", (char *)line) == 0);
  CHECK(strcmp((char *)line, "first") == 0);
  CHECK(popen_cmd_getstr("head -c 1000 /dev/zero | tr '\\0' x", (char *)line) == 0);
  CHECK(strlen((char *)line) == POPEN_CMD_GETSTR_SIZE - 1);
  CHECK(line[POPEN_CMD_GETSTR_SIZE] == GUARD);
  CHECK(popen_cmd_getstr("true", (char *)line) == -1);
  CHECK(line[0] == 0 && line[POPEN_CMD_GETSTR_SIZE] == GUARD);
  free(line);

  unsigned char *name = guarded(PHONECORE_HOSTNAME_MAX);
  const int r = gethostnamebyip("127.0.0.1", (char *)name);
  CHECK(r == 0 || r == -1);
  if (r == 0) CHECK(name[0] != 0 && strlen((char *)name) < PHONECORE_HOSTNAME_MAX);
  CHECK(name[PHONECORE_HOSTNAME_MAX] == GUARD);
  CHECK(gethostnamebyip("no address", (char *)name) == -1);
  free(name);
}

static void bus_calls(void) {
  MessageClient *c = request_pc_connect(3311, 1, NULL, "caller_test");
  CHECK(c != NULL);
  if (c == NULL) return;
  for (int i = 0; i < ENTRY_COUNT; ++i) {
    unsigned char *out = guarded(BUS_BUFFER_REPLY_MAX);
    int out_length = entries[i];
    /* The SIP process answers account_get with the account records. */
    CHECK(send_sjson_to_sip_hook_wait_buffer(c, "account_get", 6, NULL, out, &out_length, 500) == 0);
    CHECK(out_length >= 0 && out_length <= BUS_BUFFER_REPLY_MAX);
    CHECK(out_length % 676 == 0);
    CHECK(out[BUS_BUFFER_REPLY_MAX] == GUARD);
    memset(out, '#', BUS_BUFFER_REPLY_MAX);
    CHECK(voip_warnningist_get(c, 0, out) == 1);
    CHECK(out[BUS_BUFFER_REPLY_MAX] == GUARD);
    free(out);
  }
  /* The short connection's reply length is an output too; with 0 ticks
   * and 0 tries it sends twice and nobody answers "caller_ping". */
  char text[JSON_MSG_TEXT_MAX];
  make_simple_request("caller_ping", NULL, text);
  for (int i = 0; i < ENTRY_COUNT; ++i) {
    unsigned char reply[BUS_BUFFER_REPLY_MAX + 1];
    int reply_length = entries[i];
    CHECK(request_short_connect(3312, 3313, 0, 1, text, (int)strlen(text) + 1, reply, &reply_length, 0, 0, 1000) == -1);
    CHECK(reply_length == 0);
  }
  CHECK(request_pc_disconnect(c) == 0);
}

static void box_checks(void) {
  process_lookup();
  whole_files();
  shell_and_hosts();
  bus_calls();
}

int main(int argc, char **argv) {
  const char *mode = argc > 1 ? argv[1] : "unit";
  if (strcmp(mode, "unit") == 0) {
    unit_checks();
  } else if (strcmp(mode, "box") == 0) {
    unit_checks();
    box_checks();
  } else {
    fprintf(stderr, "usage: %s unit|box\n", argv[0]);
    return 2;
  }
  if (failures != 0) {
    fprintf(stderr, "%d checks failed\n", failures);
    return 1;
  }
  printf("caller_test %s: all checks passed\n", mode);
  return 0;
}

/* phonecore: in-process queues.
 *
 * NEWFIFO_* is a queue of whole messages of varying length; UNEQUAL_FIFO_*
 * is a plain byte stream. Both are rings with a mutex inside, and neither
 * ever blocks: a full or empty queue answers at once with a negative code
 * and the caller polls (every 5 ms on the bus). */
#ifndef PHONECORE_FIFO_H
#define PHONECORE_FIFO_H

#include <pthread.h>
#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Descriptor count of every NewFifo, whatever its slot count. */
#define NEWFIFO_MAX_ENTRIES 3000

typedef struct FifoEntry {
    uint32_t offset; /* start of the element in the ring */
    uint32_t length; /* element length in bytes */
    uint64_t tag;    /* the writer's tag, handed back by NEWFIFO_READ2 */
} FifoEntry;

/* A queue of messages. The ring is allocated with size + 4096 bytes, of
 * which size are used; a queue of n slots holds n - 1 elements. */
typedef struct NewFifo {
    pthread_mutex_t lock;
    uint8_t *data;
    FifoEntry entries[NEWFIFO_MAX_ENTRIES];
    uint32_t used;         /* bytes now in the ring */
    int32_t read_index;    /* next descriptor to read */
    int32_t write_index;   /* next descriptor to write */
    uint32_t write_offset; /* next write position in the ring */
    int32_t size;          /* ring size in bytes */
    int32_t slots;         /* descriptors in use, at most 3000 */
} NewFifo;

/* A byte stream of exactly size bytes. */
typedef struct UnequalFifo {
    pthread_mutex_t lock;
    uint8_t *buffer;
    uint32_t read_position;
    uint32_t write_position;
    int32_t size;
    int32_t used;
} UnequalFifo;

/* Creates a queue of size ring bytes and slots descriptors; stores it in
 * *fifo. Returns 0. A slot count above 3000 is cut to 3000. */
PHONECORE_API int NEWFIFO_INIT(NewFifo **fifo, int size, int slots) PHONECORE_NOEXCEPT;
/* Frees the queue and sets *fifo to NULL. -1 if *fifo is already NULL. */
PHONECORE_API int NEWFIFO_RELEASE(NewFifo **fifo) PHONECORE_NOEXCEPT;
/* Empties the queue without taking its lock. */
PHONECORE_API int NEWFIFO_RESET(NewFifo *fifo) PHONECORE_NOEXCEPT;
/* Appends one element. 0; -1 null argument; -2 no free descriptor;
 * -3 too little room in the ring. A full queue drops the new element. */
PHONECORE_API int NEWFIFO_WRITE(NewFifo *fifo, const void *data, int length, uint64_t tag) PHONECORE_NOEXCEPT;
/* Takes the oldest element into dest, which must hold the longest element.
 * Returns its length, also stored in *length; -1 null argument; -2 empty. */
PHONECORE_API int NEWFIFO_READ(NewFifo *fifo, void *dest, int *length) PHONECORE_NOEXCEPT;
/* As NEWFIFO_READ, and stores the element's tag in *tag. */
PHONECORE_API int NEWFIFO_READ2(NewFifo *fifo, void *dest, int *length, uint64_t *tag) PHONECORE_NOEXCEPT;
/* Elements waiting; a full queue answers slots, one more than it holds. */
PHONECORE_API int NEWFIFO_READ_LEFT(NewFifo *fifo) PHONECORE_NOEXCEPT;
/* 0 if something is waiting, -2 if empty, -1 for a null queue. */
PHONECORE_API int NEWFIFO_READ_HASDATA(NewFifo *fifo) PHONECORE_NOEXCEPT;

PHONECORE_API int UNEQUAL_FIFO_INIT(UnequalFifo **fifo, int size) PHONECORE_NOEXCEPT;
PHONECORE_API int UNEQUAL_FIFO_RELEASE(UnequalFifo **fifo) PHONECORE_NOEXCEPT;
/* 0; -1 null or released queue; -2 fewer than length bytes held. */
PHONECORE_API int UNEQUAL_FIFO_READ(UnequalFifo *fifo, void *dest, int length) PHONECORE_NOEXCEPT;
/* 0; -1 null or released queue; -2 fewer than length bytes free. */
PHONECORE_API int UNEQUAL_FIFO_WRITE(UnequalFifo *fifo, const void *src, int length) PHONECORE_NOEXCEPT;
PHONECORE_API int UNEQUAL_FIFO_RESET(UnequalFifo *fifo) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif

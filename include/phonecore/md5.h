/* phonecore: MD5 digests (the published algorithm, RFC 1321) of memory and
 * of files, as the upgrader and the provisioning compare them: 32
 * lower-case hexadecimal characters. */
#ifndef PHONECORE_MD5_H
#define PHONECORE_MD5_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define ZKMD5_DIGEST_SIZE 16
#define ZKMD5_TEXT_SIZE 33 /* 32 hexadecimal characters and the terminator */

/* The running state of one digest. */
typedef struct ZKMD5_CTX {
    uint32_t state[4];        /* A, B, C, D */
    uint32_t count[2];        /* message length in bits, low word first */
    unsigned char buffer[64]; /* the block being gathered */
} ZKMD5_CTX;

PHONECORE_API void ZKMD5Init(ZKMD5_CTX *context) PHONECORE_NOEXCEPT;
PHONECORE_API void ZKMD5Update(ZKMD5_CTX *context, const unsigned char *input, unsigned int length) PHONECORE_NOEXCEPT;
/* Pads, writes the 16-byte digest and clears the context. */
PHONECORE_API void ZKMD5Final(unsigned char digest[ZKMD5_DIGEST_SIZE], ZKMD5_CTX *context) PHONECORE_NOEXCEPT;
/* One 64-byte block into the state. */
PHONECORE_API void ZKMD5Transform(uint32_t state[4], const unsigned char block[64]) PHONECORE_NOEXCEPT;
/* 32-bit words to bytes, little-endian; length in bytes, a multiple of 4. */
PHONECORE_API void ZKMD5Encode(unsigned char *output, const uint32_t *input, unsigned int length) PHONECORE_NOEXCEPT;
/* Bytes to 32-bit words, little-endian; length in bytes, a multiple of 4. */
PHONECORE_API void ZKMD5Decode(uint32_t *output, const unsigned char *input, unsigned int length) PHONECORE_NOEXCEPT;

/* out: 33 bytes. 0. */
PHONECORE_API int calculateStringMd5(const void *data, unsigned int length, char *out) PHONECORE_NOEXCEPT;
/* out: 33 bytes. 0, or the failed open or read result (after perror). */
PHONECORE_API int calculateFileMd5(const char *path, char *out) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif

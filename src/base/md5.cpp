// MD5 (RFC 1321): the running digest and the two conveniences that give
// the 32-character text the upgrader and the provisioning compare.

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "phonecore/md5.h"

static_assert(sizeof(ZKMD5_CTX) == 16 + 8 + 64);

namespace phonecore::base {
namespace {

constexpr unsigned int kBlock = 64;
constexpr size_t kFileBlock = 1024;  // a shorter read ends the file
static_assert(kFileBlock % kBlock == 0, "whole reads are hashed in place, without the gathering buffer");

constexpr unsigned char kPadding[kBlock] = {0x80};

// The message is little-endian 32-bit words at any address: memcpy is the
// alignment-safe load, and compiles to one plain load (or a memory operand)
// where the processor allows unaligned words, as x86 and ARMv7 do.
[[gnu::always_inline]] inline uint32_t word(const unsigned char* block, int n) {
  uint32_t value;
  std::memcpy(&value, block + 4 * n, sizeof value);
  if constexpr (std::endian::native == std::endian::big) value = __builtin_bswap32(value);
  return value;
}

// Each step is a = b + ((a + fn(b, c, d) + x + t) <<< s), and the time a
// block takes is the chain of operations from one step's result (the new b)
// to the next one's. The word and the constant do not wait for it: they are
// added first. The round functions are written to put the fewest operations
// on that chain: F as a selection by xor-and-xor, H with c ^ d first, and G,
// (b & d) | (c & ~d), as the sum of its two disjoint halves, the half
// without b added before b is there.
[[gnu::always_inline]] inline uint32_t f(uint32_t b, uint32_t c, uint32_t d) { return d ^ (b & (c ^ d)); }
[[gnu::always_inline]] inline uint32_t h(uint32_t b, uint32_t c, uint32_t d) { return b ^ (c ^ d); }
[[gnu::always_inline]] inline uint32_t i(uint32_t b, uint32_t c, uint32_t d) { return c ^ (b | ~d); }

template <uint32_t (*Fn)(uint32_t, uint32_t, uint32_t), int S>
[[gnu::always_inline]] inline void step(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t) {
  a += x + t;
  a += Fn(b, c, d);
  a = std::rotl(a, S) + b;
}

template <int S>
[[gnu::always_inline]] inline void step_g(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t) {
  a += x + t;
  a += c & ~d;
  a += b & d;
  a = std::rotl(a, S) + b;
}

// Hashes `count` whole blocks straight from `data` (any alignment); the
// state stays in registers from the first block to the last.
void blocks(uint32_t state[4], const unsigned char* data, size_t count) {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (; count != 0; --count, data += kBlock) {
    const uint32_t a0 = a, b0 = b, c0 = c, d0 = d;
    const unsigned char* const x = data;

    step<f, 7>(a, b, c, d, word(x, 0), 0xd76aa478);
    step<f, 12>(d, a, b, c, word(x, 1), 0xe8c7b756);
    step<f, 17>(c, d, a, b, word(x, 2), 0x242070db);
    step<f, 22>(b, c, d, a, word(x, 3), 0xc1bdceee);
    step<f, 7>(a, b, c, d, word(x, 4), 0xf57c0faf);
    step<f, 12>(d, a, b, c, word(x, 5), 0x4787c62a);
    step<f, 17>(c, d, a, b, word(x, 6), 0xa8304613);
    step<f, 22>(b, c, d, a, word(x, 7), 0xfd469501);
    step<f, 7>(a, b, c, d, word(x, 8), 0x698098d8);
    step<f, 12>(d, a, b, c, word(x, 9), 0x8b44f7af);
    step<f, 17>(c, d, a, b, word(x, 10), 0xffff5bb1);
    step<f, 22>(b, c, d, a, word(x, 11), 0x895cd7be);
    step<f, 7>(a, b, c, d, word(x, 12), 0x6b901122);
    step<f, 12>(d, a, b, c, word(x, 13), 0xfd987193);
    step<f, 17>(c, d, a, b, word(x, 14), 0xa679438e);
    step<f, 22>(b, c, d, a, word(x, 15), 0x49b40821);

    step_g<5>(a, b, c, d, word(x, 1), 0xf61e2562);
    step_g<9>(d, a, b, c, word(x, 6), 0xc040b340);
    step_g<14>(c, d, a, b, word(x, 11), 0x265e5a51);
    step_g<20>(b, c, d, a, word(x, 0), 0xe9b6c7aa);
    step_g<5>(a, b, c, d, word(x, 5), 0xd62f105d);
    step_g<9>(d, a, b, c, word(x, 10), 0x02441453);
    step_g<14>(c, d, a, b, word(x, 15), 0xd8a1e681);
    step_g<20>(b, c, d, a, word(x, 4), 0xe7d3fbc8);
    step_g<5>(a, b, c, d, word(x, 9), 0x21e1cde6);
    step_g<9>(d, a, b, c, word(x, 14), 0xc33707d6);
    step_g<14>(c, d, a, b, word(x, 3), 0xf4d50d87);
    step_g<20>(b, c, d, a, word(x, 8), 0x455a14ed);
    step_g<5>(a, b, c, d, word(x, 13), 0xa9e3e905);
    step_g<9>(d, a, b, c, word(x, 2), 0xfcefa3f8);
    step_g<14>(c, d, a, b, word(x, 7), 0x676f02d9);
    step_g<20>(b, c, d, a, word(x, 12), 0x8d2a4c8a);

    step<h, 4>(a, b, c, d, word(x, 5), 0xfffa3942);
    step<h, 11>(d, a, b, c, word(x, 8), 0x8771f681);
    step<h, 16>(c, d, a, b, word(x, 11), 0x6d9d6122);
    step<h, 23>(b, c, d, a, word(x, 14), 0xfde5380c);
    step<h, 4>(a, b, c, d, word(x, 1), 0xa4beea44);
    step<h, 11>(d, a, b, c, word(x, 4), 0x4bdecfa9);
    step<h, 16>(c, d, a, b, word(x, 7), 0xf6bb4b60);
    step<h, 23>(b, c, d, a, word(x, 10), 0xbebfbc70);
    step<h, 4>(a, b, c, d, word(x, 13), 0x289b7ec6);
    step<h, 11>(d, a, b, c, word(x, 0), 0xeaa127fa);
    step<h, 16>(c, d, a, b, word(x, 3), 0xd4ef3085);
    step<h, 23>(b, c, d, a, word(x, 6), 0x04881d05);
    step<h, 4>(a, b, c, d, word(x, 9), 0xd9d4d039);
    step<h, 11>(d, a, b, c, word(x, 12), 0xe6db99e5);
    step<h, 16>(c, d, a, b, word(x, 15), 0x1fa27cf8);
    step<h, 23>(b, c, d, a, word(x, 2), 0xc4ac5665);

    step<i, 6>(a, b, c, d, word(x, 0), 0xf4292244);
    step<i, 10>(d, a, b, c, word(x, 7), 0x432aff97);
    step<i, 15>(c, d, a, b, word(x, 14), 0xab9423a7);
    step<i, 21>(b, c, d, a, word(x, 5), 0xfc93a039);
    step<i, 6>(a, b, c, d, word(x, 12), 0x655b59c3);
    step<i, 10>(d, a, b, c, word(x, 3), 0x8f0ccc92);
    step<i, 15>(c, d, a, b, word(x, 10), 0xffeff47d);
    step<i, 21>(b, c, d, a, word(x, 1), 0x85845dd1);
    step<i, 6>(a, b, c, d, word(x, 8), 0x6fa87e4f);
    step<i, 10>(d, a, b, c, word(x, 15), 0xfe2ce6e0);
    step<i, 15>(c, d, a, b, word(x, 6), 0xa3014314);
    step<i, 21>(b, c, d, a, word(x, 13), 0x4e0811a1);
    step<i, 6>(a, b, c, d, word(x, 4), 0xf7537e82);
    step<i, 10>(d, a, b, c, word(x, 11), 0xbd3af235);
    step<i, 15>(c, d, a, b, word(x, 2), 0x2ad7d2bb);
    step<i, 21>(b, c, d, a, word(x, 9), 0xeb86d391);

    a += a0;
    b += b0;
    c += c0;
    d += d0;
  }
  state[0] = a;
  state[1] = b;
  state[2] = c;
  state[3] = d;
}

// Adds `length` bytes to the message length kept in bits, low word first.
void count_bytes(ZKMD5_CTX* context, size_t length) {
  const uint64_t bits = ((uint64_t{context->count[1]} << 32) | context->count[0]) + (uint64_t{length} << 3);
  context->count[0] = static_cast<uint32_t>(bits);
  context->count[1] = static_cast<uint32_t>(bits >> 32);
}

void update(ZKMD5_CTX* context, const unsigned char* input, size_t length) {
  size_t index = (context->count[0] >> 3) & 0x3f;  // bytes already gathered
  count_bytes(context, length);
  if (index != 0) {
    const size_t room = kBlock - index;
    if (length < room) {
      std::memcpy(&context->buffer[index], input, length);
      return;
    }
    std::memcpy(&context->buffer[index], input, room);
    blocks(context->state, context->buffer, 1);
    input += room;
    length -= room;
  }
  // Whole blocks straight from the caller's bytes; only the tail is kept.
  blocks(context->state, input, length / kBlock);
  std::memcpy(context->buffer, input + (length & ~size_t{kBlock - 1}), length % kBlock);
}

void to_hex(const unsigned char digest[ZKMD5_DIGEST_SIZE], char* out) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (int n = 0; n < ZKMD5_DIGEST_SIZE; ++n) {
    out[2 * n] = kDigits[digest[n] >> 4];
    out[2 * n + 1] = kDigits[digest[n] & 0x0f];
  }
  out[2 * ZKMD5_DIGEST_SIZE] = '\0';
}

}  // namespace
}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

void ZKMD5Init(ZKMD5_CTX* context) noexcept {
  context->count[0] = context->count[1] = 0;
  context->state[0] = 0x67452301;
  context->state[1] = 0xefcdab89;
  context->state[2] = 0x98badcfe;
  context->state[3] = 0x10325476;
}

void ZKMD5Update(ZKMD5_CTX* context, const unsigned char* input, unsigned int length) noexcept {
  if (input == nullptr || length == 0) return;
  update(context, input, length);
}

void ZKMD5Final(unsigned char digest[ZKMD5_DIGEST_SIZE], ZKMD5_CTX* context) noexcept {
  unsigned char bits[8];
  ZKMD5Encode(bits, context->count, 8);
  // Pad to 56 bytes modulo 64, then the length in bits.
  const unsigned int index = (context->count[0] >> 3) & 0x3f;
  const unsigned int pad = index < 56 ? 56 - index : 120 - index;
  ZKMD5Update(context, kPadding, pad);
  ZKMD5Update(context, bits, 8);
  ZKMD5Encode(digest, context->state, ZKMD5_DIGEST_SIZE);
  std::memset(context, 0, sizeof *context);
}

void ZKMD5Transform(uint32_t state[4], const unsigned char block[64]) noexcept { blocks(state, block, 1); }

void ZKMD5Encode(unsigned char* output, const uint32_t* input, unsigned int length) noexcept {
  for (unsigned int n = 0, j = 0; j < length; ++n, j += 4) {
    output[j] = static_cast<unsigned char>(input[n] & 0xff);
    output[j + 1] = static_cast<unsigned char>((input[n] >> 8) & 0xff);
    output[j + 2] = static_cast<unsigned char>((input[n] >> 16) & 0xff);
    output[j + 3] = static_cast<unsigned char>((input[n] >> 24) & 0xff);
  }
}

void ZKMD5Decode(uint32_t* output, const unsigned char* input, unsigned int length) noexcept {
  for (unsigned int n = 0, j = 0; j < length; ++n, j += 4) {
    output[n] = static_cast<uint32_t>(input[j]) | (static_cast<uint32_t>(input[j + 1]) << 8) |
                (static_cast<uint32_t>(input[j + 2]) << 16) | (static_cast<uint32_t>(input[j + 3]) << 24);
  }
}

int calculateStringMd5(const void* data, unsigned int length, char* out) noexcept {
  if (out == nullptr) return -1;
  ZKMD5_CTX context;
  ZKMD5Init(&context);
  if (data != nullptr) ZKMD5Update(&context, static_cast<const unsigned char*>(data), length);
  unsigned char digest[ZKMD5_DIGEST_SIZE];
  ZKMD5Final(digest, &context);
  to_hex(digest, out);
  return 0;
}

int calculateFileMd5(const char* path, char* out) noexcept {
  if (path == nullptr || out == nullptr) return -1;
  const int fd = open(path, O_RDONLY);
  if (fd < 0) {
    perror("open");
    return fd;
  }
  ZKMD5_CTX context;
  ZKMD5Init(&context);
  // A whole read is whole blocks: they are hashed where read() put them.
  alignas(kBlock) unsigned char block[kFileBlock];
  for (;;) {
    const ssize_t got = read(fd, block, sizeof block);
    if (got < 0) {
      perror("read");
      close(fd);
      return static_cast<int>(got);
    }
    update(&context, block, static_cast<size_t>(got));
    if (static_cast<size_t>(got) < sizeof block) break;
  }
  close(fd);
  unsigned char digest[ZKMD5_DIGEST_SIZE];
  ZKMD5Final(digest, &context);
  to_hex(digest, out);
  return 0;
}

}  // extern "C"

// MD5 (RFC 1321): the running digest and the two conveniences that give
// the 32-character text the upgrader and the provisioning compare.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "phonecore/md5.h"

static_assert(sizeof(ZKMD5_CTX) == 16 + 8 + 64);

namespace phonecore::base {
namespace {

constexpr unsigned int kBlock = 64;
constexpr size_t kFileBlock = 1024;  // a shorter read ends the file

constexpr unsigned char kPadding[kBlock] = {0x80};

constexpr uint32_t rotate_left(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }
constexpr uint32_t f(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (~x & z); }
constexpr uint32_t g(uint32_t x, uint32_t y, uint32_t z) { return (x & z) | (y & ~z); }
constexpr uint32_t h(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
constexpr uint32_t i(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

// One step of a round: a = b + ((a + fn(b, c, d) + x + t) <<< s).
template <uint32_t (*Fn)(uint32_t, uint32_t, uint32_t)>
inline void step(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int s, uint32_t t) {
  a = b + rotate_left(a + Fn(b, c, d) + x + t, s);
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
  unsigned int index = (context->count[0] >> 3) & 0x3f;  // bytes already in the buffer
  const uint32_t bits = static_cast<uint32_t>(length) << 3;
  if ((context->count[0] += bits) < bits) ++context->count[1];
  context->count[1] += static_cast<uint32_t>(length) >> 29;

  const unsigned int room = kBlock - index;
  unsigned int done = 0;
  if (length >= room) {
    std::memcpy(&context->buffer[index], input, room);
    ZKMD5Transform(context->state, context->buffer);
    for (done = room; done + kBlock - 1 < length; done += kBlock) ZKMD5Transform(context->state, &input[done]);
    index = 0;
  }
  std::memcpy(&context->buffer[index], &input[done], length - done);
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

void ZKMD5Transform(uint32_t state[4], const unsigned char block[64]) noexcept {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  uint32_t x[16];
  ZKMD5Decode(x, block, kBlock);

  step<f>(a, b, c, d, x[0], 7, 0xd76aa478);
  step<f>(d, a, b, c, x[1], 12, 0xe8c7b756);
  step<f>(c, d, a, b, x[2], 17, 0x242070db);
  step<f>(b, c, d, a, x[3], 22, 0xc1bdceee);
  step<f>(a, b, c, d, x[4], 7, 0xf57c0faf);
  step<f>(d, a, b, c, x[5], 12, 0x4787c62a);
  step<f>(c, d, a, b, x[6], 17, 0xa8304613);
  step<f>(b, c, d, a, x[7], 22, 0xfd469501);
  step<f>(a, b, c, d, x[8], 7, 0x698098d8);
  step<f>(d, a, b, c, x[9], 12, 0x8b44f7af);
  step<f>(c, d, a, b, x[10], 17, 0xffff5bb1);
  step<f>(b, c, d, a, x[11], 22, 0x895cd7be);
  step<f>(a, b, c, d, x[12], 7, 0x6b901122);
  step<f>(d, a, b, c, x[13], 12, 0xfd987193);
  step<f>(c, d, a, b, x[14], 17, 0xa679438e);
  step<f>(b, c, d, a, x[15], 22, 0x49b40821);

  step<g>(a, b, c, d, x[1], 5, 0xf61e2562);
  step<g>(d, a, b, c, x[6], 9, 0xc040b340);
  step<g>(c, d, a, b, x[11], 14, 0x265e5a51);
  step<g>(b, c, d, a, x[0], 20, 0xe9b6c7aa);
  step<g>(a, b, c, d, x[5], 5, 0xd62f105d);
  step<g>(d, a, b, c, x[10], 9, 0x02441453);
  step<g>(c, d, a, b, x[15], 14, 0xd8a1e681);
  step<g>(b, c, d, a, x[4], 20, 0xe7d3fbc8);
  step<g>(a, b, c, d, x[9], 5, 0x21e1cde6);
  step<g>(d, a, b, c, x[14], 9, 0xc33707d6);
  step<g>(c, d, a, b, x[3], 14, 0xf4d50d87);
  step<g>(b, c, d, a, x[8], 20, 0x455a14ed);
  step<g>(a, b, c, d, x[13], 5, 0xa9e3e905);
  step<g>(d, a, b, c, x[2], 9, 0xfcefa3f8);
  step<g>(c, d, a, b, x[7], 14, 0x676f02d9);
  step<g>(b, c, d, a, x[12], 20, 0x8d2a4c8a);

  step<h>(a, b, c, d, x[5], 4, 0xfffa3942);
  step<h>(d, a, b, c, x[8], 11, 0x8771f681);
  step<h>(c, d, a, b, x[11], 16, 0x6d9d6122);
  step<h>(b, c, d, a, x[14], 23, 0xfde5380c);
  step<h>(a, b, c, d, x[1], 4, 0xa4beea44);
  step<h>(d, a, b, c, x[4], 11, 0x4bdecfa9);
  step<h>(c, d, a, b, x[7], 16, 0xf6bb4b60);
  step<h>(b, c, d, a, x[10], 23, 0xbebfbc70);
  step<h>(a, b, c, d, x[13], 4, 0x289b7ec6);
  step<h>(d, a, b, c, x[0], 11, 0xeaa127fa);
  step<h>(c, d, a, b, x[3], 16, 0xd4ef3085);
  step<h>(b, c, d, a, x[6], 23, 0x04881d05);
  step<h>(a, b, c, d, x[9], 4, 0xd9d4d039);
  step<h>(d, a, b, c, x[12], 11, 0xe6db99e5);
  step<h>(c, d, a, b, x[15], 16, 0x1fa27cf8);
  step<h>(b, c, d, a, x[2], 23, 0xc4ac5665);

  step<i>(a, b, c, d, x[0], 6, 0xf4292244);
  step<i>(d, a, b, c, x[7], 10, 0x432aff97);
  step<i>(c, d, a, b, x[14], 15, 0xab9423a7);
  step<i>(b, c, d, a, x[5], 21, 0xfc93a039);
  step<i>(a, b, c, d, x[12], 6, 0x655b59c3);
  step<i>(d, a, b, c, x[3], 10, 0x8f0ccc92);
  step<i>(c, d, a, b, x[10], 15, 0xffeff47d);
  step<i>(b, c, d, a, x[1], 21, 0x85845dd1);
  step<i>(a, b, c, d, x[8], 6, 0x6fa87e4f);
  step<i>(d, a, b, c, x[15], 10, 0xfe2ce6e0);
  step<i>(c, d, a, b, x[6], 15, 0xa3014314);
  step<i>(b, c, d, a, x[13], 21, 0x4e0811a1);
  step<i>(a, b, c, d, x[4], 6, 0xf7537e82);
  step<i>(d, a, b, c, x[11], 10, 0xbd3af235);
  step<i>(c, d, a, b, x[2], 15, 0x2ad7d2bb);
  step<i>(b, c, d, a, x[9], 21, 0xeb86d391);

  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

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
  unsigned char block[kFileBlock];
  for (;;) {
    const ssize_t got = read(fd, block, sizeof block);
    if (got < 0) {
      perror("read");
      close(fd);
      return static_cast<int>(got);
    }
    ZKMD5Update(&context, block, static_cast<unsigned int>(got));
    if (static_cast<size_t>(got) < sizeof block) break;
  }
  close(fd);
  unsigned char digest[ZKMD5_DIGEST_SIZE];
  ZKMD5Final(digest, &context);
  to_hex(digest, out);
  return 0;
}

}  // extern "C"

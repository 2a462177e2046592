// MD5 against the test suite of RFC 1321, against known digests of messages
// whose lengths sit on the 64-byte block borders and the padding's 56-byte
// border, and the running digest fed in pieces of every size across those
// borders, from addresses of every alignment.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "phonecore/md5.h"

namespace {

std::string md5_of(const std::string& text) {
  char out[ZKMD5_TEXT_SIZE];
  EXPECT_EQ(calculateStringMd5(text.data(), static_cast<unsigned int>(text.size()), out), 0);
  return out;
}

TEST(Md5, MatchesTheTestSuiteOfRfc1321) {
  EXPECT_EQ(md5_of(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5_of("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(md5_of("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5_of("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(md5_of("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(md5_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(md5_of("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

// Byte n of a known message is n modulo 251: a period that is no divisor of
// the block, so no two blocks of it are alike.
std::vector<unsigned char> known_message(size_t length) {
  std::vector<unsigned char> message(length);
  for (size_t n = 0; n < length; ++n) message[n] = static_cast<unsigned char>(n % 251);
  return message;
}

std::string text_of(const unsigned char digest[ZKMD5_DIGEST_SIZE]) {
  char text[ZKMD5_TEXT_SIZE];
  for (int n = 0; n < ZKMD5_DIGEST_SIZE; ++n) std::snprintf(text + 2 * n, 3, "%02x", digest[n]);
  return text;
}

// The digests as md5sum and Python's hashlib give them for known_message().
struct KnownDigest {
  size_t length;
  const char* digest;
};
constexpr KnownDigest kKnownDigests[] = {
    {0, "d41d8cd98f00b204e9800998ecf8427e"},    {55, "6912ee65fff2d9f9ce2508cddf8bcda0"},
    {56, "51fdd1acda72405dfdfa03fcb85896d7"},   {63, "48a6295221902e8e0938f773a7185e72"},
    {64, "b2d3f56bc197fd985d5965079b5e7148"},   {65, "8bd7053801c768420faf816fadba971c"},
    {119, "1c772251899a7ff007400b888d6b2042"},  {120, "b7ba1efc6022e9ed272f00b8831e26e6"},
    {1000, "a24f1e3ef66950e1327f210e3997ba2c"}, {size_t{1} << 20, "8f293a2f6c19b345152f7a49bb4c643c"},
};

TEST(Md5, KnownDigestsAtTheBlockAndPaddingBorders) {
  for (const KnownDigest& known : kKnownDigests) {
    const std::vector<unsigned char> message = known_message(known.length);
    char whole[ZKMD5_TEXT_SIZE];
    ASSERT_EQ(calculateStringMd5(message.data(), static_cast<unsigned int>(message.size()), whole), 0);
    EXPECT_STREQ(whole, known.digest) << known.length << " bytes";
  }
}

TEST(Md5, KnownDigestsInOddPiecesFromEveryAlignment) {
  // The pieces never fit the block: each update starts and ends mid-block,
  // and with the start shifted the words are read from unaligned addresses.
  constexpr unsigned int kPieces[] = {1, 3, 7, 61, 63, 65, 127, 1021, 4093};
  for (const KnownDigest& known : kKnownDigests) {
    for (size_t shift = 0; shift < 8; ++shift) {
      std::vector<unsigned char> storage(known.length + shift);
      const std::vector<unsigned char> message = known_message(known.length);
      std::copy(message.begin(), message.end(), storage.begin() + static_cast<std::ptrdiff_t>(shift));
      const unsigned char* const data = storage.data() + shift;
      ZKMD5_CTX context;
      ZKMD5Init(&context);
      size_t at = 0;
      for (size_t piece = 0; at < known.length; ++piece) {
        const size_t size = std::min<size_t>(kPieces[piece % std::size(kPieces)], known.length - at);
        ZKMD5Update(&context, data + at, static_cast<unsigned int>(size));
        at += size;
      }
      unsigned char digest[ZKMD5_DIGEST_SIZE];
      ZKMD5Final(digest, &context);
      EXPECT_EQ(text_of(digest), known.digest) << known.length << " bytes from offset " << shift;

      // And in one piece from the same unaligned start.
      char whole[ZKMD5_TEXT_SIZE];
      calculateStringMd5(data, static_cast<unsigned int>(known.length), whole);
      EXPECT_STREQ(whole, known.digest) << known.length << " bytes in one piece from offset " << shift;
    }
  }
}

TEST(Md5, TransformReadsABlockAtAnyAlignment) {
  // The 64-byte known message is its block and then the padding block: 0x80,
  // zeros, and the length, 512 bits, little-endian in the last eight bytes.
  const std::vector<unsigned char> message = known_message(64);
  unsigned char padding[64] = {0x80};
  padding[56] = 0x00;
  padding[57] = 0x02;
  for (size_t shift = 0; shift < 8; ++shift) {
    std::vector<unsigned char> storage(2 * 64 + shift);
    std::copy(message.begin(), message.end(), storage.begin() + static_cast<std::ptrdiff_t>(shift));
    std::copy_n(padding, 64, storage.begin() + static_cast<std::ptrdiff_t>(shift + 64));
    uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    ZKMD5Transform(state, storage.data() + shift);
    ZKMD5Transform(state, storage.data() + shift + 64);
    unsigned char digest[ZKMD5_DIGEST_SIZE];
    ZKMD5Encode(digest, state, ZKMD5_DIGEST_SIZE);
    EXPECT_EQ(text_of(digest), "b2d3f56bc197fd985d5965079b5e7148") << "offset " << shift;
  }
}

TEST(Md5, APieceAtATimeGivesTheDigestOfTheWhole) {
  std::mt19937 random(1321);
  std::vector<unsigned char> data(5000);
  for (unsigned char& byte : data) byte = static_cast<unsigned char>(random());
  for (unsigned int length : {55u, 56u, 57u, 63u, 64u, 65u, 119u, 120u, 127u, 128u, 129u, 1023u, 1024u, 1025u, 5000u}) {
    char whole[ZKMD5_TEXT_SIZE];
    calculateStringMd5(data.data(), length, whole);
    for (unsigned int piece : {1u, 3u, 63u, 64u, 65u, 1000u}) {
      ZKMD5_CTX context;
      ZKMD5Init(&context);
      for (unsigned int at = 0; at < length; at += piece) {
        ZKMD5Update(&context, data.data() + at, std::min(piece, length - at));
      }
      unsigned char digest[ZKMD5_DIGEST_SIZE];
      ZKMD5Final(digest, &context);
      EXPECT_EQ(text_of(digest), whole) << length << " in pieces of " << piece;
    }
  }
}

TEST(Md5, FinalClearsTheContext) {
  ZKMD5_CTX context;
  ZKMD5Init(&context);
  ZKMD5Update(&context, reinterpret_cast<const unsigned char*>("abc"), 3);
  unsigned char digest[ZKMD5_DIGEST_SIZE];
  ZKMD5Final(digest, &context);
  const ZKMD5_CTX zero{};
  EXPECT_EQ(std::memcmp(&context, &zero, sizeof context), 0);
}

TEST(Md5, EncodeAndDecodeAreLittleEndian) {
  const uint32_t words[2] = {0x04030201, 0xddccbbaa};
  unsigned char bytes[8];
  ZKMD5Encode(bytes, words, 8);
  const unsigned char expected[8] = {1, 2, 3, 4, 0xaa, 0xbb, 0xcc, 0xdd};
  EXPECT_EQ(std::memcmp(bytes, expected, 8), 0);
  uint32_t back[2] = {};
  ZKMD5Decode(back, bytes, 8);
  EXPECT_EQ(back[0], words[0]);
  EXPECT_EQ(back[1], words[1]);
}

TEST(Md5, TransformOfThePaddedEmptyMessageIsItsDigest) {
  unsigned char block[64] = {0x80};
  uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  ZKMD5Transform(state, block);
  unsigned char digest[16];
  ZKMD5Encode(digest, state, 16);
  EXPECT_EQ(digest[0], 0xd4);
  EXPECT_EQ(digest[15], 0x7e);
}

TEST(Md5, NoDataIsTheEmptyDigestAndNoOutputIsRefused) {
  char out[ZKMD5_TEXT_SIZE];
  EXPECT_EQ(calculateStringMd5(nullptr, 10, out), 0);
  EXPECT_STREQ(out, "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(calculateStringMd5("a", 1, nullptr), -1);
}

}  // namespace

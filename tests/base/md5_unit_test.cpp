// MD5 against the test suite of RFC 1321, and the running digest fed in
// pieces of every size across the 64-byte block borders.

#include <gtest/gtest.h>

#include <cstring>
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
      char text[ZKMD5_TEXT_SIZE];
      for (int n = 0; n < ZKMD5_DIGEST_SIZE; ++n) std::snprintf(text + 2 * n, 3, "%02x", digest[n]);
      EXPECT_STREQ(text, whole) << length << " in pieces of " << piece;
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

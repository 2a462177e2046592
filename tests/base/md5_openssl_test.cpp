// The library's MD5 against OpenSSL's on the same bytes: random messages of
// every length around the block and padding borders, and a 1 MiB message fed
// in odd pieces from unaligned addresses. Built where the tests find
// libcrypto; the library itself never links it.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "phonecore/md5.h"

namespace {

std::string text_of(const unsigned char* digest, unsigned int length) {
  std::string text;
  char two[3];
  for (unsigned int n = 0; n < length; ++n) {
    std::snprintf(two, sizeof two, "%02x", digest[n]);
    text += two;
  }
  return text;
}

std::string openssl_md5(const unsigned char* data, size_t length) {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  EVP_DigestInit_ex(context, EVP_md5(), nullptr);
  EVP_DigestUpdate(context, data, length);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_DigestFinal_ex(context, digest, &size);
  EVP_MD_CTX_free(context);
  return text_of(digest, size);
}

std::vector<unsigned char> random_bytes(size_t length, unsigned int seed) {
  std::mt19937 random(seed);
  std::vector<unsigned char> data(length);
  for (unsigned char& byte : data) byte = static_cast<unsigned char>(random());
  return data;
}

TEST(Md5Openssl, EveryLengthUpToFiveBlocksInOnePiece) {
  const std::vector<unsigned char> data = random_bytes(5 * 64 + 1, 1321);
  for (size_t length = 0; length <= data.size(); ++length) {
    char ours[ZKMD5_TEXT_SIZE];
    calculateStringMd5(data.data(), static_cast<unsigned int>(length), ours);
    EXPECT_EQ(ours, openssl_md5(data.data(), length)) << length << " bytes";
  }
}

TEST(Md5Openssl, BorderLengthsInOddPiecesFromUnalignedAddresses) {
  constexpr size_t kLengths[] = {0, 55, 56, 63, 64, 65, 119, 120, 1000, size_t{1} << 20};
  constexpr unsigned int kPieces[] = {1, 5, 7, 59, 61, 67, 131, 1021, 8191};
  const std::vector<unsigned char> storage = random_bytes((size_t{1} << 20) + 8, 64);
  for (size_t length : kLengths) {
    for (size_t shift : {0, 1, 2, 3, 5}) {
      const unsigned char* const data = storage.data() + shift;
      const std::string expected = openssl_md5(data, length);
      for (size_t first = 0; first < std::size(kPieces); ++first) {
        ZKMD5_CTX context;
        ZKMD5Init(&context);
        size_t at = 0;
        for (size_t piece = first; at < length; ++piece) {
          const size_t size = std::min<size_t>(kPieces[piece % std::size(kPieces)], length - at);
          ZKMD5Update(&context, data + at, static_cast<unsigned int>(size));
          at += size;
        }
        unsigned char digest[ZKMD5_DIGEST_SIZE];
        ZKMD5Final(digest, &context);
        EXPECT_EQ(text_of(digest, ZKMD5_DIGEST_SIZE), expected)
            << length << " bytes from offset " << shift << ", pieces starting with " << kPieces[first];
      }
    }
  }
}

}  // namespace

// calculateFileMd5 against OpenSSL's MD5 on the same 64 MiB file, in the
// same run. The baseline reads the file as `openssl dgst` does, in 8 KiB
// blocks, into the EVP digest; the library reads 1024-byte blocks, as the
// phone's upgrader always has. Median of seven rounds each, the file in the
// page cache.

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "phonecore/md5.h"

namespace {

constexpr size_t kFileSize = size_t{64} << 20;
constexpr const char* kPath = "/tmp/md5_bench.bin";
constexpr int kRounds = 7;

std::string openssl_file_md5(const char* path) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) return "";
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  EVP_DigestInit_ex(context, EVP_md5(), nullptr);
  std::vector<unsigned char> block(8192);
  ssize_t got;
  while ((got = read(fd, block.data(), block.size())) > 0) EVP_DigestUpdate(context, block.data(), got);
  close(fd);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context, digest, &length);
  EVP_MD_CTX_free(context);
  char text[2 * EVP_MAX_MD_SIZE + 1] = {};
  for (unsigned int n = 0; n < length; ++n) std::snprintf(text + 2 * n, 3, "%02x", digest[n]);
  return text;
}

template <typename F>
double median_seconds(F&& f) {
  std::vector<double> rounds;
  for (int n = 0; n < kRounds; ++n) {
    const auto start = std::chrono::steady_clock::now();
    f();
    rounds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(rounds.begin(), rounds.end());
  return rounds[kRounds / 2];
}

}  // namespace

int main() {
  {
    std::mt19937_64 random(64);
    std::vector<uint64_t> data(kFileSize / sizeof(uint64_t));
    for (uint64_t& word : data) word = random();
    FILE* f = std::fopen(kPath, "wb");
    if (f == nullptr || std::fwrite(data.data(), 1, kFileSize, f) != kFileSize) return 1;
    std::fclose(f);
  }
  char ours[ZKMD5_TEXT_SIZE] = {};
  if (calculateFileMd5(kPath, ours) != 0 || openssl_file_md5(kPath) != ours) {
    std::fprintf(stderr, "the two digests differ\n");
    return 1;
  }
  const double library = median_seconds([&] { calculateFileMd5(kPath, ours); });
  const double openssl = median_seconds([] { openssl_file_md5(kPath); });
  const double mib = static_cast<double>(kFileSize) / (1 << 20);
  std::printf("MD5 of a 64 MiB file, median of %d rounds\n", kRounds);
  std::printf("  OpenSSL EVP MD5, 8 KiB reads   %7.1f ms  %7.1f MiB/s\n", openssl * 1e3, mib / openssl);
  std::printf("  calculateFileMd5, 1 KiB reads  %7.1f ms  %7.1f MiB/s\n", library * 1e3, mib / library);
  std::printf("  throughput ratio (library / OpenSSL): %.2f\n", openssl / library);
  std::remove(kPath);
  return 0;
}

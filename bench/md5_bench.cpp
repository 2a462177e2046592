// The library's MD5 against OpenSSL's in the same run, two ways:
//
//  - in memory: ZKMD5Init, one ZKMD5Update over a 64 MiB buffer, ZKMD5Final,
//    against EVP_DigestInit_ex, one EVP_DigestUpdate, EVP_DigestFinal_ex
//    over the same buffer;
//  - from a file: calculateFileMd5 on a 64 MiB file in the page cache, which
//    reads 1024-byte blocks as the phone's upgrader always has, against the
//    EVP digest reading the same file as `openssl dgst` does, in 8 KiB blocks;
//  - and, to show what the smaller reads cost by themselves, the bare reads
//    of that file in 1 KiB blocks against 8 KiB blocks, nothing hashed.
//
// The machine may be busy with other work: each round times the library and
// OpenSSL back to back, alternating which goes first, so that a burst of load
// falls on both. Each is timed twice over: by the clock on the wall and by the
// processor time of this thread (user and kernel, the reads included), which
// leaves out the time other programs had the processor. Each figure is the
// median of its rounds; a ratio is OpenSSL's median time over the library's
// (above 1: the library is faster).

#include <fcntl.h>
#include <openssl/evp.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "phonecore/md5.h"

namespace {

constexpr size_t kSize = size_t{64} << 20;
constexpr const char* kPath = "/tmp/md5_bench.bin";
constexpr int kRounds = 9;

std::string hex(const unsigned char* digest, unsigned int length) {
  char text[2 * EVP_MAX_MD_SIZE + 1] = {};
  for (unsigned int n = 0; n < length; ++n) std::snprintf(text + 2 * n, 3, "%02x", digest[n]);
  return text;
}

std::string openssl_memory_md5(const std::vector<unsigned char>& data) {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  EVP_DigestInit_ex(context, EVP_md5(), nullptr);
  EVP_DigestUpdate(context, data.data(), data.size());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context, digest, &length);
  EVP_MD_CTX_free(context);
  return hex(digest, length);
}

std::string library_memory_md5(const std::vector<unsigned char>& data) {
  ZKMD5_CTX context;
  ZKMD5Init(&context);
  ZKMD5Update(&context, data.data(), static_cast<unsigned int>(data.size()));
  unsigned char digest[ZKMD5_DIGEST_SIZE];
  ZKMD5Final(digest, &context);
  return hex(digest, ZKMD5_DIGEST_SIZE);
}

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
  return hex(digest, length);
}

// Reads the whole file in blocks of `size` bytes and does nothing else.
void read_only(const char* path, size_t size) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) return;
  std::vector<unsigned char> block(size);
  while (read(fd, block.data(), block.size()) > 0) {
  }
  close(fd);
}

std::string library_file_md5(const char* path) {
  char text[ZKMD5_TEXT_SIZE] = {};
  calculateFileMd5(path, text);
  return text;
}

struct Time {
  double wall;       // seconds
  double processor;  // seconds
};

double processor_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <typename F>
Time timed(F&& f) {
  const double processor_start = processor_seconds();
  const auto start = std::chrono::steady_clock::now();
  f();
  const auto end = std::chrono::steady_clock::now();
  return {std::chrono::duration<double>(end - start).count(), processor_seconds() - processor_start};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Medians {
  std::vector<double> wall, processor;
  void add(Time time) {
    wall.push_back(time.wall);
    processor.push_back(time.processor);
  }
  Time get() const { return {median(wall), median(processor)}; }
};

struct Comparison {
  Time library;
  Time openssl;
};

// kRounds rounds, each timing both, the library first in even rounds.
template <typename Library, typename Openssl>
Comparison compare(Library&& library, Openssl&& openssl) {
  Medians ours, theirs;
  for (int round = 0; round < kRounds; ++round) {
    if (round % 2 == 0) {
      ours.add(timed(library));
      theirs.add(timed(openssl));
    } else {
      theirs.add(timed(openssl));
      ours.add(timed(library));
    }
  }
  return {ours.get(), theirs.get()};
}

void print(const char* title, const char* library_name, const char* openssl_name, Comparison result,
           const char* ratio_name = "throughput ratio (library / OpenSSL)") {
  const double mib = static_cast<double>(kSize) / (1 << 20);
  std::printf("%s, median of %d rounds (wall clock | processor time)\n", title, kRounds);
  const auto line = [mib](const char* name, Time time) {
    std::printf("  %-31s %6.1f ms %6.1f MiB/s | %6.1f ms %6.1f MiB/s\n", name, time.wall * 1e3, mib / time.wall,
                time.processor * 1e3, mib / time.processor);
  };
  line(openssl_name, result.openssl);
  line(library_name, result.library);
  std::printf("  %s: %.2f wall clock, %.2f processor time\n", ratio_name, result.openssl.wall / result.library.wall,
              result.openssl.processor / result.library.processor);
}

}  // namespace

int main() {
  std::vector<unsigned char> data(kSize);
  {
    std::mt19937_64 random(64);
    for (size_t at = 0; at < kSize; at += sizeof(uint64_t)) {
      const uint64_t word = random();
      std::copy_n(reinterpret_cast<const unsigned char*>(&word), sizeof word, &data[at]);
    }
    FILE* f = std::fopen(kPath, "wb");
    if (f == nullptr || std::fwrite(data.data(), 1, kSize, f) != kSize) return 1;
    std::fclose(f);
  }
  const std::string expected = openssl_memory_md5(data);
  if (library_memory_md5(data) != expected || library_file_md5(kPath) != expected ||
      openssl_file_md5(kPath) != expected) {
    std::fprintf(stderr, "the digests differ\n");
    std::remove(kPath);
    return 1;
  }

  const Comparison memory = compare([&] { library_memory_md5(data); }, [&] { openssl_memory_md5(data); });
  const Comparison file = compare([] { library_file_md5(kPath); }, [] { openssl_file_md5(kPath); });
  const Comparison reads = compare([] { read_only(kPath, 1024); }, [] { read_only(kPath, 8192); });
  std::remove(kPath);

  print("MD5 of a 64 MiB buffer in memory", "ZKMD5Update, one call", "OpenSSL EVP MD5, one update", memory);
  print("MD5 of a 64 MiB file in the page cache", "calculateFileMd5, 1 KiB reads", "OpenSSL EVP MD5, 8 KiB reads",
        file);
  print("Reading the 64 MiB file alone, nothing hashed", "1 KiB reads", "8 KiB reads", reads,
        "throughput ratio (1 KiB / 8 KiB)");
  return 0;
}

// A cloud phone book on a phone whose /tmp is full: the box's /tmp holds
// 256 KiB here, a book of some 2 MiB is cut where the RAM disk ends, and
// the cut document is reported as one that can't be parsed; the book stays
// empty, nothing crashes, and a small book is fetched once there is room.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "phonecore/cloudbook.h"
#include "support/cloud_books.h"
#include "support/http_peer.h"

namespace fs = std::filesystem;
using phonecore::testing::cache_of;
using phonecore::testing::directory_of;
using phonecore::testing::HttpPeer;
using phonecore::testing::set_books;

namespace {

constexpr const char* kServed = "/run/phonebox/books/";

// What f prints on standard output: kept in /run, since the capture of the
// test framework would go to the full /tmp.
template <typename F>
std::string printed(F&& f) {
  constexpr const char* kOut = "/run/phonebox/tmp_full.out";
  std::fflush(stdout);
  const int saved = dup(1);
  const int file = open(kOut, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  dup2(file, 1);
  close(file);
  f();
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  std::ifstream in(kOut, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

unsigned long long tmp_bytes() {
  struct statvfs s {};
  return statvfs("/tmp", &s) == 0 ? static_cast<unsigned long long>(s.f_blocks) * s.f_frsize : 0;
}

TEST(CloudBookTmpFull, ABookCutByAFullTmpIsUnparsableAndStaysEmpty) {
#if defined(__SANITIZE_THREAD__)
  // The thread sanitizer's runtime keeps files of its own in /tmp (each
  // process maps a deleted "tsan.rodata.N" from there), which fill a /tmp
  // this small before the book arrives.
  GTEST_SKIP() << "a /tmp of 256 KiB has no room beside the thread sanitizer's files";
#endif
  ASSERT_LE(tmp_bytes(), 512u * 1024) << "the box's /tmp should be small here";
  fs::create_directories(kServed);
  const std::string big = directory_of(30000);
  ASSERT_GT(big.size(), 2u * 1024 * 1024);
  std::ofstream(std::string(kServed) + "big.xml", std::ios::binary) << big;
  std::ofstream(std::string(kServed) + "small.xml", std::ios::binary) << directory_of(3);

  const std::string big_url = HttpPeer::url("/books/big.xml");
  set_books({{big_url, "big", "1"}});
  CloudBook* books[CLOUD_BOOK_SLOTS] = {};
  const std::string out = printed([&books] { EXPECT_EQ(clound_book_update(books), 0); });
  EXPECT_NE(out.find("{\"status\":\"type error111\"}"), std::string::npos) << out.substr(0, 2000);
  ASSERT_NE(books[0], nullptr);
  EXPECT_EQ(books[0]->count, 0);
  const auto cut = fs::file_size(cache_of(big_url));
  EXPECT_GT(cut, 0u);
  EXPECT_LT(cut, big.size()) << "the cache file ends where /tmp is full";

  // Room again: the next book is fetched and read.
  fs::remove(cache_of(big_url));
  const std::string small_url = HttpPeer::url("/books/small.xml");
  set_books({{small_url, "small", "1"}});
  printed([&books] { EXPECT_EQ(clound_book_update(books), 0); });
  ASSERT_NE(books[0], nullptr);
  EXPECT_EQ(books[0]->count, 3);
  for (CloudBook*& b : books) std::free(b);
}

}  // namespace

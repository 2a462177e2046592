// Cloud phone books, the slow cases: a download has no time limit, and a
// 5 MiB book is searched without keeping its memory.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "phonecore/cloudbook.h"
#include "support/cloud_books.h"
#include "support/files.h"
#include "support/http_peer.h"
#include "support/process_stats.h"

using phonecore::testing::cache_of;
using phonecore::testing::HttpPeer;
using phonecore::testing::person_entry;
using phonecore::testing::resident_kib;
using phonecore::testing::set_books;
using phonecore::testing::slurp;

namespace {

// Sanitizers hold freed memory back (ASan's quarantine) and count leaks
// themselves at exit: the resident size is measured in plain builds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kPlainHeap = false;
#else
constexpr bool kPlainHeap = true;
#endif

TEST(CloudBookSlow, ADownloadHasNoTimeLimit) {
  const auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(cloud_book_download(HttpPeer::url("/stall/3").c_str(), "/tmp/stalled.xml"), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3));
  EXPECT_EQ(slurp("/tmp/stalled.xml"), "late\n");
}

TEST(CloudBookSlow, AFiveMegabyteBookIsSearchedAndItsMemoryGivenBack) {
  const std::string url = HttpPeer::url("/books/five.xml");
  {
    std::ofstream book(cache_of(url), std::ios::trunc);
    book << "<?xml version=\"1.0\"?>\n<VornIPPhoneDirectory>\n";
    for (int i = 0; book.tellp() < 5 * 1024 * 1024; ++i) book << person_entry(i);
    book << "</VornIPPhoneDirectory>\n";
  }
  set_books({{url, "five", "1"}});
  ASSERT_FALSE(::testing::Test::HasFailure());
  std::vector<ContactRecord> hits(CLOUD_BOOK_SEARCH_ROOM);
  int count = 0;
  ASSERT_EQ(api_cloud_search("7012345", hits.data(), &count), 0);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(hits[0].name, "Person12345");
  const long settled = resident_kib();
  for (int i = 0; i < 3; ++i) {
    count = 0;
    ASSERT_EQ(api_cloud_search("person1234", hits.data(), &count), 0);
    EXPECT_EQ(count, 11);
  }
  if (kPlainHeap) {
    EXPECT_LE(resident_kib(), settled + 4096) << "the parsed book is freed after each search";
  }
}

}  // namespace

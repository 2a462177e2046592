// The transfers' libcurl callbacks on their own: the Content-Length line
// (exact case, unterminated input), the upload reader's abort, the lazy
// file, the progress sampling.
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "provision/net_transfer_internal.h"

namespace pv = phonecore::provision;

namespace {

size_t header(const std::string& line, long& stored) {
  std::string copy = line;  // not terminated where libcurl hands it over
  return pv::parse_content_length_header(copy.data(), 1, copy.size(), &stored);
}

TEST(ContentLengthHeader, StoresTheNumberOfTheExactLine) {
  long stored = -1;
  EXPECT_EQ(header("Content-Length: 4096\r\n", stored), 22u);
  EXPECT_EQ(stored, 4096);
}

TEST(ContentLengthHeader, OtherCaseOrOtherLinesLeaveItAlone) {
  long stored = 7;
  header("content-length: 4096\r\n", stored);
  header("Content-Type: text/plain\r\n", stored);
  header("HTTP/1.1 200 OK\r\n", stored);
  header("Content-Length:\r\n", stored);
  EXPECT_EQ(stored, 7);
}

TEST(ContentLengthHeader, TakesEveryLineWholeHoweverLong) {
  long stored = 0;
  const std::string line = "Content-Length: 12" + std::string(5000, ' ') + "\r\n";
  EXPECT_EQ(header(line, stored), line.size());
  EXPECT_EQ(stored, 12);
  EXPECT_EQ(pv::parse_content_length_header(nullptr, 1, 0, &stored), 0u);
}

TEST(ContentLengthHeader, ReadsOnlyTheBytesItIsGiven) {
  // "Content-Length: 5" followed by bytes that are not the line's.
  char bytes[] = "Content-Length: 59999";
  long stored = 0;
  pv::parse_content_length_header(bytes, 1, 17, &stored);
  EXPECT_EQ(stored, 5);
}

TEST(DiscardWrite, TakesEverything) { EXPECT_EQ(pv::discard_write(nullptr, 3, 7, nullptr), 21u); }

TEST(ReadUploadChunk, ReadsThenAbortsOnAStreamError) {
  FILE* f = tmpfile();
  ASSERT_NE(f, nullptr);
  fputs("abcdef", f);
  rewind(f);
  char buf[4];
  EXPECT_EQ(pv::read_upload_chunk(buf, 1, sizeof buf, f), 4u);
  EXPECT_EQ(std::string(buf, 4), "abcd");
  EXPECT_EQ(pv::read_upload_chunk(buf, 1, sizeof buf, f), 2u);
  EXPECT_EQ(pv::read_upload_chunk(buf, 1, sizeof buf, f), 0u);  // the end is no error
  fclose(f);
  // A stream open for writing only fails to read: an error.
  FILE* w = fopen("/dev/null", "w");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(pv::read_upload_chunk(buf, 1, sizeof buf, w), static_cast<size_t>(CURL_READFUNC_ABORT));
  fclose(w);
}

TEST(LazyFileWrite, OpensThePathAtTheFirstData) {
  char path[] = "/tmp/lazyXXXXXX";
  const int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  close(fd);
  unlink(path);
  LazyFile file{path, nullptr};
  char data[] = "hello";
  EXPECT_EQ(pv::lazy_file_write(data, 1, 5, &file), 5u);
  ASSERT_NE(file.stream, nullptr);
  EXPECT_EQ(pv::lazy_file_write(data, 1, 2, &file), 2u);
  fclose(file.stream);
  FILE* f = fopen(path, "rb");
  ASSERT_NE(f, nullptr);
  char back[16] = {};
  EXPECT_EQ(fread(back, 1, sizeof back, f), 7u);
  fclose(f);
  EXPECT_STREQ(back, "hellohe");
  unlink(path);
}

TEST(LazyFileWrite, APathThatCannotBeOpenedGivesMinusOne) {
  LazyFile file{"/no/such/folder/file", nullptr};
  char data[] = "x";
  EXPECT_EQ(pv::lazy_file_write(data, 1, 1, &file), static_cast<size_t>(-1));
  EXPECT_EQ(file.stream, nullptr);
}

int g_calls = 0;
double g_counters[4];
int remember(TransferProgress*, double a, double b, double c, double d) {
  ++g_calls;
  g_counters[0] = a;
  g_counters[1] = b;
  g_counters[2] = c;
  g_counters[3] = d;
  return 1;
}

TEST(TransferProgressCallback, PassesTheCountersAsDoublesAndNeverAborts) {
  CURL* h = curl_easy_init();
  ASSERT_NE(h, nullptr);
  TransferProgress p{0, h, &remember};
  EXPECT_EQ(pv::transfer_progress(&p, 100, 40, 0, 0), 0);
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(g_counters[0], 100.0);
  EXPECT_EQ(g_counters[1], 40.0);
  // A counter beyond 2^53 keeps its size as a double.
  EXPECT_EQ(pv::transfer_progress(&p, LLONG_MAX, 0, 0, 5), 0);
  EXPECT_EQ(g_counters[0], static_cast<double>(LLONG_MAX));
  EXPECT_EQ(g_counters[3], 5.0);
  // A transfer that never ran has a total time of 0: nothing sampled.
  EXPECT_EQ(p.lasttime, 0);
  TransferProgress none{0, h, nullptr};
  EXPECT_EQ(pv::transfer_progress(&none, 1, 1, 1, 1), 0);
  curl_easy_cleanup(h);
}

}  // namespace

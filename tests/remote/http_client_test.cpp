// The HTTP client's callbacks and its failures that need no server: what
// each callback gives libcurl, the upload's part reader, the progress
// arithmetic, and the results of a missing file or folder and of a closed
// port (an ephemeral one, bound and released by the test).
#include "phonecore/http_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "remote/http_client_internal.h"

namespace {

using phonecore::remote::upload_part_reader;
using phonecore::remote::UploadPartState;

std::string temp_dir() {
  char tmpl[] = "/tmp/http_client_test.XXXXXX";
  const char* dir = mkdtemp(tmpl);
  return dir ? dir : "";
}

// A loopback port that nobody listens on: bound, read, released.
uint16_t closed_port() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
  socklen_t len = sizeof a;
  getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
  close(fd);
  return ntohs(a.sin_port);
}

size_t discard(void*, size_t size, size_t n, void*) { return size * n; }

TEST(HttpClient, BoundaryHoldsItsLineEnd) { EXPECT_STREQ(BOUNDARY, "---WebKitFormBoundary\r\n"); }

TEST(HttpClient, WirtefuncIsMyWriteFunc) {
  // Read through volatile pointers: a compiler may take two declared
  // functions for two addresses and fold the comparison otherwise.
  void* volatile one = reinterpret_cast<void*>(&wirtefunc);
  void* volatile other = reinterpret_cast<void*>(&my_write_func);
  EXPECT_EQ(one, other);
  const std::string dir = temp_dir();
  FILE* f = fopen((dir + "/w").c_str(), "w+");
  ASSERT_NE(f, nullptr);
  char data[] = "abcdef";
  EXPECT_EQ(wirtefunc(data, 2, 3, f), 3u);
  rewind(f);
  char back[8] = {};
  EXPECT_EQ(fread(back, 1, sizeof back, f), 6u);
  EXPECT_STREQ(back, "abcdef");
  fclose(f);
  unlink((dir + "/w").c_str());
  rmdir(dir.c_str());
}

TEST(HttpClient, ProgressFunctionNeverAborts) {
  // Any non-zero answer would abort every download of http_downloadfile.
  for (int i = 0; i < 2500; ++i) ASSERT_EQ(my_progress_func(nullptr, 100, i, 0, 0), 0) << i;
}

TEST(HttpClient, ContentLengthFromAnUnterminatedHeaderLine) {
  long target = -7;
  char line[] = {'C', 'o', 'n', 't', 'e', 'n', 't', '-',  'L',  'e', 'n',
                 'g', 't', 'h', ':', ' ', '4', '2', '\r', '\n', 'X'};
  EXPECT_EQ(getcontentlengthfunc(line, 1, 20, &target), 20u);
  EXPECT_EQ(target, 42);
  char other[] = "Content-Type: text/plain\r\n";
  EXPECT_EQ(getcontentlengthfunc(other, 2, 13, &target), 26u);
  EXPECT_EQ(target, 42);
  // The pattern is the exact spelling: another case is not read.
  char lower[] = "content-length: 9\r\n";
  getcontentlengthfunc(lower, 1, strlen(lower), &target);
  EXPECT_EQ(target, 42);
}

TEST(HttpClient, ReadfuncCountsBytesAndAbortsOnAStreamError) {
  const std::string dir = temp_dir();
  const std::string path = dir + "/r";
  FILE* f = fopen(path.c_str(), "w");
  fputs("0123456789", f);
  fclose(f);
  f = fopen(path.c_str(), "r");
  char buf[16];
  EXPECT_EQ(readfunc(buf, 2, 3, f), 6u);
  EXPECT_EQ(readfunc(buf, 2, 3, f), 4u);  // two items of 2, the half item is dropped by fread
  fclose(f);
  f = fopen(path.c_str(), "w");  // reading a write-only stream sets its error
  EXPECT_EQ(readfunc(buf, 1, 4, f), static_cast<size_t>(CURL_READFUNC_ABORT));
  fclose(f);
  unlink(path.c_str());
  rmdir(dir.c_str());
}

TEST(HttpClient, PartReaderGivesHeadFileTailFromOnePartPerCall) {
  const std::string dir = temp_dir();
  const std::string path = dir + "/p";
  FILE* f = fopen(path.c_str(), "w");
  fputs("FILEDATA", f);
  fclose(f);
  f = fopen(path.c_str(), "rb");
  UploadPartState s;
  s.file = f;
  s.file_left = 8;
  s.head = "HEAD";
  s.head_left = 4;
  s.tail = "TAIL!";
  s.tail_left = 5;
  std::string out;
  char buf[6];
  std::vector<size_t> sizes;
  for (size_t k; (k = upload_part_reader(buf, 1, 6, &s)) != 0;) {
    out.append(buf, k);
    sizes.push_back(k);
  }
  EXPECT_EQ(out, "HEADFILEDATATAIL!");
  // head 4 (not topped up from the file), file 6 and 2, tail 5
  EXPECT_EQ(sizes, (std::vector<size_t>{4, 6, 2, 5}));
  EXPECT_EQ(s.part, 3);
  EXPECT_EQ(s.total, 17u);
  EXPECT_EQ(s.file_done, 8u);
  EXPECT_EQ(upload_part_reader(buf, 1, 6, &s), 0u);
  fclose(f);
  unlink(path.c_str());
  rmdir(dir.c_str());
}

TEST(HttpClient, UploadHeadUsesItsOwnBoundaryAndTailTheDeclaredOne) {
  const size_t head = phonecore::remote::build_upload_head("/x/a.bin");
  EXPECT_EQ(std::string(phonecore::remote::upload_head(), head),
            "------WebKitFormBoundaryoq4rIclRBbb9kgSB\r\nContent-Disposition: form-data; name=\"fileName\"\r\n\r\n"
            "/x/a.bin\r\n------WebKitFormBoundaryoq4rIclRBbb9kgSB\r\nContent-Disposition: form-data; "
            "name=\"upfile\"; filename=\"/x/a.bin\"\r\nContent-Type: application/octet-stream\r\n\r\n");
  const size_t tail = phonecore::remote::build_upload_tail();
  EXPECT_EQ(std::string(phonecore::remote::upload_tail(), tail), "\r\n-----WebKitFormBoundary\r\n--\r\n");
  // A path too long for the head is cut at its 512 bytes.
  const std::string long_path(600, 'p');
  EXPECT_EQ(phonecore::remote::build_upload_head(long_path.c_str()), phonecore::remote::kUploadHeadSize - 1);
}

double g_percent = -1;
void take_percent(double p) { g_percent = p; }

TEST(HttpClient, UploadProgressDividesTheUploadByBothTotals) {
  HttpUploadProgress p{};
  p.callback = &take_percent;
  testing::internal::CaptureStdout();
  EXPECT_EQ(progressCallback(&p, 400, 10, 200, 50), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(g_percent, 25.0);
  EXPECT_NE(out.find("UP progress: 25.00\n"), std::string::npos) << out;
  // The download line divides the upload's amount: 50 * 100 / 400.
  EXPECT_NE(out.find("DOWN progress: 12.00\n"), std::string::npos) << out;
  EXPECT_NE(out.find("UP: 50 bytes of 200 bytes, DOWN: 10 bytes of 400 bytes \n"), std::string::npos) << out;
  // Integer division: 1 of 3 is 33, not 33.33.
  progressCallback(&p, 0, 0, 3, 1);
  EXPECT_EQ(g_percent, 33.0);
  // Any amounts: nothing overflows.
  testing::internal::CaptureStdout();
  EXPECT_EQ(progressCallback(&p, -1, INT64_MIN, INT64_MIN, INT64_MAX), 0);
  EXPECT_EQ(progressCallback(&p, INT64_MAX, 0, -1, INT64_MIN), 0);
  testing::internal::GetCapturedStdout();
}

TEST(HttpClient, ResumeProgressAddsTheBytesAlreadyHad) {
  now_had_down = 1000;
  testing::internal::CaptureStdout();
  EXPECT_EQ(prog_func1(nullptr, 1000, 500, 0, 0), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "-- 1500 / 2000 (75 %)\n");
  now_had_down = 0;
}

TEST(HttpClient, DownloadIntoAMissingFolderGivesMinus10) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(http_downloadfile("http://127.0.0.1:1/x", "/nonexistent-folder/x/file", nullptr, nullptr), -10);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("url = http://127.0.0.1:1/x, localfname = /nonexistent-folder/x/file, open error, return -10\n"),
            std::string::npos)
      << out;
}

TEST(HttpClient, UploadOfAMissingFileGivesMinus1AndNoLineEnd) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(HttpUploadFile("http://127.0.0.1:1/", "/nonexistent-file", nullptr, nullptr, nullptr), -1);
  const std::string out = testing::internal::GetCapturedStdout();
  const std::string text = "the file /nonexistent-file that you will read is not exist";
  ASSERT_GE(out.size(), text.size());
  EXPECT_EQ(out.substr(out.size() - text.size()), text);
}

TEST(HttpClient, AClosedPortFailsAPostButNotAGet) {
  const std::string url = "http://127.0.0.1:" + std::to_string(closed_port()) + "/";
  curl_slist* headers = nullptr;
  CURL* get = http_curl_get_init_no_header(url.c_str());
  ASSERT_NE(get, nullptr);
  testing::internal::CaptureStderr();
  EXPECT_EQ(http_curl_get_send(get, 0, 0, 0, &discard, nullptr), 0);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("res=7 curl_easy_perform() failed: "), std::string::npos) << err;
  EXPECT_EQ(http_curl_get_release(get, headers), 0);

  CURL* post = http_curl_post_init_header(&headers, url.c_str(), 1, "X-One: 1");
  ASSERT_NE(post, nullptr);
  ASSERT_NE(headers, nullptr);
  EXPECT_STREQ(headers->data, "X-One: 1");
  testing::internal::CaptureStdout();
  EXPECT_EQ(http_curl_post_send(post, "a=1", 0, 0, &discard, nullptr), -1);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("curl_easy_perform=7\n\rnot link remote server"), std::string::npos) << out;
  EXPECT_EQ(http_curl_post_release(post, headers), 0);

  sj_curl_init();
  testing::internal::CaptureStdout();
  EXPECT_EQ(sj_curl_post_get("a=1", url.c_str(), 0, 0, &discard), -1);
  out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("not link remote server FAIL"), std::string::npos) << out;
  sj_curl_end();
}

TEST(HttpClient, AddHeaderJoinsNameAndValueWithoutABlankAndCuts) {
  curl_slist* headers = nullptr;
  CURL* h = http_curl_post_init_no_header("http://127.0.0.1:1/");
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(http_curl_post_add_header(h, &headers, "X-A", "b", 0), 0);
  const std::string long_value(2000, 'v');
  EXPECT_EQ(http_curl_post_add_header(h, &headers, "X-B", long_value.c_str(), 1), 0);
  ASSERT_NE(headers, nullptr);
  EXPECT_STREQ(headers->data, "X-A:b");
  ASSERT_NE(headers->next, nullptr);
  EXPECT_EQ(strlen(headers->next->data), 1023u);
  http_curl_post_release(h, headers);
  EXPECT_EQ(ft_curl_post_parse(), 0);
}

}  // namespace

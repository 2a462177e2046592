// The HTTP client against the box's recording server: the exact request
// that each function sends, and what it returns on success, on a closed
// port, on 401, odd statuses, redirects and short bodies.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "phonecore/http_client.h"
#include "support/files.h"
#include "support/http_peer.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::HttpPeer;
using phonecore::testing::HttpRecord;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

std::string g_received;
void* g_write_data = reinterpret_cast<void*>(1);

size_t collect(void* data, size_t size, size_t n, void* user) {
  g_received.append(static_cast<const char*>(data), size * n);
  g_write_data = user;
  return size * n;
}

std::string file_pattern(size_t n, size_t from = 0) {
  std::string out;
  for (size_t i = from; i < from + n; ++i) out += static_cast<char>('a' + i % 26);
  return out;
}

// An address in the box that nobody listens on.
const std::string kClosed = "http://127.0.0.1:18081/";

class HttpClientBox : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(peer.clear());
    g_received.clear();
    g_write_data = reinterpret_cast<void*>(1);
  }
  HttpPeer peer;
};

TEST_F(HttpClientBox, KeptPostSendsItsHeadersAndBody) {
  curl_slist* headers = nullptr;
  CURL* h = http_curl_post_init_header(&headers, HttpPeer::url("/post?x=1").c_str(), 2, "X-One: 1", "X-Two: 2");
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(http_curl_post_add_header(h, &headers, "X-Three", "3", 1), 0);
  int data = 0;
  EXPECT_EQ(http_curl_post_send(h, "a=1&b=2", 0, 0, &collect, &data), 0);
  EXPECT_EQ(g_received, "ok\n");
  EXPECT_EQ(g_write_data, &data);
  http_curl_post_release(h, headers);
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "POST");
  EXPECT_EQ(r[0].target, "/post?x=1");
  EXPECT_EQ(r[0].body, "a=1&b=2");
  ASSERT_NE(r[0].header("X-Three"), nullptr);
  EXPECT_EQ(*r[0].header("X-Three"), "3");
  EXPECT_EQ(*r[0].header("Content-Length"), "7");
  EXPECT_EQ(*r[0].header("Content-Type"), "application/x-www-form-urlencoded");
  // the headers in the order they were given, behind libcurl's own
  std::vector<std::string> names;
  for (const auto& [n, v] : r[0].headers) names.push_back(n);
  EXPECT_EQ(names, (std::vector<std::string>{"Host", "Accept", "X-One", "X-Two", "X-Three", "Content-Length",
                                             "Content-Type"}));
}

TEST_F(HttpClientBox, KeptPostSendsTheCookiesOfItsFile) {
  // Netscape cookie file: domain, subdomains, path, secure, expiry, name, value
  put_file("/tmp/curlposttest.cookie", "127.0.0.1\tFALSE\t/\tFALSE\t0\tsession\tabc123\n");
  curl_slist* headers = nullptr;
  CURL* h = http_curl_post_init_no_header(HttpPeer::url("/c").c_str());
  EXPECT_EQ(http_curl_post_send(h, "c", 0, 0, &collect, nullptr), 0);
  http_curl_post_release(h, headers);
  unlink("/tmp/curlposttest.cookie");
  // The one-shot post reads another file, so it sends none of these.
  EXPECT_EQ(sj_curl_post_get("c", HttpPeer::url("/c").c_str(), 0, 0, &collect), 0);
  const auto r = peer.requests(2);
  ASSERT_EQ(r.size(), 2u);
  ASSERT_NE(r[0].header("Cookie"), nullptr);
  EXPECT_EQ(*r[0].header("Cookie"), "session=abc123");
  EXPECT_EQ(r[1].header("Cookie"), nullptr);
}

TEST_F(HttpClientBox, KeptPostFollowsARedirect) {
  curl_slist* headers = nullptr;
  CURL* h = http_curl_post_init_no_header(HttpPeer::url("/redirect").c_str());
  EXPECT_EQ(http_curl_post_send(h, "z", 0, 0, &collect, nullptr), 0);
  http_curl_post_release(h, headers);
  EXPECT_EQ(g_received, "status 200\n");
  const auto r = peer.requests(2);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].method, "POST");
  EXPECT_EQ(r[1].target, "/status/200");
}

TEST_F(HttpClientBox, OddStatusesAreSuccessForPostAndGet) {
  for (const char* status : {"/status/404", "/status/500", "/status/299", "/auth"}) {
    curl_slist* headers = nullptr;
    CURL* h = http_curl_post_init_no_header(HttpPeer::url(status).c_str());
    EXPECT_EQ(http_curl_post_send(h, "b", 0, 0, &collect, nullptr), 0) << status;
    http_curl_post_release(h, headers);
    EXPECT_EQ(sj_curl_post_get("b", HttpPeer::url(status).c_str(), 0, 0, &collect), 0) << status;
  }
}

TEST_F(HttpClientBox, GetSendsAPlainGetAndHidesFailures) {
  CURL* h = http_curl_get_init_no_header(HttpPeer::url("/status/503").c_str());
  EXPECT_EQ(http_curl_get_send(h, 0, 0, 0, &collect, nullptr), 0);
  http_curl_get_release(h, nullptr);
  EXPECT_EQ(g_received, "status 503\n");
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].raw, "GET /status/503 HTTP/1.1\r\nHost: 127.0.0.1:18080\r\nAccept: */*\r\n\r\n");
  // A short body, a cut reply and a closed port: 0 all the same.
  for (const std::string& url : {HttpPeer::url("/short"), HttpPeer::url("/close"), kClosed}) {
    CURL* g = http_curl_get_init_no_header(url.c_str());
    EXPECT_EQ(http_curl_get_send(g, 0, 0, 0, &collect, nullptr), 0) << url;
    http_curl_get_release(g, nullptr);
  }
}

TEST_F(HttpClientBox, PostsFailOnShortBodiesAndClosedPorts) {
  for (const std::string& url : {HttpPeer::url("/short"), HttpPeer::url("/close"), kClosed}) {
    curl_slist* headers = nullptr;
    CURL* h = http_curl_post_init_no_header(url.c_str());
    EXPECT_EQ(http_curl_post_send(h, "b", 0, 0, &collect, nullptr), -1) << url;
    http_curl_post_release(h, headers);
    EXPECT_EQ(sj_curl_post_get("b", url.c_str(), 0, 0, &collect), -1) << url;
  }
}

TEST_F(HttpClientBox, OneShotPostGivesItsWriterNoData) {
  sj_curl_init();
  EXPECT_EQ(sj_curl_post_get("k=v", HttpPeer::url("/sj").c_str(), 0, 0, &collect), 0);
  sj_curl_end();
  EXPECT_EQ(g_received, "ok\n");
  EXPECT_EQ(g_write_data, nullptr);
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].raw,
            "POST /sj HTTP/1.1\r\nHost: 127.0.0.1:18080\r\nAccept: */*\r\nContent-Length: 3\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\n\r\nk=v");
}

TEST_F(HttpClientBox, DownloadFileSavesTheBody) {
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/file/3000").c_str(), "/tmp/dl", nullptr, nullptr), 0);
  EXPECT_EQ(slurp("/tmp/dl"), file_pattern(3000));
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].raw, "GET /file/3000 HTTP/1.1\r\nHost: 127.0.0.1:18080\r\nAccept: */*\r\n\r\n");
}

TEST_F(HttpClientBox, DownloadFileWithAnEmptyUserSendsCredentialsAndSavesTheRedirect) {
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/redirect").c_str(), "/tmp/dl", "", ""), 0);
  EXPECT_EQ(slurp("/tmp/dl"), "moved\n");
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  ASSERT_NE(r[0].header("Authorization"), nullptr);
  EXPECT_EQ(*r[0].header("Authorization"), "Basic Og==");
}

TEST_F(HttpClientBox, DownloadFileAuthAndFailures) {
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/auth").c_str(), "/tmp/dl", "user", "pass"), 0);
  EXPECT_EQ(slurp("/tmp/dl"), "secret\n");
  // A 401 page is a file like any other.
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/auth").c_str(), "/tmp/dl", nullptr, nullptr), 0);
  EXPECT_EQ(slurp("/tmp/dl"), "who are you\n");
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/short").c_str(), "/tmp/dl", nullptr, nullptr), CURLE_PARTIAL_FILE);
  EXPECT_EQ(http_downloadfile(kClosed.c_str(), "/tmp/dl", nullptr, nullptr), CURLE_COULDNT_CONNECT);
}

TEST_F(HttpClientBox, DownloadFileTakesBigHeadersAndStopsAtTheAnnouncedLength) {
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/big-headers").c_str(), "/tmp/dl", nullptr, nullptr), 0);
  EXPECT_EQ(slurp("/tmp/dl"), "big\n");
  // 13 bytes behind a length of 5: the 5 are the file.
  EXPECT_EQ(http_downloadfile(HttpPeer::url("/long").c_str(), "/tmp/dl", nullptr, nullptr), 0);
  EXPECT_EQ(slurp("/tmp/dl"), "five ");
  CURL* h = http_curl_get_init_no_header(HttpPeer::url("/big-headers").c_str());
  EXPECT_EQ(http_curl_get_send(h, 0, 0, 0, &collect, nullptr), 0);
  http_curl_get_release(h, nullptr);
  EXPECT_EQ(g_received, "big\n");
}

TEST_F(HttpClientBox, DownloadResumesFromTheFileSize) {
  unlink("/tmp/resume");
  CURL* h = curl_easy_init();
  EXPECT_EQ(download(h, HttpPeer::url("/file/3000").c_str(), "/tmp/resume", 5), 1);
  EXPECT_EQ(slurp("/tmp/resume"), file_pattern(3000));
  auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].header("Range"), nullptr);

  ASSERT_TRUE(peer.clear());
  put_file("/tmp/resume", file_pattern(1000));
  ::testing::internal::CaptureStdout();
  const int result = download(h, HttpPeer::url("/file/3000").c_str(), "/tmp/resume", 5);
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(now_had_down, 1000.0);
  r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  ASSERT_NE(r[0].header("Range"), nullptr);
  EXPECT_EQ(*r[0].header("Range"), "bytes=1000-");
  // The server ignores the range: libcurl refuses to append a whole file.
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("download error"), std::string::npos) << out;
  EXPECT_NE(out.find("-- 1000 / 1000 (100 %)"), std::string::npos) << out;
  EXPECT_EQ(slurp("/tmp/resume"), file_pattern(1000));

  EXPECT_EQ(download(h, kClosed.c_str(), "/tmp/resume", 5), 0);
  EXPECT_EQ(download(h, HttpPeer::url("/file/10").c_str(), "/nonexistent/x", 5), 0);
  curl_easy_cleanup(h);
}

TEST_F(HttpClientBox, Download2WritesToTheUrlAsAPath) {
  char tmpl[] = "/tmp/d2.XXXXXX";
  ASSERT_NE(mkdtemp(tmpl), nullptr);
  char old[4096];
  ASSERT_NE(getcwd(old, sizeof old), nullptr);
  ASSERT_EQ(chdir(tmpl), 0);
  // No folder "http:": nothing is written, and still 0.
  EXPECT_EQ(download2({"http://127.0.0.1:18080/file/50", nullptr}), 0);
  EXPECT_EQ(access("http:", F_OK), -1);
  ASSERT_EQ(system("mkdir -p http:/127.0.0.1:18080/file"), 0);
  EXPECT_EQ(download2({"http://127.0.0.1:18080/file/50", nullptr}), 0);
  EXPECT_EQ(slurp("http:/127.0.0.1:18080/file/50"), file_pattern(50));
  EXPECT_EQ(download2({kClosed.c_str(), nullptr}), 0);
  ASSERT_EQ(chdir(old), 0);
}

double g_last_percent = -1;
void percent(double p) { g_last_percent = p; }

TEST_F(HttpClientBox, UploadEndsItsHeadersBeforeContentLength) {
  const std::string content = file_pattern(5000);
  put_file("/tmp/up.bin", content);
  EXPECT_EQ(HttpUploadFile(HttpPeer::url("/upload").c_str(), "/tmp/up.bin", "", "", &percent), 0);
  EXPECT_EQ(g_last_percent, 100.0);
  EXPECT_EQ(prog.callback, &percent);
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "POST");
  EXPECT_EQ(r[0].header("Authorization"), nullptr);
  EXPECT_EQ(r[0].header("Expect"), nullptr);
  EXPECT_EQ(r[0].header("Content-Length"), nullptr);
  ASSERT_NE(r[0].header("Content-Type"), nullptr);
  EXPECT_EQ(*r[0].header("Content-Type"), "multipart/form-data; boundary=---WebKitFormBoundary");
  const std::string head =
      "------WebKitFormBoundaryoq4rIclRBbb9kgSB\r\nContent-Disposition: form-data; name=\"fileName\"\r\n\r\n"
      "/tmp/up.bin\r\n------WebKitFormBoundaryoq4rIclRBbb9kgSB\r\nContent-Disposition: form-data; "
      "name=\"upfile\"; filename=\"/tmp/up.bin\"\r\nContent-Type: application/octet-stream\r\n\r\n";
  const std::string tail = "\r\n-----WebKitFormBoundary\r\n--\r\n";
  const std::string payload = head + content + tail;
  EXPECT_EQ(r[0].body, "Content-Length: " + std::to_string(payload.size()) + "\r\n\r\n" + payload);

  ASSERT_TRUE(peer.clear());
  EXPECT_EQ(HttpUploadFile(HttpPeer::url("/auth").c_str(), "/tmp/up.bin", "user", "pass", nullptr), 0);
  const auto a = peer.requests(1);
  ASSERT_EQ(a.size(), 1u);
  ASSERT_NE(a[0].header("Authorization"), nullptr);
  EXPECT_EQ(*a[0].header("Authorization"), "Basic dXNlcjpwYXNz");
  EXPECT_EQ(HttpUploadFile(kClosed.c_str(), "/tmp/up.bin", nullptr, nullptr, nullptr), 0);
}

TEST_F(HttpClientBox, FormUploadSendsTwoParts) {
  put_file("/tmp/form.txt", "form file\n");
  EXPECT_EQ(http_upload_fileL301(HttpPeer::url("/form").c_str(), "/tmp/form.txt", "user", "pass"), 0);
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "POST");
  EXPECT_EQ(r[0].header("Expect"), nullptr);
  ASSERT_NE(r[0].header("Authorization"), nullptr);
  EXPECT_EQ(*r[0].header("Authorization"), "Basic dXNlcjpwYXNz");
  ASSERT_NE(r[0].header("Content-Length"), nullptr);
  EXPECT_EQ(std::to_string(r[0].body.size()), *r[0].header("Content-Length"));
  EXPECT_NE(r[0].body.find("Content-Disposition: form-data; name=\"filename\"\r\n\r\n/tmp/form.txt\r\n"),
            std::string::npos)
      << r[0].body;
  EXPECT_NE(r[0].body.find("Content-Disposition: form-data; name=\"sendfile\"; filename=\"form.txt\"\r\n"
                           "Content-Type: text/plain\r\n\r\nform file\n"),
            std::string::npos)
      << r[0].body;
  EXPECT_EQ(http_upload_fileL301(kClosed.c_str(), "/tmp/form.txt", nullptr, nullptr), 0);
}

}  // namespace

// The box's real web server, as the remote tests rely on it: plain and TLS
// ports, the CA bundle at its phone path, the folder behind credentials,
// the phone-book folder and the access log.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>

#include "support/web_server.h"

namespace {

struct Answer {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string body;
};

size_t keep(void* data, size_t size, size_t n, void* user) {
  static_cast<std::string*>(user)->append(static_cast<const char*>(data), size * n);
  return size * n;
}

Answer fetch(const std::string& url, const char* ca = nullptr, const char* credentials = nullptr) {
  Answer a;
  CURL* h = curl_easy_init();
  curl_easy_setopt(h, CURLOPT_URL, url.c_str());
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, keep);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &a.body);
  if (ca != nullptr) curl_easy_setopt(h, CURLOPT_CAINFO, ca);
  if (credentials != nullptr) curl_easy_setopt(h, CURLOPT_USERPWD, credentials);
  a.code = curl_easy_perform(h);
  curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &a.status);
  curl_easy_cleanup(h);
  return a;
}

constexpr const char kCa[] = "/system/etc/cacert.pem";

TEST(WebServerBox, PlainAndPhoneBooks) {
  const Answer a = fetch("http://127.0.0.1:8080/books/placeholder.txt");
  EXPECT_EQ(a.code, CURLE_OK);
  EXPECT_EQ(a.status, 200);
  EXPECT_EQ(a.body, "placeholder\n");
  EXPECT_EQ(fetch("http://127.0.0.1:8080/books/none.xml").status, 404);
}

TEST(WebServerBox, TlsVerifiedByTheBoxCa) {
  const Answer ok = fetch("https://127.0.0.1:8443/", kCa);
  EXPECT_EQ(ok.code, CURLE_OK);
  EXPECT_EQ(ok.body, "phonebox lighttpd\n");
  // The self-signed port fails the same check.
  EXPECT_EQ(fetch("https://127.0.0.1:8444/", kCa).code, CURLE_PEER_FAILED_VERIFICATION);
}

TEST(WebServerBox, PrivateFolderWantsCredentials) {
  EXPECT_EQ(fetch("http://127.0.0.1:8080/private/secret.txt").status, 401);
  EXPECT_EQ(fetch("http://127.0.0.1:8080/private/secret.txt", nullptr, "user:wrong").status, 401);
  const Answer a = fetch("http://127.0.0.1:8080/private/secret.txt", nullptr, "user:pass");
  EXPECT_EQ(a.status, 200);
  EXPECT_EQ(a.body, "secret\n");
}

TEST(WebServerBox, AccessLogHasTheRequestLine) {
  fetch("http://127.0.0.1:8080/?web=log");
  const std::string line = phonecore::testing::WebServer::access_log_line("\"GET /?web=log HTTP/1.1\" 200");
  EXPECT_NE(line.find("127.0.0.1 127.0.0.1:8080 - ["), std::string::npos) << line;
}

}  // namespace

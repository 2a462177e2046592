// The provisioning transfers and a run against the box's real web server
// (lighttpd): HTTPS without certificate checks, Digest credentials, and
// redirects that the run follows by hand.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "phonecore/net_transfer.h"
#include "phonecore/provision.h"
#include "support/files.h"
#include "support/put_file.h"
#include "support/web_server.h"

namespace {

using phonecore::testing::put_file;
using phonecore::testing::slurp;
using phonecore::testing::WebServer;

const char* kLocal = "/tmp/web-transfer.data";

class WebTransfer : public ::testing::Test {
 protected:
  void SetUp() override {
    put_file("/srv/ftp/web.cfg", "account.1.label = web\n");
    unlink(kLocal);
  }
  void TearDown() override {
    unlink("/srv/ftp/web.cfg");
    unlink(kLocal);
    std::memset(&ap_cfg, 0, sizeof ap_cfg);
  }
};

// The first three transfers check no certificate: a self-signed server
// is as good as any.
TEST_F(WebTransfer, ASelfSignedServerIsTakenWithoutAQuestion) {
  EXPECT_EQ(vorn_net_download("https://127.0.0.1:8444/prov/web.cfg", kLocal, "", "", 10, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), "account.1.label = web\n");
}

// downloadFileFromServer keeps libcurl's checks: the box's self-signed
// server is refused (libcurl code 60) and nothing is written.
TEST_F(WebTransfer, DownloadFileFromServerRefusesAnUnknownCertificate) {
  ::testing::internal::CaptureStderr();
  const int result = downloadFileFromServer("https://127.0.0.1:8444/prov/web.cfg", kLocal);
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(result, -1);
  EXPECT_NE(err.find("curl told us 60\n"), std::string::npos);
  EXPECT_EQ(access(kLocal, F_OK), -1);
}

TEST_F(WebTransfer, DigestCredentialsAnswerTheChallenge) {
  EXPECT_EQ(vorn_net_download("http://127.0.0.1:8080/digest/web.cfg", kLocal, "user", "pass", 10, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), "account.1.label = web\n");
  EXPECT_NE(WebServer::access_log_line("\"GET /digest/web.cfg HTTP/1.1\" 401").find("401"), std::string::npos);
  EXPECT_NE(WebServer::access_log_line("\"GET /digest/web.cfg HTTP/1.1\" 200").find("200"), std::string::npos);
}

TEST_F(WebTransfer, WrongDigestCredentialsFail) {
  EXPECT_EQ(vorn_net_download("http://127.0.0.1:8080/digest/web.cfg", kLocal, "user", "wrong", 10, 0, nullptr), 0);
  EXPECT_EQ(slurp(kLocal), "");
}

// A 301 is a finished transfer: its page is what the file holds.
TEST_F(WebTransfer, A301PageIsTheDownload) {
  EXPECT_EQ(vorn_net_download("http://127.0.0.1:8080/moved/web.cfg", kLocal, "", "", 10, 0, nullptr), 1);
  EXPECT_NE(slurp(kLocal), "account.1.label = web\n");
}

// The run follows a 302 by making the target a new base: "/prov/" and the
// name, which lighttpd serves.
TEST_F(WebTransfer, ARunFollowsA302ToTheTargetAndTheName) {
  std::snprintf(ap_cfg.AutoProvisionServerURL, sizeof ap_cfg.AutoProvisionServerURL, "http://127.0.0.1:8080/found");
  ap_cfg.AutopRetryDelay = 10;
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("web.cfg", &ticks), 1);
  EXPECT_EQ(slurp("/appconfigs/phone.cfg"), "account.1.label = web\n");
  EXPECT_NE(WebServer::access_log_line("\"GET /found/web.cfg HTTP/1.1\" 302").find("302"), std::string::npos);
  EXPECT_NE(WebServer::access_log_line("\"GET /prov//web.cfg HTTP/1.1\" 200").find("200"), std::string::npos);
}

// Three 302s end the run: three requests, nothing installed.
TEST_F(WebTransfer, ARedirectLoopEndsAfterThreeRequests) {
  put_file("/appconfigs/phone.cfg", "old\n");
  std::snprintf(ap_cfg.AutoProvisionServerURL, sizeof ap_cfg.AutoProvisionServerURL, "http://127.0.0.1:8080/again");
  ap_cfg.AutopRetryDelay = 10;
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("web.cfg", &ticks), 302);
  EXPECT_EQ(slurp("/appconfigs/phone.cfg"), "old\n");
  EXPECT_FALSE(WebServer::access_log_line("\"GET /again//web.cfg HTTP/1.1\" 302").empty());
}

}  // namespace

// The provisioning transfers in the box: against the recording HTTP server
// (the exact requests, statuses, redirects, stalls) and the box's FTP
// server (resume, upload with folders made).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "phonecore/net_transfer.h"
#include "support/files.h"
#include "support/http_peer.h"
#include "support/printed.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::exists;
using phonecore::testing::HttpPeer;
using phonecore::testing::HttpRecord;
using phonecore::testing::printed_by;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

const std::string kLocal = "/tmp/transfer.data";
const std::string kFtp = "ftp://127.0.0.1:2121";

std::string pattern(size_t n) {
  std::string out;
  for (size_t i = 0; i < n; ++i) out += static_cast<char>('a' + i % 26);
  return out;
}

// The progress reports one transfer made.
struct Reports {
  int calls = 0;
  double dltotal = 0, dlnow = 0, ultotal = 0, ulnow = 0;
  int64_t lasttime = 0;
  CURL* curl = nullptr;
};
Reports g_reports;

int record_progress(TransferProgress* p, double dltotal, double dlnow, double ultotal, double ulnow) {
  g_reports.calls++;
  g_reports.dltotal = dltotal;
  g_reports.dlnow = dlnow;
  g_reports.ultotal = ultotal;
  g_reports.ulnow = ulnow;
  g_reports.lasttime = p->lasttime;
  g_reports.curl = p->curl;
  return 1;  // not looked at: the transfer goes on
}

class Transfer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(peer_.clear()) << "httppeer does not answer";
    unlink(kLocal.c_str());
    g_reports = {};
  }
  void TearDown() override { unlink(kLocal.c_str()); }

  // The standard output of f, with its result.
  template <typename F>
  std::string printed(F&& f, int& result) {
    return printed_by([&] { result = f(); });
  }

  HttpPeer peer_;
};

TEST_F(Transfer, DownloadSavesTheBodyAndSendsNoCredentials) {
  ASSERT_EQ(vorn_net_download(HttpPeer::url("/file/5000").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), pattern(5000));
  auto r = peer_.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "GET");
  EXPECT_EQ(r[0].target, "/file/5000");
  EXPECT_EQ(r[0].header("Authorization"), nullptr);
  EXPECT_EQ(r[0].header("Range"), nullptr);
}

TEST_F(Transfer, WithoutResumeAnOldLocalFileIsRemovedFirst) {
  put_file(kLocal, std::string(9000, 'z'));
  ASSERT_EQ(vorn_net_download(HttpPeer::url("/file/100").c_str(), kLocal.c_str(), nullptr, nullptr, 10, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), pattern(100));
}

TEST_F(Transfer, ResumeOfACompleteFileAsksTheLengthAndFetchesNothing) {
  put_file(kLocal, pattern(5000));
  int result = 0;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/file/5000").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr); },
      result);
  EXPECT_EQ(result, 1);
  EXPECT_NE(out.find("tolk_provision  vorn_net_download remote filesize:5000\n"), std::string::npos) << out;
  auto r = peer_.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "HEAD");
  EXPECT_EQ(slurp(kLocal), pattern(5000));
}

// The probe takes the length from libcurl, which reads the header in any
// case and past 4 GiB.
TEST_F(Transfer, TheProbeReadsALowerCaseLength) {
  put_file(kLocal, pattern(7));
  EXPECT_EQ(vorn_net_download(HttpPeer::url("/lower-length/7").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr), 1);
  auto r = peer_.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "HEAD");
}

TEST_F(Transfer, TheProbeReadsALengthPastFourGigabytes) {
  if (sizeof(long) < 8) GTEST_SKIP() << "the length is a long";
  const int fd = open(kLocal.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ftruncate(fd, 5000000000), 0);  // sparse
  close(fd);
  int result = 0;
  const std::string out = printed(
      [] {
        return vorn_net_download(HttpPeer::url("/head/5000000000").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr);
      },
      result);
  EXPECT_EQ(result, 1);
  EXPECT_NE(out.find("tolk_provision  vorn_net_download remote filesize:5000000000\n"), std::string::npos) << out;
  EXPECT_EQ(peer_.requests(1).size(), 1u);
}

TEST_F(Transfer, AZeroLengthFromTheProbeFailsAndKeepsTheFile) {
  put_file(kLocal, "part");
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/head/0").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision  vorn_net_download remote filesize:0\n"), std::string::npos) << out;
  EXPECT_EQ(out.find("REMOTE FILE LENGTH ERROR"), std::string::npos) << out;
  EXPECT_EQ(slurp(kLocal), "part");
  EXPECT_EQ(peer_.requests(1).size(), 1u);
}

TEST_F(Transfer, ResumeWhenTheServerCannotTellTheLengthFails) {
  put_file(kLocal, "part");
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/status/404").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("REMOTE FILE LENGTH ERROR:22-->"), std::string::npos) << out;
  EXPECT_NE(out.find("tolk_provision  vorn_net_download remote filesize:0\n"), std::string::npos) << out;
  EXPECT_EQ(slurp(kLocal), "part");  // nothing fetched, nothing removed
}

// The file of another length goes, but the resume offset keeps its old
// size: the server is asked for a range, answers the whole file, and the
// download fails with nothing in the new file.
TEST_F(Transfer, ResumeOfAChangedFileAsksARangeOfTheOldSize) {
  put_file(kLocal, pattern(1234));
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/file/5000").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  auto r = peer_.requests(2);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].method, "HEAD");
  EXPECT_EQ(r[1].method, "GET");
  ASSERT_NE(r[1].header("Range"), nullptr);
  EXPECT_EQ(*r[1].header("Range"), "bytes=1234-");
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:33-->"), std::string::npos) << out;
  EXPECT_EQ(slurp(kLocal), "");
}

TEST_F(Transfer, ResumeOverFtpContinuesTheLocalFileAtItsSize) {
  const std::string whole = pattern(10000);
  put_file("/srv/ftp/resume.bin", whole);
  put_file(kLocal, whole.substr(0, 4000));
  EXPECT_EQ(vorn_net_download((kFtp + "/resume.bin").c_str(), kLocal.c_str(), "phone", "secret", 10, 1, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), whole);
  EXPECT_NE(slurp("/run/phonebox/ftp.log").find("REST 4000"), std::string::npos);
  unlink("/srv/ftp/resume.bin");
}

TEST_F(Transfer, BothCredentialsGoAsBasicAfterTheChallenge) {
  ASSERT_EQ(vorn_net_download(HttpPeer::url("/auth").c_str(), kLocal.c_str(), "user", "pass", 10, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), "secret\n");
  auto r = peer_.requests(2);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].header("Authorization"), nullptr);
  ASSERT_NE(r[1].header("Authorization"), nullptr);
  EXPECT_EQ(*r[1].header("Authorization"), "Basic dXNlcjpwYXNz");
}

// A user without a password: both go empty, and libcurl answers the
// challenge with the empty pair.
TEST_F(Transfer, AUserWithAnEmptyPasswordSendsBothEmpty) {
  EXPECT_EQ(vorn_net_download(HttpPeer::url("/auth").c_str(), kLocal.c_str(), "user", "", 10, 0, nullptr), 0);
  auto r = peer_.requests(2);
  ASSERT_EQ(r.size(), 2u);
  ASSERT_NE(r[1].header("Authorization"), nullptr);
  EXPECT_EQ(*r[1].header("Authorization"), "Basic Og==");
}

TEST_F(Transfer, AnErrorStatusFailsAndLeavesAnEmptyFile) {
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/status/500").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:22-->"), std::string::npos) << out;
  EXPECT_TRUE(exists(kLocal));
  EXPECT_EQ(slurp(kLocal), "");
}

TEST_F(Transfer, AClosedPortFails) {
  int result = 1;
  const std::string out =
      printed([] { return vorn_net_download("http://127.0.0.1:1/x", kLocal.c_str(), "", "", 10, 0, nullptr); }, result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:7-->"), std::string::npos) << out;
}

TEST_F(Transfer, ALocalPathThatCannotBeOpenedFails) {
  EXPECT_EQ(vorn_net_download(HttpPeer::url("/file/10").c_str(), "/no/such/folder/x", "", "", 10, 0, nullptr), 0);
  EXPECT_EQ(vorn_net_upload(HttpPeer::url("/x").c_str(), "/no/such/file", "", "", 10, 1, nullptr), 0);
  EXPECT_TRUE(peer_.requests(0).empty());
}

TEST_F(Transfer, Download302ReportsTheTargetAndKeepsTheBody) {
  char target[256];
  std::memset(target, 'x', sizeof target);
  EXPECT_EQ(vorn_net_download302(HttpPeer::url("/redirect").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr, target,
                                 sizeof target),
            302);
  EXPECT_STREQ(target, "http://127.0.0.1:18080/status/200");
  EXPECT_EQ(slurp(kLocal), "moved\n");
  EXPECT_EQ(peer_.requests(1).size(), 1u);  // not followed
}

TEST_F(Transfer, TheTargetIsCutAtTheBufferSizeLessOne) {
  char target[12];
  std::memset(target, 'x', sizeof target);
  EXPECT_EQ(vorn_net_download302(HttpPeer::url("/redirect").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr, target,
                                 sizeof target),
            302);
  // snprintf bounded by 11 keeps 10 characters; the last byte stays cleared.
  EXPECT_STREQ(target, "http://127");
  EXPECT_EQ(target[11], '\0');
}

TEST_F(Transfer, A302WithoutTargetGivesMinus10) {
  char target[64] = "old";
  int result = 0;
  const std::string out = printed(
      [&] {
        return vorn_net_download302(HttpPeer::url("/bare-redirect").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr,
                                    target, sizeof target);
      },
      result);
  EXPECT_EQ(result, -10);
  EXPECT_NE(out.find("http_redirect_url_tmp == NULL, shall not happen, set curl_state = -10"), std::string::npos);
  EXPECT_EQ(slurp(kLocal), "moved, but where\n");
}

// A 300-character target into a 256-byte buffer: snprintf bounded by 255
// keeps 254 characters.
TEST_F(Transfer, ALongTargetIsCutAt254Characters) {
  char target[256];
  std::memset(target, 'x', sizeof target);
  EXPECT_EQ(vorn_net_download302(HttpPeer::url("/long-redirect").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr,
                                 target, sizeof target),
            302);
  const std::string base = "http://127.0.0.1:18080/status/200?";
  EXPECT_EQ(std::string(target), base + std::string(254 - base.size(), 'p'));
  EXPECT_EQ(target[255], '\0');
  EXPECT_EQ(slurp(kLocal), "moved far\n");
}

TEST_F(Transfer, ThePlainDownloadTakesA302AsDone) {
  EXPECT_EQ(vorn_net_download(HttpPeer::url("/redirect").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), "moved\n");
  EXPECT_EQ(peer_.requests(1).size(), 1u);
}

TEST_F(Transfer, Any3xxOtherThan302IsAFinishedTransfer) {
  char target[64] = "";
  EXPECT_EQ(vorn_net_download302(HttpPeer::url("/status/301").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr, target,
                                 sizeof target),
            1);
  EXPECT_EQ(slurp(kLocal), "status 301\n");
}

TEST_F(Transfer, AStallLongerThanTheTimeOutEndsTheTransfer) {
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/stall/20").c_str(), kLocal.c_str(), "", "", 1, 0, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:28-->"), std::string::npos) << out;
}

// What came before the stall stays in the file.
TEST_F(Transfer, AStallMidBodyKeepsWhatCame) {
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/stall-after/3").c_str(), kLocal.c_str(), "", "", 1, 0, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:28-->"), std::string::npos) << out;
  EXPECT_EQ(slurp(kLocal), pattern(3));
}

TEST_F(Transfer, AResetMidBodyFailsAndKeepsWhatCame) {
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_download(HttpPeer::url("/reset/3000").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:56-->"), std::string::npos) << out;
  EXPECT_EQ(slurp(kLocal), pattern(3000));
}

TEST_F(Transfer, ABodyShorterThanAnnouncedFailsAndKeepsWhatCame) {
  int result = 1;
  const std::string out =
      printed([] { return vorn_net_download(HttpPeer::url("/short").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr); },
              result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:18-->"), std::string::npos) << out;
  EXPECT_EQ(slurp(kLocal), "only ten b");
}

// Two bytes a second never stall: a transfer three times longer than the
// time-out finishes.
TEST_F(Transfer, TheTimeOutIsAStallLimitNotATotalOne) {
  ASSERT_EQ(vorn_net_download(HttpPeer::url("/trickle/8").c_str(), kLocal.c_str(), "", "", 1, 0, nullptr), 1);
  EXPECT_EQ(slurp(kLocal), pattern(8));
}

TEST_F(Transfer, ProgressReportsTheCountersAndSamplesTheTimeEveryThreeSeconds) {
  ASSERT_EQ(vorn_net_download(HttpPeer::url("/trickle/9").c_str(), kLocal.c_str(), "", "", 5, 0, &record_progress), 1);
  EXPECT_GT(g_reports.calls, 1);
  EXPECT_NE(g_reports.curl, nullptr);
  EXPECT_EQ(g_reports.dltotal, 9.0);
  EXPECT_EQ(g_reports.dlnow, 9.0);
  EXPECT_EQ(g_reports.ulnow, 0.0);
  // 3.6 s of body: the time was sampled once, past 3 s.
  EXPECT_GT(g_reports.lasttime, 2999999);
}

TEST_F(Transfer, UploadOverFtpMakesTheFolders) {
  const std::string data = pattern(20000);
  put_file(kLocal, data);
  ASSERT_EQ(vorn_net_upload((kFtp + "/up/a/b/config.bin").c_str(), kLocal.c_str(), "phone", "secret", 10, 3,
                            &record_progress),
            1);
  EXPECT_EQ(slurp("/srv/ftp/up/a/b/config.bin"), data);
  EXPECT_EQ(g_reports.ulnow, 20000.0);
  unlink("/srv/ftp/up/a/b/config.bin");
}

TEST_F(Transfer, UploadWithAWrongPasswordFails) {
  put_file(kLocal, "x");
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_upload((kFtp + "/denied.bin").c_str(), kLocal.c_str(), "phone", "wrong", 10, 1, nullptr); },
      result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("UPLOAD ERROR Code:67-->"), std::string::npos) << out;
  EXPECT_FALSE(exists("/srv/ftp/denied.bin"));
}

TEST_F(Transfer, ZeroAttemptsFailWithCode52AndSendNothing) {
  put_file(kLocal, "x");
  int result = 1;
  const std::string out = printed(
      [] { return vorn_net_upload(HttpPeer::url("/put").c_str(), kLocal.c_str(), "", "", 10, 0, nullptr); }, result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("UPLOAD ERROR Code:52-->"), std::string::npos) << out;
  EXPECT_TRUE(peer_.requests(0).empty());
}

// Every try after the first asks the server how much it holds; a failed
// question ends that try.
TEST_F(Transfer, LaterAttemptsAskTheRemoteSizeFirst) {
  put_file(kLocal, "payload");
  EXPECT_EQ(vorn_net_upload(HttpPeer::url("/status/500").c_str(), kLocal.c_str(), "", "", 10, 3, nullptr), 0);
  // Each connection is recorded when the server is done with it, so the
  // record need not keep the order.
  auto r = peer_.requests(3);
  ASSERT_EQ(r.size(), 3u);
  int puts = 0, heads = 0;
  for (const HttpRecord& one : r) {
    puts += one.method == "PUT";
    heads += one.method == "HEAD";
  }
  EXPECT_EQ(puts, 1);
  EXPECT_EQ(heads, 2);
}

// A PUT reset past 1000 bytes: the second try asks the size (HEAD, 1000),
// then clears NOBODY, which turns libcurl's request back into a GET. Over
// HTTP the retry sends nothing, and a server that answers the GET makes
// the upload count as done though it holds only part of the file (over
// FTP the retry appends from the size told).
TEST_F(Transfer, AnHttpUploadRetryIsAGetAndCountsAsDone) {
  put_file(kLocal, pattern(1500));
  EXPECT_EQ(vorn_net_upload(HttpPeer::url("/put-reset/1000").c_str(), kLocal.c_str(), "", "", 10, 2, nullptr), 1);
  auto r = peer_.requests(3);
  ASSERT_EQ(r.size(), 3u);
  int puts = 0, heads = 0, gets = 0;
  for (const HttpRecord& one : r) {
    if (one.method == "PUT") {
      ++puts;
      EXPECT_EQ(one.body.substr(0, 5), "5dc\r\n");  // the whole file, chunked
    }
    heads += one.method == "HEAD";
    if (one.method == "GET") {
      ++gets;
      EXPECT_EQ(one.body, "");
    }
  }
  EXPECT_EQ(puts, 1);
  EXPECT_EQ(heads, 1);
  EXPECT_EQ(gets, 1);
}

// The size is never given to libcurl: over HTTP the file goes chunked,
// after a "100-continue" that the server may never send.
TEST_F(Transfer, UploadOverHttpPutsTheFileChunked) {
  put_file(kLocal, "the configuration");
  EXPECT_EQ(vorn_net_upload(HttpPeer::url("/cfg/up.cfg").c_str(), kLocal.c_str(), "", "", 10, 1, nullptr), 1);
  auto r = peer_.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "PUT");
  EXPECT_EQ(r[0].target, "/cfg/up.cfg");
  ASSERT_NE(r[0].header("Transfer-Encoding"), nullptr);
  EXPECT_EQ(*r[0].header("Transfer-Encoding"), "chunked");
  EXPECT_EQ(r[0].header("Content-Length"), nullptr);
}

TEST_F(Transfer, DownloadFileFromServerSavesAnyStatusBody) {
  EXPECT_EQ(downloadFileFromServer(HttpPeer::url("/file/300").c_str(), kLocal.c_str()), 0);
  EXPECT_EQ(slurp(kLocal), pattern(300));
  unlink(kLocal.c_str());
  EXPECT_EQ(downloadFileFromServer(HttpPeer::url("/status/404").c_str(), kLocal.c_str()), 0);
  EXPECT_EQ(slurp(kLocal), "status 404\n");
}

TEST_F(Transfer, DownloadFileFromServerMakesNoFileForAnEmptyBody) {
  EXPECT_EQ(downloadFileFromServer(HttpPeer::url("/file/0").c_str(), kLocal.c_str()), 0);
  EXPECT_FALSE(exists(kLocal));
}

TEST_F(Transfer, DownloadFileFromServerRequiresTlsForFtp) {
  put_file("/srv/ftp/plain.bin", "plain");
  ::testing::internal::CaptureStderr();
  const int result = downloadFileFromServer((kFtp + "/plain.bin").c_str(), kLocal.c_str());
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(result, -1);
  EXPECT_NE(err.find("curl told us 64\n"), std::string::npos);
  EXPECT_FALSE(exists(kLocal));
  unlink("/srv/ftp/plain.bin");
}

TEST_F(Transfer, DownloadFileFromServerHasATotalLimitOfFiveSeconds) {
  ::testing::internal::CaptureStderr();
  const int result = downloadFileFromServer(HttpPeer::url("/trickle/30").c_str(), kLocal.c_str());
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(result, -1);
  EXPECT_NE(err.find("curl told us 28\n"), std::string::npos);
  // What came before the limit stays.
  EXPECT_GT(slurp(kLocal).size(), 0u);
  EXPECT_LT(slurp(kLocal).size(), 30u);
}

TEST_F(Transfer, ManyFailedTransfersLeaveNoDescriptorBehind) {
  auto descriptors = [] {
    int n = 0;
    for (int fd = 0; fd < 1024; ++fd)
      if (fcntl(fd, F_GETFD) != -1) ++n;
    return n;
  };
  put_file(kLocal, "x");
  const int before = descriptors();
  for (int i = 0; i < 50; ++i) {
    ::testing::internal::CaptureStdout();
    vorn_net_download("http://127.0.0.1:1/x", kLocal.c_str(), "", "", 1, 0, nullptr);
    vorn_net_download(HttpPeer::url("/status/404").c_str(), kLocal.c_str(), "", "", 1, 1, nullptr);
    vorn_net_upload("http://127.0.0.1:1/x", kLocal.c_str(), "", "", 1, 2, nullptr);
    ::testing::internal::GetCapturedStdout();
    put_file(kLocal, "x");
  }
  EXPECT_EQ(descriptors(), before);
}

}  // namespace

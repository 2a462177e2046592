// A provisioning run in the box: the file from the box's FTP server or the
// recording HTTP server, redirects followed by hand, the file in place,
// the take-up request to the configuration service, the reload broadcasts
// in order with their pauses, and the call guard.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/vocabulary.h"
#include "config/gnl_frame.h"
#include "phonecore/provision.h"
#include "support/config_peer.h"
#include "support/files.h"
#include "support/http_peer.h"
#include "support/put_file.h"
#include "support/raw_session.h"

namespace {

using phonecore::testing::command_payload;
using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::exists;
using phonecore::testing::HttpPeer;
using phonecore::testing::put_file;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using Clock = std::chrono::steady_clock;
namespace bus = phonecore::bus;
namespace cfg = phonecore::config;

const std::string kInstalled = "/appconfigs/phone.cfg";
const std::string kMarker = "/tmp/autoprovision_config_update2";
const std::string kCallFile = "/tmp/call_check.txt";

void set_server(const std::string& url, const char* user = "", const char* password = "") {
  std::memset(&ap_cfg, 0, sizeof ap_cfg);
  snprintf(ap_cfg.AutoProvisionServerURL, sizeof ap_cfg.AutoProvisionServerURL, "%s", url.c_str());
  snprintf(ap_cfg.AutoProvisionUser, sizeof ap_cfg.AutoProvisionUser, "%s", user);
  snprintf(ap_cfg.AutoProvisionPassword, sizeof ap_cfg.AutoProvisionPassword, "%s", password);
  ap_cfg.AutopRetryDelay = 10;
}

// The command broadcasts heard while a run goes on, with their arrival.
class Listener {
 public:
  Listener() : session_(4321), thread_([this] { listen(); }) {}
  ~Listener() { stop(); }
  void stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }
  bool ok() const { return session_.ok(); }
  struct Heard {
    std::string command;
    Clock::time_point at;
  };
  std::vector<Heard> heard() {
    std::lock_guard lock(mutex_);
    return heard_;
  }

 private:
  void listen() {
    while (!stop_) {
      auto in = session_.receive(50);
      if (!in) continue;
      auto h = RawSession::header(*in);
      if (h.kind != bus::kKindCommand || h.dest != bus::kBusIdAll) continue;
      std::string payload = RawSession::payload(*in);
      std::lock_guard lock(mutex_);
      heard_.push_back({payload, Clock::now()});
    }
  }
  RawSession session_;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::vector<Heard> heard_;
  std::thread thread_;
};

bool took_up(const std::vector<ConfigRequest>& record) {
  for (const auto& r : record)
    if (r.category == cfg::kCategoryFile && r.operation == cfg::kOperationUploadConfig &&
        r.format == cfg::kFormatConfigFile && r.path.empty() && r.data_length == 0)
      return true;
  return false;
}

class Run : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(http_.clear());
    ASSERT_TRUE(config_.clear());
    unlink(kMarker.c_str());
    unlink(kCallFile.c_str());
    put_file(kInstalled, "old\n");
  }
  void TearDown() override {
    unlink(kCallFile.c_str());
    std::memset(&ap_cfg, 0, sizeof ap_cfg);
  }
  HttpPeer http_;
  ConfigPeer config_;
};

TEST_F(Run, AServerUrlOfNoKnownSchemeEndsAtOnce) {
  set_server("HTTP://127.0.0.1:18080");  // the test is case-sensitive
  uint32_t ticks = 7;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), 0);
  EXPECT_TRUE(http_.requests(0).empty());
  EXPECT_EQ(slurp(kInstalled), "old\n");
  EXPECT_EQ(ticks, 7u);
}

TEST_F(Run, AFileOverFtpIsInstalledTakenUpAndAnnounced) {
  ::mkdir("/srv/ftp/prov", 0755);
  put_file("/srv/ftp/prov/0011aabbccdd.cfg", "#!version:1.0.0.1\naccount.1.enable = 1\n");
  set_server("ftp://127.0.0.1:2121/prov", "phone", "secret");
  Listener listener;
  ASSERT_TRUE(listener.ok());
  uint32_t ticks = 0;
  const auto start = Clock::now();
  EXPECT_EQ(auto_update_download_proc("0011aabbccdd.cfg", &ticks), 1);
  listener.stop();

  // Whatever the name on the server, the file in place is phone.cfg; the
  // download is gone from /tmp.
  EXPECT_EQ(slurp(kInstalled), "#!version:1.0.0.1\naccount.1.enable = 1\n");
  EXPECT_FALSE(exists("/tmp/0011aabbccdd.cfg"));
  EXPECT_TRUE(exists(kMarker));
  EXPECT_EQ(ticks, 0u);
  EXPECT_TRUE(took_up(config_.requests()));

  const char* expected[] = {"reload_account",     "reload_transfer_dnd",     "reload_dial_char",
                            "setFeatureGnlInfor", "reload_intercom_cnf",     "reload_language",
                            "startSomething",     "reload_dialplan",         "reload_powerled_cnf",
                            "reload_sip_base",    "reload_setHotkey_hotKey", "reload_setHotkey_lineKey",
                            "start_network"};
  const auto heard = listener.heard();
  ASSERT_EQ(heard.size(), std::size(expected));
  for (size_t i = 0; i < heard.size(); ++i) EXPECT_EQ(heard[i].command, command_payload(expected[i])) << i;

  // The pauses behind each broadcast, as lower bounds from the call: a
  // broadcast can't go out before the pauses ahead of it have passed, and a
  // busy listener only hears it later. (The gap between two arrivals may
  // shrink when the first is heard late; these bounds can't. 2 ms of slack
  // for two processes' view of one datagram.)
  const long pause_ms[] = {2050, 0, 10, 50, 10, 20, 10, 10, 50, 50, 0, 2000};
  long pauses = 0;
  for (size_t i = 0; i + 1 < heard.size(); ++i) {
    pauses += pause_ms[i];
    const auto after = std::chrono::duration_cast<std::chrono::milliseconds>(heard[i + 1].at - start).count();
    EXPECT_GE(after, pauses - 2) << expected[i] << " to " << expected[i + 1];
  }
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count(), 4260 - 2);
  unlink("/srv/ftp/prov/0011aabbccdd.cfg");
}

// The take-up is asked and answered before the first broadcast.
TEST_F(Run, TheTakeUpComesBeforeTheBroadcasts) {
  Listener listener;
  ASSERT_TRUE(listener.ok());
  std::thread run([] { provision_config_file_proc(); });
  // The first broadcast arrives after the take-up's exchange is over.
  for (int i = 0; i < 300 && listener.heard().empty(); ++i) usleep(10000);
  const bool asked = took_up(config_.requests());
  run.join();
  listener.stop();
  EXPECT_TRUE(asked);
  ASSERT_FALSE(listener.heard().empty());
  EXPECT_EQ(listener.heard()[0].command, command_payload("reload_account"));
}

TEST_F(Run, ARedirectTargetBecomesTheNewBaseOfTheName) {
  set_server(HttpPeer::url("/redirect"));
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), 1);
  const auto r = http_.requests(2);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].target, "/redirect/cfg.cfg");
  // "http://127.0.0.1:18080/status/200" + "/" + the name, though the
  // target names a file already.
  EXPECT_EQ(r[1].target, "/status/200/cfg.cfg");
  EXPECT_EQ(slurp(kInstalled), "status 200\n");
}

// The 300-character target is cut at 254 characters in the 256-byte
// buffer; the name goes behind what is left.
TEST_F(Run, ALongRedirectTargetIsCutBeforeTheNameGoesBehindIt) {
  set_server(HttpPeer::url("/long-redirect"));
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), 1);
  const auto r = http_.requests(2);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].target, "/long-redirect/cfg.cfg");
  const std::string base = "/status/200?";
  EXPECT_EQ(r[1].target, base + std::string(254 - 34, 'p') + "/cfg.cfg");
  EXPECT_EQ(slurp(kInstalled), "status 200\n");
}

TEST_F(Run, ThreeRedirectsEndTheRunAfterThreeRequests) {
  set_server(HttpPeer::url("/loop"));
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), 302);
  usleep(300000);
  const auto r = http_.requests(3);
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[0].target, "/loop/cfg.cfg");
  EXPECT_EQ(r[1].target, "/loop/cfg.cfg");
  EXPECT_EQ(slurp(kInstalled), "old\n");
  EXPECT_FALSE(took_up(config_.requests()));
}

TEST_F(Run, ARedirectWithoutTargetHandsBackMinus10) {
  set_server(HttpPeer::url("/bare-redirect"));
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), -10);
  EXPECT_EQ(slurp(kInstalled), "old\n");
  EXPECT_FALSE(took_up(config_.requests()));
}

TEST_F(Run, AFailedTransferHandsBackItsResultAndChangesNothing) {
  set_server(HttpPeer::url("/status/404"));
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), 0);
  EXPECT_EQ(slurp(kInstalled), "old\n");
  EXPECT_FALSE(exists(kMarker));
  EXPECT_EQ(http_.requests(1).size(), 1u);  // no retry
}

TEST_F(Run, A301IsAFinishedTransferAndItsBodyIsInstalled) {
  set_server(HttpPeer::url("/status/301"));
  uint32_t ticks = 0;
  EXPECT_EQ(auto_update_download_proc("cfg.cfg", &ticks), 1);
  EXPECT_EQ(slurp(kInstalled), "status 301\n");
}

// A download during a call is in place at once; its take-up waits for the
// end of the call, 5 s a look, and the waited seconds reach the caller's
// clock.
TEST_F(Run, ACallHoldsTheTakeUpNotTheInstall) {
  set_server(HttpPeer::url("/file/64"));
  put_file(kCallFile, "1");
  uint32_t ticks = 100;
  std::atomic<int> result{-1};
  std::thread run([&] { result = auto_update_download_proc("cfg.cfg", &ticks); });
  const std::string body = "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghijkl";
  std::string installed;
  for (int i = 0; i < 300 && installed != body; ++i) {
    usleep(10000);
    installed = slurp(kInstalled);
  }
  EXPECT_EQ(installed, body);
  usleep(1000000);
  EXPECT_FALSE(took_up(config_.requests()));
  put_file(kCallFile, "0");
  run.join();
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(took_up(config_.requests()));
  EXPECT_GE(ticks, 105u);
  EXPECT_EQ((ticks - 100) % 5, 0u);
}

}  // namespace

// Thread waits, the command decoder, process lookup, the starter's mailbox
// and the small system readings, in the box.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "phonecore/fileutil.h"
#include "phonecore/profile.h"
#include "phonecore/syscmd.h"
#include "support/factory_files.h"
#include "support/files.h"

namespace {

using phonecore::testing::slurp;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

TEST(ThreadWait, NullHandlesAnswerMinusOne) {
  EXPECT_EQ(vorn_thread_wait(nullptr), -1);
  EXPECT_EQ(vorn_thread_wait_wake(nullptr), -1);
  EXPECT_EQ(vorn_thread_wait_release(nullptr), 0);
}

TEST(ThreadWait, InitStoresTheRecordAndItsTime) {
  VornThreadWait* handle = nullptr;
  testing::internal::CaptureStdout();
  VornThreadWait* got = vorn_thread_wait_init(&handle, 1234);
  const std::string printed = testing::internal::GetCapturedStdout();
  ASSERT_NE(got, nullptr);
  EXPECT_EQ(got, handle);
  EXPECT_EQ(handle->timeout, 1234u);
  EXPECT_EQ(printed.rfind("thread wait init ", 0), 0u) << printed;
  EXPECT_EQ(vorn_thread_wait_release(handle), 0);
}

TEST(ThreadWait, AWakeEndsTheWait) {
  VornThreadWait* handle = vorn_thread_wait_init(nullptr, 60000);
  ASSERT_NE(handle, nullptr);
  std::atomic<bool> done{false};
  const auto start = Clock::now();
  std::thread waiter([&] {
    EXPECT_EQ(vorn_thread_wait(handle), 0);
    done = true;
  });
  // A wake that comes before the waiter sleeps is lost: keep waking.
  while (!done) {
    EXPECT_EQ(vorn_thread_wait_wake(handle), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  waiter.join();
  EXPECT_LT(seconds_since(start), 30.0) << "ended by the wake, not by its 60 s";
  vorn_thread_wait_release(handle);
}

TEST(ThreadWait, WithoutAWakeTheTimeRunsOutCountedFromTheWholeSecond) {
  VornThreadWait* handle = vorn_thread_wait_init(nullptr, 1300);
  testing::internal::CaptureStdout();
  const auto start = Clock::now();
  EXPECT_EQ(vorn_thread_wait(handle), 0);
  const double took = seconds_since(start);
  const std::string printed = testing::internal::GetCapturedStdout();
  // The deadline is the current whole second plus 1.3 s: between 0.3 and
  // 1.3 s from now.
  EXPECT_GE(took, 0.29);
  EXPECT_NE(printed.find("thread wait release "), std::string::npos);
  EXPECT_NE(printed.find("thread wake 2\n"), std::string::npos);
  vorn_thread_wait_release(handle);
}

TEST(ThreadWait, AWakeWhileNobodyWaitsIsLost) {
  VornThreadWait* handle = vorn_thread_wait_init(nullptr, 1300);
  EXPECT_EQ(vorn_thread_wait_wake(handle), 0);
  const auto start = Clock::now();
  vorn_thread_wait(handle);
  EXPECT_GE(seconds_since(start), 0.29) << "the earlier wake didn't end this wait";
  vorn_thread_wait_release(handle);
}

struct Calls {
  int reboot = 0;
  int upgrade = 0;
  int progress = -1;
  int reset = 0;
  int reset_value = -1;
};
Calls g_calls;
void on_reboot() { ++g_calls.reboot; }
void on_upgrade(int progress) {
  ++g_calls.upgrade;
  g_calls.progress = progress;
}
void on_reset(int value) {
  ++g_calls.reset;
  g_calls.reset_value = value;
}

class Decode : public ::testing::Test {
 protected:
  void SetUp() override { g_calls = Calls{}; }
  int decode(const char* text) { return system_cmd_decode(text, on_reboot, on_upgrade, on_reset); }
};

TEST_F(Decode, InvalidJsonAnswersMinusOne) {
  EXPECT_EQ(decode("{\"cmd\":"), -1);
  EXPECT_EQ(decode(nullptr), -1);
  EXPECT_EQ(g_calls.reboot + g_calls.upgrade + g_calls.reset, 0);
}

TEST_F(Decode, JsonWithoutCmdAnswersZero) {
  EXPECT_EQ(decode("{\"command\":\"reboot\"}"), 0);
  EXPECT_EQ(g_calls.reboot, 0);
}

TEST_F(Decode, RebootCallsItsCallbackAndStillAnswersMinusOne) {
  EXPECT_EQ(decode("{\"cmd\":\"reboot\"}"), -1);
  EXPECT_EQ(g_calls.reboot, 1);
}

TEST_F(Decode, UpgradeGivesItsProgress) {
  EXPECT_EQ(decode("{\"cmd\":\"upgrade\",\"progress\":42}"), -1);
  EXPECT_EQ(g_calls.upgrade, 1);
  EXPECT_EQ(g_calls.progress, 42);
  EXPECT_EQ(decode("{\"cmd\":\"upgrade\"}"), -1);
  EXPECT_EQ(g_calls.progress, 0);
}

TEST_F(Decode, DefaultResetGivesOne) {
  EXPECT_EQ(decode("{\"cmd\":\"default_reset\"}"), -1);
  EXPECT_EQ(g_calls.reset, 1);
  EXPECT_EQ(g_calls.reset_value, 1);
}

TEST_F(Decode, OtherCommandsDoNothing) {
  EXPECT_EQ(decode("{\"cmd\":\"reload_account\"}"), -1);
  EXPECT_EQ(decode("{\"cmd\":5}"), -1);
  EXPECT_EQ(decode("{\"cmd\":\"Reboot\"}"), -1);
  EXPECT_EQ(g_calls.reboot + g_calls.upgrade + g_calls.reset, 0);
}

TEST_F(Decode, ANullCallbackForTheCommandDoesNothing) {
  EXPECT_EQ(system_cmd_decode("{\"cmd\":\"reboot\"}", nullptr, on_upgrade, on_reset), -1);
  EXPECT_EQ(system_cmd_decode("{\"cmd\":\"upgrade\",\"progress\":9}", on_reboot, nullptr, on_reset), -1);
  EXPECT_EQ(system_cmd_decode("{\"cmd\":\"default_reset\"}", on_reboot, on_upgrade, nullptr), -1);
  EXPECT_EQ(g_calls.reboot + g_calls.upgrade + g_calls.reset, 0);
}

TEST(FindPid, FindsThePeersOfTheBox) {
  pid_t pids[FIND_PID_MAX];
  int count = 0;
  EXPECT_EQ(find_pid_by_name("msgserver", pids, &count), 0);
  ASSERT_EQ(count, 1);
  EXPECT_GT(pids[0], 1);
  EXPECT_NE(slurp("/proc/" + std::to_string(pids[0]) + "/status").find("msgserver"), std::string::npos);
}

TEST(FindPid, FindsItself) {
  pid_t pids[FIND_PID_MAX];
  int count = -12345;  // stale: the count is an output only
  EXPECT_EQ(find_pid_by_name("syscmd_test", pids, &count), 0);
  ASSERT_EQ(count, 1);
  EXPECT_EQ(pids[0], getpid());
}

TEST(FindPid, ANameNobodyHasStoresZero) {
  pid_t pids[FIND_PID_MAX];
  int count = 4;
  EXPECT_EQ(find_pid_by_name("no_such_process", pids, &count), -1);
  EXPECT_EQ(count, 0);
}

TEST(FindPid, NamesAreComparedAsTheKernelKeepsThem) {
  ASSERT_EQ(std::system("cp /bin/sleep /tmp/a_very_long_process_name"), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < 3; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      execl("/tmp/a_very_long_process_name", "a_very_long_process_name", "30", static_cast<char*>(nullptr));
      _exit(127);
    }
    children.push_back(child);
  }
  pid_t pids[FIND_PID_MAX];
  int count = 0;
  // Wait until the three have their new name.
  for (int i = 0; i < 400; ++i) {
    count = 0;
    if (find_pid_by_name("a_very_long_pro", pids, &count) == 0 && count == 3) break;
    usleep(5000);
  }
  EXPECT_EQ(count, 3);
  count = 8;
  EXPECT_EQ(find_pid_by_name("a_very_long_process_name", pids, &count), -1) << "past 15 characters nothing matches";
  count = 1;
  EXPECT_EQ(find_pid_by_name("a_very_long_pro", pids, &count), 0);
  EXPECT_EQ(count, 3) << "a count on entry is no room: all three are found";
  for (pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

constexpr const char* kMailbox = "/tmp/start_excu";

TEST(StartCmd, AnEmptyMailboxTakesTheCommandAtOnce) {
  std::remove(kMailbox);
  EXPECT_EQ(system_send_start_cmd("restart gui"), 0);
  EXPECT_EQ(slurp(kMailbox), "restart gui");
  std::remove(kMailbox);
}

TEST(StartCmd, AFullMailboxIsWaitedFor) {
  { std::ofstream(kMailbox) << "first"; }
  std::string seen_before_delete;
  std::thread starter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    seen_before_delete = slurp(kMailbox);
    std::remove(kMailbox);
  });
  EXPECT_EQ(system_send_start_cmd("second"), 0);
  starter.join();
  EXPECT_EQ(seen_before_delete, "first") << "the first command was not overwritten";
  EXPECT_EQ(slurp(kMailbox), "second");
  std::remove(kMailbox);
}

TEST(SystemVersion, FromTheOtaFile) {
  char version[SYSTEM_VERSION_SIZE] = "";
  EXPECT_EQ(SystemGetVersion(version), 0);
  EXPECT_STREQ(version, "1.0.0");
}

TEST(SystemVersion, WithoutTheFile) {
  phonecore::testing::FactoryFiles factory{"quorbit_ota.cfg"};
  ASSERT_EQ(std::remove("/appconfigs/quorbit_ota.cfg"), 0);
  char version[SYSTEM_VERSION_SIZE] = "x";
  EXPECT_EQ(SystemGetVersion(version), 0);
  EXPECT_STREQ(version, "000000");
}

constexpr const char* kWebAuth = "/appconfigs/etc/webauth.cfg";

class WebLang : public ::testing::Test {
 protected:
  phonecore::testing::FactoryFiles factory_{"etc/webauth.cfg"};
  static std::string lang() {
    char out[WEB_LANG_SIZE + 8];
    std::memset(out, '#', sizeof out);
    EXPECT_EQ(get_web_lang(out), 0);
    EXPECT_EQ(out[WEB_LANG_SIZE], '#') << "the destination keeps 32 bytes";
    return out;
  }
};

TEST_F(WebLang, FromTheWebUsersFile) {
  EXPECT_EQ(lang(), "es-us");
  ASSERT_EQ(write_profile_string("system_info", "lang", "zh-cn", kWebAuth), 1);
  EXPECT_EQ(lang(), "zh-cn");
}

TEST_F(WebLang, AMissingFileOrKeyGivesEsUs) {
  ASSERT_EQ(std::remove(kWebAuth), 0);
  EXPECT_EQ(lang(), "es-us");
  ASSERT_EQ(write_profile_string("admin", "username", "admin", kWebAuth), 1);
  EXPECT_EQ(lang(), "es-us");
}

TEST_F(WebLang, AnEmptyValueIsFoundAndStaysEmpty) {
  ASSERT_EQ(write_profile_string("system_info", "lang", "", kWebAuth), 1);
  EXPECT_EQ(lang(), "");
}

TEST_F(WebLang, ALongValueIsCut) {
  ASSERT_EQ(write_profile_string("system_info", "lang", std::string(50, 'l').c_str(), kWebAuth), 1);
  EXPECT_EQ(lang(), std::string(31, 'l'));
}

TEST(ZklogTimes, PrintsFileLineTextAndTheTime) {
  testing::internal::CaptureStdout();
  const time_t before = time(nullptr);
  EXPECT_EQ(zklog_times("main.c", 42, "ready"), 0);
  const time_t after = time(nullptr);
  const std::string printed = testing::internal::GetCapturedStdout();
  long seconds = -1;
  long milliseconds = -1;
  int end = 0;
  ASSERT_EQ(std::sscanf(printed.c_str(), "-main.c-42-ready-%ld-%ld\n%n", &seconds, &milliseconds, &end), 2) << printed;
  EXPECT_EQ(static_cast<size_t>(end), printed.size()) << printed;
  EXPECT_EQ(printed.back(), '\n');
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, after);
  EXPECT_GE(milliseconds, 0);
  EXPECT_LT(milliseconds, 1000);
}

}  // namespace

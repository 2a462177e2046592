// The settings methods of the Action URI in the box: a read leaves the
// answer file and the flag for the connection's handler, a write goes
// through the phone.cfg import into the configuration files and ends in one
// reload, heard on a test session; more than ten items do nothing at all.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bus/vocabulary.h"
#include "phonecore/action_uri.h"
#include "phonecore/phonecfg.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/raw_session.h"

namespace {

using phonecore::testing::command_payload;
using phonecore::testing::FactoryFiles;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using phonecore::testing::text_at;
using phonecore::testing::write_file;
using Clock = std::chrono::steady_clock;
namespace bus = phonecore::bus;
namespace fs = std::filesystem;

constexpr const char* kScratch = "/tmp/phonecfg_tmp.ini";
constexpr const char* kMarker = "/tmp/reloading";
const std::string kHead = "[Status]\nFirmwareVersion = 1.0.0\n";
const std::string kDnd = "[DND]\nState=0\n";

// The command broadcasts waiting on the session, until 300 ms of quiet.
std::vector<std::string> broadcasts(RawSession& s) {
  std::vector<std::string> out;
  while (auto in = s.receive(300)) {
    const auto h = RawSession::header(*in);
    if (h.kind == bus::kKindCommand && h.msgtype == bus::kMsgtypeCommand && h.dest == bus::kBusIdAll)
      out.push_back(RawSession::payload(*in));
  }
  return out;
}

std::string label_of_account1() { return text_at("default/voiplist.cfg", {"AccountRegister"}); }

class ActionUriSettings : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    ASSERT_TRUE(listener_.ok());
    std::remove(ACTION_URI_PHONECFG_INI);
    std::remove(kScratch);
    std::remove(kMarker);
    upload_flag = 0;
    reload_something_flag = 0;
  }
  void TearDown() override {
    std::remove(kMarker);
    upload_flag = 0;
  }

  // Runs the request, returning what it printed and, in *ms, how long it took.
  std::string run(int (*method)(const char*), const std::string& url, double* ms = nullptr) {
    ::testing::internal::CaptureStdout();
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(method(url.c_str()), 0);
    const double took = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    std::fflush(stdout);
    if (ms != nullptr) *ms = took;
    return ::testing::internal::GetCapturedStdout();
  }

  FactoryFiles files_{"voip.cfg", "default/voiplist.cfg", "default/function.cfg", "default/dss.cfg",
                      "default/programing_key.cfg"};
  RawSession listener_{3101};
};

TEST_F(ActionUriSettings, AReadOfTwoItemsLeavesTheAnswerAndTheFlag) {
  double ms = 0;
  const std::string out = run(do_method_for_phonecfg, "servlet?phonecfg=get[dnd=1][Account1.AccountLabel]", &ms);
  EXPECT_EQ(upload_flag, 1);
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + kDnd + "[Config]\nAccount1.AccountLabel = Office 1001\n");
  EXPECT_FALSE(fs::exists(kScratch));
  EXPECT_EQ(cfg_count, 2);
  EXPECT_STREQ(cfg_method[0], "dnd=1");
  EXPECT_NE(out.find("cfg_type = 0\n"), std::string::npos) << out;
  EXPECT_GE(ms, 2 * 100.0 - 2) << "100 ms after each item";
  EXPECT_TRUE(broadcasts(listener_).empty()) << "a read reloads nothing";
}

TEST_F(ActionUriSettings, TheAmpersandOfAnItemIsTakenOff) {
  run(do_method_for_phonecfg, "servlet?phonecfg=get[&dnd=1]");
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + kDnd + "[Config]\n");
  EXPECT_STREQ(cfg_method[0], "dnd=1") << "the item is shifted in place";
}

TEST_F(ActionUriSettings, AnyWordButSetReads) {
  for (const char* url : {"servlet?phonecfg=xyz[dnd=1]", "servlet?phonecfg=GET[dnd=1]", "servlet?phonecfg[dnd=1]"}) {
    SCOPED_TRACE(url);
    std::remove(ACTION_URI_PHONECFG_INI);
    upload_flag = 0;
    run(do_method_for_phonecfg, url);
    EXPECT_EQ(upload_flag, 1);
    EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + kDnd + "[Config]\n");
  }
}

TEST_F(ActionUriSettings, TenItemsAreServedElevenNone) {
  std::string ten = "servlet?phonecfg=get";
  for (int i = 0; i < 10; ++i) ten += "[dnd=1]";
  run(do_method_for_phonecfg, ten);
  EXPECT_EQ(upload_flag, 1);
  std::string expected = kHead;
  for (int i = 0; i < 10; ++i) expected += kDnd;
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), expected + "[Config]\n");

  std::remove(ACTION_URI_PHONECFG_INI);
  upload_flag = 0;
  double ms = 0;
  run(do_method_for_phonecfg, ten + "[dnd=1]", &ms);
  EXPECT_EQ(cfg_count, 11);
  EXPECT_EQ(upload_flag, 0);
  EXPECT_FALSE(fs::exists(ACTION_URI_PHONECFG_INI));

  // Nor is an eleven-item write applied.
  std::string write = "servlet?phonecfg=set[Account1.AccountLabel=Eleven]";
  for (int i = 0; i < 10; ++i) write += "[x=1]";
  const std::string before = label_of_account1();
  run(do_method_for_phonecfg, write);
  EXPECT_EQ(label_of_account1(), before);
  EXPECT_TRUE(broadcasts(listener_).empty());
}

TEST_F(ActionUriSettings, ReadingWithoutItemsGivesTheHeadAndAnEmptyConfig) {
  run(do_method_for_phonecfg, "servlet?phonecfg=get");
  EXPECT_EQ(upload_flag, 1);
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + "[Config]\n");
}

TEST_F(ActionUriSettings, TheEncodedFormTakesItsOwnMarksAndLogsNothing) {
  const std::string encoded = "servlet?phonecfg=get%5Bdnd=1%5D";
  std::string out = run(do_method_for_phonecfg1, encoded);
  EXPECT_EQ(out.find("cfg_type"), std::string::npos) << out;
  EXPECT_EQ(upload_flag, 1);
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + kDnd + "[Config]\n");
  // The plain form sees no item there, and the encoded one none in brackets.
  out = run(do_method_for_phonecfg, encoded);
  EXPECT_NE(out.find("cfg_type = 0\n"), std::string::npos);
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + "[Config]\n");
  run(do_method_for_phonecfg1, "servlet?phonecfg=get[dnd=1]");
  EXPECT_EQ(slurp(ACTION_URI_PHONECFG_INI), kHead + "[Config]\n");
}

TEST_F(ActionUriSettings, AWriteImportsEachItemThenReloadsOnce) {
  double ms = 0;
  const std::string out =
      run(do_method_for_phonecfg, "servlet?phonecfg=set[Account1.AccountLabel=Reception][Account2.AccountLabel=Store]",
          &ms);
  EXPECT_NE(out.find("cfg_type = 1\n"), std::string::npos) << out;
  EXPECT_EQ(upload_flag, 0) << "the answer of a write is the Hello page";
  EXPECT_FALSE(fs::exists(ACTION_URI_PHONECFG_INI));
  const std::string accounts = label_of_account1();
  EXPECT_NE(accounts.find("\"AccountLabel\": \"Reception\""), std::string::npos) << accounts;
  EXPECT_NE(accounts.find("\"AccountLabel\": \"Store\""), std::string::npos) << accounts;
  EXPECT_GE(ms, 2 * 100.0 - 2) << "100 ms after each item";
  const std::vector<std::string> heard = broadcasts(listener_);
  ASSERT_FALSE(heard.empty());
  EXPECT_EQ(heard.front(), command_payload("reload_transfer_dnd"));
  EXPECT_EQ(heard.back(), command_payload("reload_account"));
  EXPECT_EQ(std::count(heard.begin(), heard.end(), command_payload("reload_account")), 1) << "one reload for the batch";
  EXPECT_EQ(slurp(kMarker), "0");
}

TEST_F(ActionUriSettings, AWriteDuringAReloadChangesNothing) {
  ASSERT_TRUE(write_file(kMarker, "1"));
  const std::string before = label_of_account1();
  run(do_method_for_phonecfg, "servlet?phonecfg=set[Account1.AccountLabel=Reception]");
  EXPECT_EQ(label_of_account1(), before);
  EXPECT_TRUE(broadcasts(listener_).empty());
  EXPECT_EQ(slurp(kMarker), "1");
  // A read goes on during a reload.
  run(do_method_for_phonecfg, "servlet?phonecfg=get[dnd=1]");
  EXPECT_EQ(upload_flag, 1);
}

TEST_F(ActionUriSettings, AnItemOf64CharactersIsCountedAndLeftEmpty) {
  const std::string label(64 - std::string("Account1.AccountLabel=").size(), 'x');
  const std::string before = label_of_account1();
  run(do_method_for_phonecfg, "servlet?phonecfg=set[Account1.AccountLabel=" + label + "]");
  EXPECT_EQ(cfg_count, 1);
  EXPECT_STREQ(cfg_method[0], "");
  EXPECT_EQ(label_of_account1(), before);
  // One character less fits, and is handed on.
  const std::string item = "Account1.AccountLabel=" + label.substr(1);
  run(do_method_for_phonecfg, "servlet?phonecfg=set[" + item + "]");
  EXPECT_EQ(std::string(cfg_method[0]), item);
  EXPECT_NE(label_of_account1(), before);
}

}  // namespace

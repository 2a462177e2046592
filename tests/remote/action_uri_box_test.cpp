// The key methods in the box: the exact broadcasts every process hears (in
// order, byte for byte), default/function.cfg after each feature word, the
// reboot and the factory reset as the box records them, and the service's
// bus session.
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bus/bus_wire.h"
#include "bus/vocabulary.h"
#include "phonecore/action_uri.h"
#include "support/calls_log.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/raw_session.h"

namespace {

using phonecore::testing::calls_log;
using phonecore::testing::FactoryFiles;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using phonecore::testing::write_file;
namespace bus = phonecore::bus;

constexpr const char* kFunctionCfg = "/appconfigs/default/function.cfg";

// One broadcast as it arrived.
struct Heard {
  bus::BusPacketHeader header;
  std::string payload;  // with its terminator
};

// The command broadcasts (kind 3) the session hears until it has been quiet
// for 400 ms; the SIP process's answers to them are passed over.
std::vector<Heard> drain(RawSession& s) {
  std::vector<Heard> out;
  while (auto in = s.receive(400))
    if (RawSession::header(*in).kind == bus::kKindCommand)
      out.push_back({RawSession::header(*in), RawSession::payload(*in)});
  return out;
}

// The payloads without their terminator, each checked to be a command
// broadcast whose length counts the terminator.
std::vector<std::string> texts(const std::vector<Heard>& heard) {
  std::vector<std::string> out;
  for (const Heard& h : heard) {
    EXPECT_EQ(h.header.msgtype, bus::kMsgtypeCommand);
    EXPECT_EQ(h.header.kind, bus::kKindCommand);
    EXPECT_EQ(h.header.dest, bus::kBusIdAll);
    EXPECT_EQ(h.header.length, h.payload.size());
    EXPECT_FALSE(h.payload.empty());
    if (!h.payload.empty()) {
      EXPECT_EQ(h.payload.back(), '\0') << "the terminator is counted and sent";
    }
    out.push_back(h.payload.empty() ? h.payload : h.payload.substr(0, h.payload.size() - 1));
  }
  return out;
}

std::string cfg_text(const char* section, const char* key) {
  json_object* root = json_object_from_file(kFunctionCfg);
  json_object *s = nullptr, *v = nullptr;
  std::string out = "<absent>";
  if (root != nullptr && json_object_object_get_ex(root, section, &s) && json_object_object_get_ex(s, key, &v))
    out = json_object_get_string(v);
  json_object_put(root);
  return out;
}

std::string key(int code) { return R"({"cmd":"send_keyboard", "keycode":")" + std::to_string(code) + R"("})"; }
std::string call(const std::string& opt, const std::string& param2) {
  return R"({"cmd":"web_call_proc","opt":")" + opt + R"(","param2":")" + param2 + R"("})";
}
std::string cmd(const std::string& name) { return R"({"cmd":")" + name + R"("})"; }

class KeyMethods : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(listener.ok());
    drain(listener);
  }
  // The words of a request, run as the server runs them.
  std::vector<std::string> run(const std::string& words) {
    init_key_method(("servlet?key=" + words).c_str());
    do_method_for_key();
    return texts(drain(listener));
  }
  FactoryFiles files{"default/function.cfg"};
  RawSession listener{3300};
};

TEST_F(KeyMethods, KeyNamesBeatTheRules) {
  // "MUTE" and "0" are keys, never call words; "TRANSFER" too.
  EXPECT_EQ(run("MUTE;0;TRANSFER;OK;*"), (std::vector<std::string>{key(21), key(40), key(23), key(35), key(50)}));
}

TEST_F(KeyMethods, TheKeycodeGoesOutQuotedBehindABlank) {
  send_keyboard(35);
  const auto heard = drain(listener);
  ASSERT_EQ(heard.size(), 1u);
  const std::string exact = std::string("{\"cmd\":\"send_keyboard\", \"keycode\":\"35\"}") + '\0';
  EXPECT_EQ(heard[0].payload, exact);
  EXPECT_EQ(heard[0].header.length, 40u);  // 39 characters and the zero
}

TEST_F(KeyMethods, CallWordsGoOutVerbatimWithNullParam2) {
  EXPECT_EQ(
      run("ASW;Asw;ANSWER;CallEnd;CALLEND;SWAP;SPLIT;F_CONFERENCE;BACK_IDLE;F_HOLD;Cancel"),
      (std::vector<std::string>{call("ASW", "(null)"), call("Asw", "(null)"), call("ANSWER", "(null)"),
                                call("CallEnd", "(null)"), call("CALLEND", "(null)"), call("SWAP", "(null)"),
                                call("SPLIT", "(null)"), call("F_CONFERENCE", "(null)"), call("BACK_IDLE", "(null)"),
                                call("F_HOLD", "(null)"), call("Cancel", "(null)")}));
}

TEST_F(KeyMethods, HoldInItsThreeForms) {
  EXPECT_EQ(run("HOLD:12;HOLD=12;HOLD"),
            (std::vector<std::string>{call("HOLD_CALLID", "12"), call("HOLD", "12"), call("HOLD", "(null)")}));
  EXPECT_EQ(
      run("ASW:3;CANCEL:4;UNHOLD:5"),
      (std::vector<std::string>{call("ASW_CALLID", "3"), call("CANCEL_CALLID", "4"), call("UNHOLD_CALLID", "5")}));
  EXPECT_EQ(run("ATrans=8002;BTrans=;Cancel=9"),
            (std::vector<std::string>{call("ATrans", "8002"), call("BTrans", ""), call("Cancel", "9")}));
}

TEST_F(KeyMethods, UnknownWordsAndUnholdAloneAreSkipped) {
  EXPECT_EQ(run("UNHOLD;nothing;;ok;Answer;number=1&outgoing_uri&2;OK"), (std::vector<std::string>{key(35)}));
}

TEST_F(KeyMethods, DndOnWritesOneAndAnnouncesIt) {
  EXPECT_EQ(run("DNDOn"), (std::vector<std::string>{cmd("reload_transfer_dnd")}));
  EXPECT_EQ(cfg_text("FeatureForwardDND", "DndStatus"), "1");
  EXPECT_EQ(run("DNDOff"), (std::vector<std::string>{cmd("reload_transfer_dnd")}));
  EXPECT_EQ(cfg_text("FeatureForwardDND", "DndStatus"), "0");
}

TEST_F(KeyMethods, CallWaitingWritesAndSendsThePair) {
  EXPECT_EQ(run("CallWaitingOff"), (std::vector<std::string>{cmd("reload_dial_char"), cmd("setFeatureGnlInfor")}));
  EXPECT_EQ(cfg_text("FeatureGnlInfor", "CallWaitingSwitch"), "0");
  EXPECT_EQ(run("CallWaitingOn"), (std::vector<std::string>{cmd("reload_dial_char"), cmd("setFeatureGnlInfor")}));
  EXPECT_EQ(cfg_text("FeatureGnlInfor", "CallWaitingSwitch"), "1");
}

TEST_F(KeyMethods, ForwardsOnAndOff) {
  const std::vector<std::string> pair{cmd("reload_dial_char"), cmd("setFeatureGnlInfor")};
  EXPECT_EQ(run("AlwaysFwdOn=8001"), pair);
  EXPECT_EQ(cfg_text("FeatureForwardDND", "AlwaysForwardSwitch"), "1");
  EXPECT_EQ(cfg_text("FeatureForwardDND", "AlwaysForwardTarget"), "8001");
  EXPECT_EQ(run("AlwaysFwdOff"), pair);
  EXPECT_EQ(cfg_text("FeatureForwardDND", "AlwaysForwardSwitch"), "0");
  EXPECT_EQ(cfg_text("FeatureForwardDND", "AlwaysForwardTarget"), "8001");
  EXPECT_EQ(run("BusyFwdOn=8003"), pair);
  EXPECT_EQ(cfg_text("FeatureForwardDND", "BusyForwardSwitch"), "1");
  EXPECT_EQ(cfg_text("FeatureForwardDND", "BusyForwardTarget"), "8003");
  EXPECT_EQ(run("BusyFwdOff"), pair);
  EXPECT_EQ(cfg_text("FeatureForwardDND", "BusyForwardSwitch"), "0");
  EXPECT_EQ(run("NoAnswFwdOn=8004&12"), pair);
  EXPECT_EQ(cfg_text("FeatureForwardDND", "NoAnswerForwardSwitch"), "1");
  EXPECT_EQ(cfg_text("FeatureForwardDND", "NoAnswerForwardTarget"), "8004");
  EXPECT_EQ(cfg_text("FeatureForwardDND", "NoAnswerForwardDelayTime"), "2");
  EXPECT_EQ(run("NoAnswFwdOff"), pair);
  EXPECT_EQ(cfg_text("FeatureForwardDND", "NoAnswerForwardSwitch"), "0");
}

TEST_F(KeyMethods, RefusedForwardsChangeNothing) {
  const std::string before = slurp(kFunctionCfg);
  EXPECT_EQ(run("NoAnswFwdOn=8001&7;NoAnswFwdOn=8001&36;NoAnswFwdOn=8001;NoAnswFwdOn=&6;AlwaysFwdOn=;BusyFwdOn="),
            std::vector<std::string>{});
  EXPECT_EQ(slurp(kFunctionCfg), before);
}

TEST_F(KeyMethods, AnUnreadableFileIsNotWrittenButTheCommandsGoOut) {
  std::filesystem::remove(kFunctionCfg);
  EXPECT_EQ(run("DNDOn;CallWaitingOff;AlwaysFwdOn=8001"),
            (std::vector<std::string>{cmd("reload_transfer_dnd"), cmd("reload_dial_char"), cmd("setFeatureGnlInfor"),
                                      cmd("reload_dial_char"), cmd("setFeatureGnlInfor")}));
  EXPECT_FALSE(std::filesystem::exists(kFunctionCfg));
}

TEST_F(KeyMethods, FiftyWordsRunAndFiftyOneRunNone) {
  std::string words;
  for (int i = 0; i < 50; ++i) words += std::string(i ? ";" : "") + "1";
  EXPECT_EQ(run(words), std::vector<std::string>(50, key(41)));
  EXPECT_EQ(run(words + ";1"), std::vector<std::string>{});
}

TEST_F(KeyMethods, SendCmdBroadcastIsTheSimpleForm) {
  send_cmd_broadcast("reload_account");
  const auto heard = drain(listener);
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].payload, std::string(R"({"cmd":"reload_account"})") + '\0');
}

TEST_F(KeyMethods, RebootBroadcastsThenRunsReboot) {
  const size_t before = calls_log("reboot").size();
  EXPECT_EQ(run("Reboot"), (std::vector<std::string>{cmd("reboot")}));
  const auto reboots = calls_log("reboot");
  ASSERT_EQ(reboots.size(), before + 1);
  EXPECT_EQ(reboots.back(), "reboot");
}

TEST_F(KeyMethods, ResetRefillsAppconfigsThenReboots) {
  ASSERT_TRUE(write_file("/appconfigs/left_over.cfg", "x"));
  ASSERT_TRUE(write_file(kFunctionCfg, "{}"));
  const size_t before = calls_log("reboot").size();
  EXPECT_EQ(run("Reset"), (std::vector<std::string>{cmd("reboot")}));
  EXPECT_FALSE(std::filesystem::exists("/appconfigs/left_over.cfg"));
  EXPECT_EQ(slurp(kFunctionCfg), slurp("/customer/appconfigs/default/function.cfg"));
  EXPECT_EQ(slurp("/appconfigs/etc/webauth.cfg"), slurp("/customer/etc/webauth.cfg"));
  EXPECT_EQ(calls_log("reboot").size(), before + 1);
}

TEST(KeySession, Is4101KeydemoWithMask97) {
  monitorflag = 0;
  ASSERT_EQ(init_pc_connect_info(), 0);
  ASSERT_NE(pClientKey, nullptr);
  EXPECT_EQ(monitorflag, 97u);
  EXPECT_EQ(pClientKey->client_id, 4101);
  EXPECT_EQ(pClientKey->session_mask, 97u);
  EXPECT_STREQ(pClientKey->client_name, "keydemo");
  EXPECT_EQ(close_pc_connect_info(), 0);
  EXPECT_EQ(pClientKey, nullptr);
}

}  // namespace

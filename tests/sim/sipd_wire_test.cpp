// Tests of the SIP-process peer through raw sockets: its requests by name,
// and its control port (UDP 27098).

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>

#include "bus/bus_wire.h"
#include "support/raw_session.h"
#include "support/sip_peer.h"

using namespace phonecore::bus;
using phonecore::testing::RawSession;
using phonecore::testing::SipPeer;

namespace {

constexpr int kNoAnswerMs = 300;

class SipProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    sip_.reset();
    ASSERT_TRUE(ui_.ok());
  }
  void TearDown() override { sip_.reset(); }

  // A request of kind 9 from the session, and the answer it got.
  std::string ask(const std::string& name, const std::string& data = "{}", uint16_t seq = 21) {
    ui_.send(kBusIdSip, 9, R"({"msgtype":")" + name + R"(","data":)" + data + "}", seq);
    for (;;) {
      auto in = ui_.receive(kNoAnswerMs * 3);
      if (!in) return "";
      auto h = RawSession::header(*in);
      if (h.kind == 9 && h.seq == seq) return RawSession::payload(*in);
    }
  }

  SipPeer sip_;
  RawSession ui_{1600};
};

TEST_F(SipProcess, RequestsAreAnsweredByTheirName) {
  std::string state = ask("phone_state_get");
  EXPECT_NE(state.find(R"("msgtype":"phone_state_get_response")"), std::string::npos) << state;
  EXPECT_NE(state.find(R"("acc1Status":0)"), std::string::npos) << state;
  // These two answer under their own name.
  std::string power = ask("voice_get_power");
  EXPECT_NE(power.find(R"("msgtype":"voice_get_power")"), std::string::npos) << power;
  EXPECT_NE(power.find(R"("power":12)"), std::string::npos) << power;
  std::string value = ask("voip_in_val_get", R"({"variable":3})");
  EXPECT_NE(value.find(R"("msgtype":"voip_in_val_get")"), std::string::npos) << value;
  EXPECT_NE(value.find(R"("variable":3)"), std::string::npos) << value;
}

TEST_F(SipProcess, AnUnknownRequestIsRecordedAndAnsweredByNothing) {
  EXPECT_EQ(ask("no_such_request"), "");
  auto lines = sip_.log();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], R"(9 0 {"msgtype":"no_such_request","data":{}})");
}

TEST_F(SipProcess, ControlAnswersItsOwnAndTheCommonCommands) {
  EXPECT_EQ(sip_.control("ping"), "pong");
  EXPECT_EQ(sip_.control("outcome ring"), "ok");
  EXPECT_EQ(sip_.control("outcome maybe"), "error: outcome connect|disconnect|ring");
  EXPECT_EQ(sip_.control("set power 30"), "ok");
  EXPECT_NE(ask("voice_get_power").find(R"("power":30)"), std::string::npos);
  EXPECT_EQ(sip_.control("set colour red"), "error: set power|wrongvar|records|tip|warnings");
  EXPECT_EQ(sip_.control("reg 5 1"), "error: reg ACCOUNT(1-4) ONLINE");
  EXPECT_EQ(sip_.control("dance"), "error: unknown command");
}

TEST_F(SipProcess, ClearForgetsTheRecord) {
  ask("phone_state_get");
  EXPECT_EQ(sip_.log().size(), 1u);
  EXPECT_TRUE(sip_.clear());
  EXPECT_TRUE(sip_.log().empty());
}

TEST_F(SipProcess, ASilentProcessRecordsAndAnswersNothing) {
  ASSERT_TRUE(sip_.silent(true));
  EXPECT_EQ(ask("phone_state_get"), "");
  EXPECT_EQ(sip_.log().size(), 1u);
  ASSERT_TRUE(sip_.silent(false));
  EXPECT_NE(ask("phone_state_get"), "");
}

}  // namespace

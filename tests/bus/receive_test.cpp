// The receive path of a session: hooks of the three types, the pending
// table, raw_callback, and events reaching every ClientOps slot through
// clientfun_list. A raw test-side session plays the SIP process (4098).

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "phonecore/bus_client.h"
#include "phonecore/json_msg.h"
#include "support/armed_hook.h"
#include "support/bus_session.h"
#include "support/raw_session.h"
#include "support/sip_peer.h"

using phonecore::testing::RawSession;
using phonecore::testing::UdpClient;

namespace {

// What the callbacks saw, as lines; written by the event, listener and
// monitor threads.
std::mutex g_mutex;
std::vector<std::string> g_seen;

void note(const std::string& line) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_seen.push_back(line);
}

std::string s(const char* text) { return text != nullptr ? text : "(null)"; }

std::vector<std::string> seen() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_seen;
}

// Waits until n lines were noted (or a while has passed).
std::vector<std::string> seen_at_least(size_t n) {
  for (int i = 0; i < 400 && seen().size() < n; ++i) usleep(5000);
  return seen();
}

ClientOps g_ops = {
    [](int acc, const char* from, const char* to, int id, int inF, int tFlag, const char* div, const char* dis,
       int backup, const char* gl) {
      note("connecting " + std::to_string(acc) + " " + s(from) + " " + s(to) + " " + std::to_string(id) + " " +
           std::to_string(inF) + " " + std::to_string(tFlag) + " " + s(div) + " " + s(dis) + " " +
           std::to_string(backup) + " " + s(gl));
    },
    [](int acc, int call_id, int flags, const char* peer, const char* called, const char* dis) {
      note("connect " + std::to_string(acc) + " " + std::to_string(call_id) + " " + std::to_string(flags) + " " +
           s(peer) + " " + s(called) + " " + s(dis));
    },
    [](int acc, int flags) { note("invite_response " + std::to_string(acc) + " " + std::to_string(flags)); },
    [](int acc, int call_id, int flags) {
      note("disconnect " + std::to_string(acc) + " " + std::to_string(call_id) + " " + std::to_string(flags));
    },
    [] { note("reserved"); },
    [](int id, int process) { note("upgrade_status " + std::to_string(id) + " " + std::to_string(process)); },
    [](int acc, int online) { note("reg_changed " + std::to_string(acc) + " " + std::to_string(online)); },
    [](int acc, int waiting, int mu, int mr, int umu, int umr) {
      note("mwi " + std::to_string(acc) + " " + std::to_string(waiting) + " " + std::to_string(mu) + " " +
           std::to_string(mr) + " " + std::to_string(umu) + " " + std::to_string(umr));
    },
    [](json_object* root) { note("account_info_invalidated " + s(get_string_from_json(root, 1, "msgtype"))); },
    [](int call_id) { note("transfer_complete " + std::to_string(call_id)); },
    [](int acc, const char* caller, const char* called, int flags) {
      note("incoming_call " + std::to_string(acc) + " " + s(caller) + " " + s(called) + " " + std::to_string(flags));
    },
    [](json_object* root) { note("tip_info " + s(get_string_from_json(root, 2, "data", "tip"))); },
    [](int tag) { note("handfree " + std::to_string(tag)); },
};

int raw_callback(uint16_t source, uint16_t msgtype, void* packet, uint32_t length) {
  auto* p = static_cast<BusPacket*>(packet);
  note("raw " + std::to_string(source) + " " + std::to_string(msgtype) + " kind " + std::to_string(p->kind) + " len " +
       std::to_string(length));
  return 0;
}

class Receive : public ::testing::Test {
 protected:
  void SetUp() override {
    {
      std::lock_guard<std::mutex> lock(g_mutex);
      g_seen.clear();
    }
    add_callback_fun(&g_ops);
    ASSERT_TRUE(sip_.ok());
    client_ = phonecore::testing::open_listening_session(1234, raw_callback, "receiver");
    ASSERT_NE(client_, nullptr);
  }
  void TearDown() override {
    request_pc_disconnect(client_);
    add_callback_fun(nullptr);
  }
  void event(const std::string& json) { sip_.send(1234, 2, json); }

  bool released_ = phonecore::testing::release_sip_bus_id();
  RawSession sip_{4098};
  MessageClient* client_ = nullptr;
};

TEST_F(Receive, ConnectingReachesItsSlotWithEveryField) {
  testing::internal::CaptureStdout();
  event(
      R"({"msgtype":"connecting","data":{"from":"1001","to":"1002","acc":1,"id":7,"inF":1,"tFlag":2,"div":"d","dis":"Desk","backup_callid":3,"call_id_gl":"g1"}})");
  auto lines = seen_at_least(1);
  std::string out = testing::internal::GetCapturedStdout();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "connecting 1 1001 1002 7 1 2 d Desk 3 g1");
  EXPECT_NE(out.find("message_client voip_connecting  jroot ="), std::string::npos);
}

TEST_F(Receive, ConnectWithFlagsOneGivesCallerAsPeerThenHandfree) {
  event(
      R"({"msgtype":"connect","data":{"accNumber":1,"call_id":5,"flags":1,"handfree_tag":1,"calledID":"1002","callID":"1001","dis":"x"}})");
  auto lines = seen_at_least(2);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "connect 1 5 1 1001 1002 x");
  EXPECT_EQ(lines[1], "handfree 1");
}

TEST_F(Receive, ConnectWithOtherFlagsGivesCalledAsPeerAndNoHandfree) {
  event(
      R"({"msgtype":"connect","data":{"accNumber":2,"call_id":6,"flags":0,"handfree_tag":0,"calledID":"1002","callID":"1001"}})");
  auto lines = seen_at_least(1);
  usleep(50000);
  lines = seen();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "connect 2 6 0 1002 1002 (null)");
}

TEST_F(Receive, EveryOtherEventReachesItsSlot) {
  const char* events[] = {
      R"({"msgtype":"invite_response","data":{"accNumber":1,"flags":180}})",
      R"({"msgtype":"disconnect","data":{"accNumber":1,"call_id":5,"flags":0}})",
      R"({"msgtype":"upgrade_status","data":{"updateid":2,"process":50}})",
      R"({"msgtype":"reg_changed","data":{"acc_id":0,"bOnline":1}})",
      R"({"msgtype":"mwi_message","data":{"accId":1,"waiting":1,"miss_unread":2,"miss_read":3,"urgent_miss_unread":4,"urgent_miss_read":5}})",
      R"({"msgtype":"account_info_invalidated"})",
      R"({"msgtype":"transfer_complete","data":{"callId":9}})",
      R"({"msgtype":"incoming_call","data":{"callID":"1001","calledID":"1002","accNumber":1,"flags":0,"dirInFlag":1}})",
      R"({"msgtype":"tip_info_get_response","data":{"tip":"t"}})",
  };
  for (const char* e : events) {
    event(e);
    usleep(20000);  // the event thread takes one every 5 ms
  }
  auto lines = seen_at_least(9);
  EXPECT_EQ(lines, (std::vector<std::string>{"invite_response 1 180", "disconnect 1 5 0", "upgrade_status 2 50",
                                             "reg_changed 0 1", "mwi 1 1 2 3 4 5",
                                             "account_info_invalidated account_info_invalidated", "transfer_complete 9",
                                             "incoming_call 1 1001 1002 0", "tip_info t"}));
}

TEST_F(Receive, ResponseAndUnknownEventsCallNothing) {
  event(R"({"msgtype":"response","msgname":"x"})");
  event(R"({"msgtype":"no_such_event","data":{}})");
  event(R"({"msgtype":"reg_changed","data":{"acc_id":3,"bOnline":0}})");
  auto lines = seen_at_least(1);
  usleep(50000);
  EXPECT_EQ(seen(), (std::vector<std::string>{"reg_changed 3 0"}));
}

TEST_F(Receive, WithoutClientOpsEveryHandlerDoesNothing) {
  add_callback_fun(nullptr);
  for (const ClientFunRow* row = clientfun_list; row->msgtype != nullptr; ++row) {
    json_object* root = json_tokener_parse(R"({"msgtype":"x","data":{"handfree_tag":1}})");
    EXPECT_EQ(row->handler(root), 0) << row->msgtype;
    json_object_put(root);
  }
  EXPECT_TRUE(seen().empty());
}

TEST_F(Receive, ClientFunListHasTwelveRowsInOrder) {
  const char* names[] = {"connecting",        "connect",        "invite_response",
                         "disconnect",        "upgrade_status", "response",
                         "reg_changed",       "mwi_message",    "account_info_invalidated",
                         "transfer_complete", "incoming_call",  "tip_info_get_response"};
  for (int i = 0; i < 12; ++i) EXPECT_STREQ(clientfun_list[i].msgtype, names[i]);
  EXPECT_EQ(clientfun_list[12].msgtype, nullptr);
}

TEST_F(Receive, RawCallbackGetsKindsOneThreeAndNineButNotEvents) {
  sip_.send(1234, 1, "{}", 11, 6);
  sip_.send(1234, 3, R"({"cmd":"reload_account"})", 12, 5);
  sip_.send(1234, 9, R"({"msgtype":"x_response"})", 13, 0);
  sip_.send(1234, 9, "not json", 14, 0);
  event(R"({"msgtype":"reg_changed","data":{"acc_id":1,"bOnline":1}})");
  auto lines = seen_at_least(5);
  usleep(50000);
  lines = seen();
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "raw 4098 6 kind 1 len 19");
  EXPECT_EQ(lines[1], "raw 4098 5 kind 3 len 41");
  EXPECT_EQ(lines[2], "raw 4098 0 kind 9 len 41");
  EXPECT_EQ(lines[3], "raw 4098 0 kind 9 len 25");
  EXPECT_EQ(lines[4], "reg_changed 1 1");
}

TEST_F(Receive, OnePacketReachesHooksOfAllThreeTypes) {
  MsgHook* by_type = add_hook_bymsgtype(client_, 77, 4096, 4);
  MsgHook* by_seq = add_hook_byseq(client_, 555, 4096, 4);
  MsgHook* by_name = add_hook_bymsgname(client_, "triple", 4096, 4);
  ASSERT_TRUE(by_type && by_seq && by_name);
  const std::string payload = R"({"msgtype":"triple"})";
  sip_.send(1234, 9, payload, 555, 77);
  char buf[4096];
  int len = 0;
  EXPECT_EQ(wiat_hook(client_, by_type, buf, &len, 1000), static_cast<int>(payload.size() + 17));
  EXPECT_EQ(RawSession::header(std::vector<uint8_t>(buf, buf + 16)).seq, 555);
  len = 0;
  EXPECT_EQ(wiat_hook(client_, by_seq, buf, &len, 1000), static_cast<int>(payload.size() + 17));
  len = 0;
  EXPECT_EQ(wiat_hook(client_, by_name, buf, &len, 1000), static_cast<int>(payload.size()));
  EXPECT_EQ(std::string(buf, static_cast<size_t>(len)), payload);
}

TEST_F(Receive, WiatHookKeepsATypeThreeHookAndRemovesATypeOneHook) {
  MsgHook* by_type = add_hook_bymsgtype(client_, 78, 1024, 2);
  MsgHook* by_seq = add_hook_byseq(client_, 600, 1024, 2);
  char buf[1024];
  int len = 0;
  EXPECT_EQ(wiat_hook(client_, by_type, buf, &len, 20), 0);
  EXPECT_EQ(len, 0);
  EXPECT_EQ(by_type->hook_type, 3u);
  EXPECT_EQ(wiat_hook(client_, by_seq, buf, &len, 20), 0);
  EXPECT_EQ(by_seq->hook_type, 0u);
  EXPECT_EQ(by_seq->hook_fifo, nullptr);
}

TEST_F(Receive, TheLengthOfAWaitIsAnOutputOnly) {
  // Whatever the length holds on entry (zero, stale, garbage), the whole
  // element comes out, and the length is the element's.
  const std::string payload = R"({"msgtype":"lengthy","data":"0123456789012345678901234567890123456789"})";
  for (int entry : {0, 3, -1, 0x7fffffff}) {
    MsgHook* h = add_hook_bymsgname(client_, "lengthy", 1024, 2);
    ASSERT_NE(h, nullptr);
    sip_.send(1234, 9, payload);
    std::vector<char> buf(1024 + 1, '#');
    int len = entry;
    EXPECT_EQ(wiat_hook(client_, h, buf.data(), &len, 1000), static_cast<int>(payload.size())) << entry;
    EXPECT_EQ(len, static_cast<int>(payload.size())) << entry;
    EXPECT_EQ(std::string(buf.data(), payload.size()), payload) << entry;
    EXPECT_EQ(buf[1024], '#');
    sip_.send(1234, 9, payload);
    len = entry;
    EXPECT_EQ(wiat_hook_intant(client_, h, buf.data(), &len, 1000), static_cast<int>(payload.size())) << entry;
    EXPECT_EQ(len, static_cast<int>(payload.size())) << entry;
  }
  MsgHook* h = add_hook_bymsgname(client_, "lengthy", 1024, 2);
  char buf[1024];
  int len = 99;
  EXPECT_EQ(wiat_hook_intant(client_, h, buf, &len, 20), 0);
  EXPECT_EQ(len, 0) << "nothing came: the length is 0";
}

TEST_F(Receive, WiatHookIntantRemovesTheHookWhatever) {
  MsgHook* h = add_hook_bymsgname(client_, "once", 1024, 2);
  char buf[1024];
  int len = 0;
  EXPECT_EQ(wiat_hook_intant(client_, h, buf, &len, 20), 0);
  EXPECT_EQ(h->hook_type, 0u);
}

TEST_F(Receive, SameNameTwiceGivesOneSlotAndEmptiesItsFifo) {
  MsgHook* h = add_hook_bymsgname(client_, "stale_response", 1024, 4);
  sip_.send(1234, 9, R"({"msgtype":"stale_response"})");
  for (int i = 0; i < 200 && NEWFIFO_READ_LEFT(h->hook_fifo) == 0; ++i) usleep(5000);
  ASSERT_EQ(NEWFIFO_READ_LEFT(h->hook_fifo), 1);
  EXPECT_EQ(add_hook_bymsgname(client_, "stale_response", 1024, 4), h);
  EXPECT_EQ(NEWFIFO_READ_LEFT(h->hook_fifo), 0);
  // The other two types keep what they caught.
  MsgHook* t = add_hook_bymsgtype(client_, 90, 1024, 4);
  sip_.send(1234, 1, "{}", 1, 90);
  for (int i = 0; i < 200 && NEWFIFO_READ_LEFT(t->hook_fifo) == 0; ++i) usleep(5000);
  EXPECT_EQ(add_hook_bymsgtype(client_, 90, 1024, 4), t);
  EXPECT_EQ(NEWFIFO_READ_LEFT(t->hook_fifo), 1);
}

TEST_F(Receive, SixtyFourHooksAtMostAndForeignPointersAreIgnored) {
  for (int i = 0; i < 64; ++i) ASSERT_NE(add_hook_byseq(client_, static_cast<uint16_t>(1000 + i), 64, 2), nullptr);
  EXPECT_EQ(add_hook_byseq(client_, 2000, 64, 2), nullptr);
  MsgHook foreign{};
  foreign.hook_type = 1;
  EXPECT_EQ(del_hook(client_, &foreign), 0);
  EXPECT_EQ(foreign.hook_type, 1u);
  EXPECT_EQ(del_all_hook(client_), 0);
  for (const MsgHook& h : client_->hooks) EXPECT_EQ(h.hook_type, 0u);
}

TEST_F(Receive, NameLongerThanThirtyOneCharactersIsCut) {
  const std::string name(40, 'n');
  MsgHook* h = add_hook_bymsgname(client_, name.c_str(), 64, 2);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(std::string(h->hook_name), name.substr(0, 31));
}

TEST_F(Receive, WaitResponseWithNoTicksFillsEveryFreeEntryAndReturnsAtOnce) {
  client_->pending_seq[3] = 99;
  EXPECT_EQ(wait_response(client_, 321, 0), 0);
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(__atomic_load_n(&client_->pending_seq[i], __ATOMIC_ACQUIRE), i == 3 ? 99 : 321) << i;
  // A packet with that seq clears every entry at once.
  sip_.send(1234, 1, "{}", 321, 1);
  for (int i = 0; i < 200 && __atomic_load_n(&client_->pending_seq[31], __ATOMIC_ACQUIRE) != 0; ++i) usleep(5000);
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(__atomic_load_n(&client_->pending_seq[i], __ATOMIC_ACQUIRE), i == 3 ? 99 : 0) << i;
}

TEST_F(Receive, WaitResponseReturnsTheTicksLeftWhenTheReplyCame) {
  // The answer leaves once the wait has written its seq (an earlier one
  // would be lost), and a while later, so that ticks have passed.
  std::thread answer([&] {
    if (phonecore::testing::wait_pending_seq(client_, 222)) usleep(100000);
    sip_.send(1234, 1, "{}", 222, 1);
  });
  int left = wait_response(client_, 222, 2000);
  answer.join();
  EXPECT_GT(left, 0);
  EXPECT_LT(left, 2000);
  // Without an answer the ticks run out.
  EXPECT_EQ(wait_response(client_, 223, 4), 0);
}

TEST_F(Receive, MonitorThreadHandsSourceAndMsgtypeOfEachPacket) {
  static std::atomic<int> calls{0};
  static std::atomic<int> last_source{0}, last_msgtype{0};
  MsgHook* h = add_hook_bymsgtype(client_, 8, 2048, 2);
  ASSERT_EQ(add_hook_monitor_thread(h,
                                    [](uint16_t source, uint16_t msgtype, void*, uint32_t) {
                                      last_source = source;
                                      last_msgtype = msgtype;
                                      calls++;
                                      return 0;
                                    }),
            0);
  sip_.send(1234, 1, "", 1, 8);
  for (int i = 0; i < 400 && calls == 0; ++i) usleep(5000);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(last_source, 4098);
  EXPECT_EQ(last_msgtype, 8);
  testing::internal::CaptureStdout();
  EXPECT_EQ(del_hook_monitor_thread(h), 0);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(__atomic_load_n(&h->monitor_running, __ATOMIC_ACQUIRE), 0);
  EXPECT_NE(out.find("phook->name="), std::string::npos);
  EXPECT_EQ(del_hook(client_, h), 0);
}

TEST_F(Receive, BadInputIsDroppedAndTheSessionKeepsWorking) {
  UdpClient direct;
  const uint16_t port = client_->local_port;
  direct.send_to(port, std::vector<uint8_t>{0xFF, 0x02, 0x01});  // truncated header
  auto lying = RawSession::packet(1, 0, 2, 1234, 4098, R"({"msgtype":"reg_changed"})");
  lying[12] = 0xFF, lying[13] = 0xFF, lying[14] = 0xFF, lying[15] = 0x7F;  // length beyond the datagram
  direct.send_to(port, lying);
  direct.send_to(port, RawSession::packet(1, 0, 2, 1234, 4098, "not json"));
  direct.send_to(port, RawSession::packet(1, 0, 9, 1234, 4098, "{\"no\":\"msgtype\"}"));
  direct.send_to(port, RawSession::packet(1, 0, 2, 1234, 4098, "{\"no\":\"msgtype\"}"));
  direct.send_to(port, std::vector<uint8_t>(16384, 0x41));
  direct.send_to(port, RawSession::packet(1, 0, 2, 1234, 4098, std::string(16400, ' ') + "{}"));
  // A flood of events beyond the event queue's 31 elements.
  for (int i = 0; i < 200; ++i) direct.send_to(port, RawSession::packet(1, 0, 2, 1234, 4098, R"({"msgtype":"flood"})"));
  usleep(200000);
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_seen.clear();
  }
  // A normal request still succeeds. The answer leaves once the request's
  // hook is armed: one that came before would be lost by design.
  std::thread sip([&] {
    auto in = sip_.receive(5000);
    if (in && phonecore::testing::wait_reply_hook(client_, 0, 0, "phone_state_get_response"))
      sip_.send(1234, 9, R"({"msgtype":"phone_state_get_response","status":"0","data":{"state":"idle"}})");
  });
  json_object* reply = send_sjson_to_sip_hook_wait(client_, "phone_state_get", nullptr, 5000);
  sip.join();
  ASSERT_NE(reply, nullptr);
  EXPECT_STREQ(get_string_from_json(reply, 2, "data", "state"), "idle");
  json_object_put(reply);
  event(R"({"msgtype":"reg_changed","data":{"acc_id":2,"bOnline":1}})");
  EXPECT_EQ(seen_at_least(2).back(), "reg_changed 2 1");
}

}  // namespace

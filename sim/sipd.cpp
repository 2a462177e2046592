// The SIP process of the phone box, bus id 4098.
//
// It holds a session with the message server like the phone's SIP process
// and answers the voip_* requests from a small, consistent state: four
// accounts read from /appconfigs/voip.cfg with their registration, the
// calls it has set up, BLF subscriptions, and the values that the requests
// ask for. Every packet it receives is recorded, so that tests can see what
// was sent and in which order; a control port (UDP 27098) lets them read
// that record and steer the peer. The rules are written down in
// sim/README.md.

#include <json-c/json.h>
#include <poll.h>
#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "base/json.h"
#include "bus/bus_wire.h"
#include "peer.h"
#include "phonecore/account.h"

using namespace phonecore::bus;
namespace json = phonecore::json;

namespace {

constexpr const char* kPeer = "sipd";
constexpr uint16_t kSelf = kBusIdSip;
// The seq of the packets that answer no request: events and broadcasts.
constexpr uint16_t kUnaskedSeq = 0x0F0F;
constexpr int kAccounts = 4;
constexpr int kConnectAfterMs = 40;  // far end answers (or refuses) this long after the dial
constexpr size_t kDatagramBuffer = 65536;
// A reply leaves this long after its request, about what the phone's SIP
// process takes. The library arms its wait after the send, so an answer
// at once could beat it.
constexpr int kDefaultDelayMs = 2;

int64_t now_ms() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

struct Account {
  int online = 0;
  bool enabled = false;
  std::string label, user, display, regname, server, port;
};

struct Call {
  int account;
  std::string number;
  std::string state;  // "connecting", "connected", "held", "incoming"
  bool outgoing;
};

struct Outgoing {
  int64_t due;
  std::vector<uint8_t> bytes;
};

std::string or_empty(const char* text) { return text != nullptr ? text : ""; }

class SipPeer {
 public:
  bool start() {
    if (!control_.open(phonebox::kControlPortSip)) return false;
    if (!connect_session()) return false;
    reset();
    return true;
  }

  void run() {
    std::vector<uint8_t> buf(kDatagramBuffer);
    for (;;) {
      flush_due();
      int wait = -1;
      if (!queue_.empty()) wait = static_cast<int>(std::max<int64_t>(0, queue_.front().due - now_ms()));
      pollfd fds[] = {{session_fd_, POLLIN, 0}, {control_.fd(), POLLIN, 0}};
      if (poll(fds, 2, wait) < 0) continue;
      if (fds[0].revents & POLLIN) {
        ssize_t n = recv(session_fd_, buf.data(), buf.size(), 0);
        if (n > 0) on_packet(std::span<const uint8_t>(buf.data(), static_cast<size_t>(n)));
      }
      if (fds[1].revents & POLLIN) control_.serve(*this, kControl);
    }
  }

 private:
  // Ends the session with the message server, so that a test can take bus
  // id 4098 itself.
  void leave_session() {
    if (session_fd_ < 0) return;
    bus_control(kControlDisconnect, 1);
    close(session_fd_);
    session_fd_ = -1;
    queue_.clear();
  }

  // One request of bus id 4098 to the message server's control port, and
  // its reply.
  std::optional<BusControlReply> bus_control(uint16_t code, int tries) {
    uint8_t out[kControlRequestSize];
    encode_record(BusControlRequest{kControlMagic, 0, kSelf, code, 1}, out);
    auto in = phonebox::exchange(kControlPort, out, kControlReplyBuffer, 2000, tries);
    return in ? decode_control_reply(*in) : std::nullopt;
  }

  bool connect_session() {
    auto reply = bus_control(kControlConnect, 5);
    if (!reply || reply->status != 0) return false;
    server_port_ = reply->server_port;
    session_fd_ = phonebox::bind_udp(reply->local_port);
    return session_fd_ >= 0;
  }

  // State ---------------------------------------------------------------

  void reset() {
    calls_.clear();
    blf_.clear();
    control_.clear();
    control_.set_silent(false);
    queue_.clear();
    delay_ms_ = kDefaultDelayMs;
    outcome_ = "connect";
    next_call_ = 1;
    dev_ = 0;
    rec_history_ = 0;
    power_ = 12;
    variables_.clear();
    wrong_variable_ = false;
    tip_number_ = "*97";
    tip_unread_ = 0;
    tip_id_ = 1;
    tip_account_ = 1;
    warnings_.clear();
    record_count_ = kAccounts;
    for (auto& a : accounts_) a = Account{};
    load_accounts();
  }

  // Accounts as the account store describes them; registration stays.
  void load_accounts() {
    json::Owned root(json_object_from_file("/appconfigs/voip.cfg"));
    json_object* array = json::array(root.get(), "account");
    for (int i = 0; i < kAccounts; ++i) {
      Account& a = accounts_[i];
      json_object* e = json::element(array, static_cast<size_t>(i));
      json_object* cred = json::element(json::array(e, "cred_acc"), 0);
      a.enabled = e != nullptr && json::integer(e, "enable") == 1 && !or_empty(json::text(e, "registrar")).empty();
      a.server = or_empty(json::text(e, "SIP1ServerAddr"));
      a.port = or_empty(json::text(e, "SIP1ServerAddrPort"));
      a.label = or_empty(json::text(cred, "label"));
      a.user = or_empty(json::text(cred, "username"));
      a.display = or_empty(json::text(cred, "display"));
      a.regname = or_empty(json::text(cred, "regname"));
      if (a.user.empty()) a.enabled = false;
    }
  }

  // Record i in the wire layout the library reads.
  AccountRecord record_of(int i) const {
    AccountRecord r{};
    const Account& a = accounts_[i % kAccounts];
    r.account_id = static_cast<uint32_t>(i + 1);
    auto put = [](char* field, const std::string& s) { snprintf(field, ACCOUNT_TEXT_SIZE, "%s", s.c_str()); };
    put(r.text[0], a.label);
    put(r.text[1], a.display);
    put(r.text[2], a.regname);
    put(r.text[3], a.user);
    put(r.text[4], a.server);
    put(r.text[5], a.regname);
    put(r.text[6], a.port);
    r.word4 = a.enabled ? 1 : 0;
    r.reg_state = a.online;
    return r;
  }

  std::vector<uint8_t> records(int count) const {
    std::vector<uint8_t> out(static_cast<size_t>(count) * sizeof(AccountRecord));
    for (int i = 0; i < count; ++i) {
      AccountRecord r = record_of(i);
      std::memcpy(out.data() + static_cast<size_t>(i) * sizeof r, &r, sizeof r);
    }
    return out;
  }

  void set_online(int account, int online) {
    if (account < 1 || account > kAccounts) return;
    Account& a = accounts_[account - 1];
    if (a.online == online) return;
    a.online = online;
    phonebox::log_line(kPeer, "account %d %s", account, online ? "registered" : "unregistered");
    event("reg_changed", json::Builder().integer("acc_id", account).integer("bOnline", online).release(), 0);
    std::vector<uint8_t> recs = records(kAccounts);
    queue(packet(kUnaskedSeq, kMsgtypeAccounts, kKindNumeric, kBusIdAll, recs), 0);
  }

  // Registers every configured account and drops the others.
  void register_all() {
    load_accounts();
    for (int i = 0; i < kAccounts; ++i) set_online(i + 1, accounts_[i].enabled ? 1 : 0);
  }

  // Sending ----------------------------------------------------------------

  std::vector<uint8_t> packet(uint16_t seq, uint16_t msgtype, uint16_t kind, uint16_t dest,
                              std::span<const uint8_t> payload) {
    std::vector<uint8_t> out(kPacketHeaderSize + payload.size() + 1, 0);
    BusPacketHeader h{kPacketMagic, seq, msgtype, kind, dest, kSelf, static_cast<uint32_t>(payload.size())};
    std::memcpy(out.data(), &h, sizeof h);
    if (!payload.empty()) std::memcpy(out.data() + kPacketHeaderSize, payload.data(), payload.size());
    return out;
  }

  static std::span<const uint8_t> bytes(const std::string& s) {
    return {reinterpret_cast<const uint8_t*>(s.data()), s.size()};
  }

  void queue(std::vector<uint8_t> bytes, int after_ms) {
    Outgoing o{now_ms() + after_ms, std::move(bytes)};
    auto at = std::upper_bound(queue_.begin(), queue_.end(), o.due,
                               [](int64_t due, const Outgoing& x) { return due < x.due; });
    queue_.insert(at, std::move(o));
  }

  void flush_due() {
    const int64_t now = now_ms();
    while (!queue_.empty() && queue_.front().due <= now && session_fd_ >= 0) {
      sockaddr_in to = phonebox::loopback(server_port_);
      const auto& b = queue_.front().bytes;
      sendto(session_fd_, b.data(), b.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
      queue_.pop_front();
    }
  }

  // An event to every session: kind 2, dest 65535. Takes over data.
  void event(const char* name, json_object* data, int after_ms) {
    json::Builder root;
    root.text("msgtype", name).member("data", data);
    std::string text = json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PLAIN);
    queue(packet(kUnaskedSeq, kMsgtypeJson, kKindEvent, kBusIdAll, bytes(text)), after_ms);
  }

  // A reply to a request: same seq, kind 9, to its source. Takes over data.
  void reply(const BusPacketHeader& req, const std::string& name, const char* status, json_object* data) {
    if (control_.silent()) {
      json_object_put(data);
      return;
    }
    json::Builder root;
    root.text("msgtype", name.c_str());
    if (status != nullptr) root.text("status", status);
    if (data != nullptr) root.member("data", data);
    std::string text = json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PLAIN);
    queue(packet(req.seq, kMsgtypeJson, kKindDirected, req.source, bytes(text)), delay_ms_);
  }

  void reply_binary(const BusPacketHeader& req, std::span<const uint8_t> payload) {
    if (control_.silent()) return;
    queue(packet(req.seq, kMsgtypeBinary, kKindNumeric, req.source, payload), delay_ms_);
  }

  // Receiving --------------------------------------------------------------

  void on_packet(std::span<const uint8_t> datagram) {
    auto h = decode_packet_header(datagram);
    if (!h) return;
    const size_t n = std::min<size_t>(h->length, datagram.size() - kPacketHeaderSize);
    std::string payload(reinterpret_cast<const char*>(datagram.data()) + kPacketHeaderSize, n);
    // Texts travel with or without their terminator.
    while (!payload.empty() && payload.back() == '\0') payload.pop_back();
    char head[48];
    snprintf(head, sizeof head, "%u %u ", h->kind, h->msgtype);
    control_.record(head + payload);

    // A silent SIP process hears and records, and does nothing else.
    if (control_.silent()) return;
    json::Owned root(json_tokener_parse(payload.c_str()));
    if (!root) return;
    if (h->kind == kKindCommand) {
      on_command(or_empty(json::text(root.get(), "cmd")));
    } else {
      on_request(*h, or_empty(json::text(root.get(), "msgtype")), json::at(root.get(), "data"));
    }
  }

  void on_command(const std::string& cmd) {
    if (cmd == "reload_account" || cmd == "reload_sip_base") register_all();
  }

  // A request names its handler; what a row does not name is recorded and
  // answered by nothing.
  using RequestHandler = void (SipPeer::*)(const BusPacketHeader& h, const std::string& name, json_object* data);
  struct RequestRow {
    std::string_view name;
    RequestHandler run;
  };

  void on_request(const BusPacketHeader& h, const std::string& name, json_object* data) {
    const auto& rows = h.msgtype == kMsgtypeBinary ? std::span<const RequestRow>(kBinaryRequests)
                                                   : std::span<const RequestRow>(kRequests);
    for (const RequestRow& row : rows)
      if (row.name == name) return (this->*row.run)(h, name, data);
  }

  static std::string response(const std::string& name) { return name + "_response"; }

  void account_get(const BusPacketHeader& h, const std::string&, json_object*) {
    reply_binary(h, records(record_count_));
  }
  void warnings_get(const BusPacketHeader& h, const std::string&, json_object* data) {
    reply_binary(h, bytes(warnings_));
    if (json::integer(data, "isCleard") != 0) warnings_.clear();
  }
  void phone_dail(const BusPacketHeader& h, const std::string&, json_object* data) {
    dial(h, json::integer(data, "dialAccId"), or_empty(json::text(data, "phoneNumber")));
  }
  void phone_hangup(const BusPacketHeader&, const std::string&, json_object* data) {
    const int id = json::integer(data, "current_call");
    auto c = calls_.find(id);
    if (c == calls_.end()) return;
    event("disconnect",
          json::Builder().integer("accNumber", c->second.account).integer("call_id", id).integer("flags", 0).release(),
          5);
    calls_.erase(c);
  }
  void hold_or_resume(const BusPacketHeader&, const std::string& name, json_object* data) {
    auto c = calls_.find(json::integer(data, "current_call"));
    if (c == calls_.end() || c->second.state == "connecting" || c->second.state == "incoming") return;
    c->second.state = name == "phone_hold" ? "held" : "connected";
    event("invite_response", json::Builder().integer("accNumber", c->second.account).integer("flags", 200).release(),
          5);
  }
  void phone_answer(const BusPacketHeader&, const std::string&, json_object* data) {
    answer(json::integer(data, "current_call"), json::integer(data, "acceptFlag"));
  }
  void phone_register(const BusPacketHeader&, const std::string&, json_object* data) {
    const int account = json::integer(data, "lineId");
    if (account < 1 || account > kAccounts) return;
    load_accounts();
    set_online(account, json::integer(data, "registerFlag") != 0 && accounts_[account - 1].enabled ? 1 : 0);
  }
  void hook_switch(const BusPacketHeader&, const std::string&, json_object* data) { dev_ = json::integer(data, "dev"); }
  void set_rec_history(const BusPacketHeader&, const std::string&, json_object* data) {
    rec_history_ = json::integer(data, "enableFlag");
  }
  void int_val_set(const BusPacketHeader&, const std::string&, json_object* data) {
    variables_[json::integer(data, "variable")] = json::integer(data, "value");
  }
  void tip_info_clear(const BusPacketHeader&, const std::string&, json_object*) { tip_unread_ = 0; }
  void blf_subscribe(const BusPacketHeader& h, const std::string& name, json_object* data) {
    const int flag = json::integer(data, "startFlag");
    auto target = std::make_pair(json::integer(data, "acc_id"), or_empty(json::text(data, "number")));
    if (flag & 1) blf_[target] = flag >> 8;
    else blf_.erase(target);
    reply(h, response(name), "0", nullptr);
  }
  void phone_info_get(const BusPacketHeader& h, const std::string& name, json_object*) {
    int dialling = 0;
    for (auto& [id, c] : calls_) dialling |= c.state == "connecting";
    reply(h, response(name), "0",
          json::Builder()
              .integer("curHookState", dev_ != 0 ? 1 : 0)
              .integer("curDevType", dev_)
              .integer("dialFlag", dialling)
              .release());
  }
  void phone_state_get(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, response(name), "0",
          json::Builder()
              .integer("acc1Status", accounts_[0].online)
              .integer("acc2Status", accounts_[1].online)
              .integer("acc3Status", accounts_[2].online)
              .integer("acc4Status", accounts_[3].online)
              .release());
  }
  void get_rec_history(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, response(name), "0", json::Builder().integer("enableFlag", rec_history_).release());
  }
  void call_info(const BusPacketHeader& h, const std::string& name, json_object* data) {
    auto c = calls_.find(json::integer(data, "callId"));
    if (c == calls_.end()) return reply(h, response(name), "-1", json_object_new_object());
    const Account& a = accounts_[c->second.account - 1];
    reply(h, response(name), "0",
          json::Builder()
              .text("fromAccount", (c->second.outgoing ? a.user : c->second.number).c_str())
              .text("toAccount", (c->second.outgoing ? c->second.number : a.user).c_str())
              .integer("acc_id", c->second.account)
              .release());
  }
  void tip_info_get(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, response(name), "0",
          json::Builder()
              .text("tranfernum", tip_number_.c_str())
              .integer("unreadnum", tip_unread_)
              .integer("id", tip_id_)
              .integer("accID", tip_account_)
              .release());
  }
  // These two answer under their own name.
  void voice_get_power(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, name, "0", json::Builder().integer("power", power_).release());
  }
  void int_val_get(const BusPacketHeader& h, const std::string& name, json_object* data) {
    const int variable = json::integer(data, "variable");
    reply(h, name, "0",
          json::Builder()
              .integer("variable", wrong_variable_ ? variable + 1 : variable)
              .integer("value", variables_[variable])
              .release());
  }

  static constexpr RequestRow kBinaryRequests[] = {
      {"account_get", &SipPeer::account_get},
      {"warnningist_get", &SipPeer::warnings_get},
  };
  static constexpr RequestRow kRequests[] = {
      {"phone_dail", &SipPeer::phone_dail},
      {"phone_hangup", &SipPeer::phone_hangup},
      {"phone_hold", &SipPeer::hold_or_resume},
      {"phone_resume", &SipPeer::hold_or_resume},
      {"phone_answer", &SipPeer::phone_answer},
      {"phone_register", &SipPeer::phone_register},
      {"hook_switch", &SipPeer::hook_switch},
      {"set_rec_history", &SipPeer::set_rec_history},
      {"voip_int_val_set", &SipPeer::int_val_set},
      {"tip_info_clear", &SipPeer::tip_info_clear},
      {"blf_subscribe", &SipPeer::blf_subscribe},
      {"phone_info_get", &SipPeer::phone_info_get},
      {"phone_state_get", &SipPeer::phone_state_get},
      {"get_rec_history", &SipPeer::get_rec_history},
      {"call_info", &SipPeer::call_info},
      {"tip_info_get", &SipPeer::tip_info_get},
      {"voice_get_power", &SipPeer::voice_get_power},
      {"voip_in_val_get", &SipPeer::int_val_get},
  };
  void dial(const BusPacketHeader& h, int account, const std::string& number) {
    if (account < 1 || account > kAccounts || accounts_[account - 1].online != 1) {
      reply(h, "phone_dail_response", "-1", json::Builder().text("desc", "Account not registered").release());
      return;
    }
    if (number.empty()) {
      reply(h, "phone_dail_response", "-1", json::Builder().text("desc", "Address Incomplete!").release());
      return;
    }
    const int id = next_call_++;
    calls_[id] = Call{account, number, "connecting", true};
    char text[16];
    snprintf(text, sizeof text, "%d", id);
    reply(h, "phone_dail_response", text, json::Builder().text("desc", ("calling " + number).c_str()).release());
    const Account& a = accounts_[account - 1];
    event("connecting",
          json::Builder()
              .text("from", a.user.c_str())
              .text("to", number.c_str())
              .integer("acc", account)
              .integer("id", id)
              .integer("inF", 0)
              .integer("tFlag", 0)
              .text("div", "")
              .text("dis", a.display.c_str())
              .integer("backup_callid", 0)
              .text("call_id_gl", (std::to_string(id) + "@sipd").c_str())
              .release(),
          delay_ms_ + 5);
    if (outcome_ == "connect") {
      calls_[id].state = "connected";
      event("connect",
            json::Builder()
                .integer("accNumber", account)
                .integer("call_id", id)
                .integer("flags", 0)
                .integer("handfree_tag", 0)
                .text("calledID", number.c_str())
                .text("callID", number.c_str())
                .text("dis", "")
                .release(),
            delay_ms_ + kConnectAfterMs);
    } else if (outcome_ == "disconnect") {
      calls_.erase(id);
      event("disconnect",
            json::Builder().integer("accNumber", account).integer("call_id", id).integer("flags", 486).release(),
            delay_ms_ + kConnectAfterMs);
    }
  }

  void answer(int id, int accept) {
    auto c = calls_.find(id);
    if (c == calls_.end() || c->second.state != "incoming") return;
    if (accept != 0) {
      c->second.state = "connected";
      event("connect",
            json::Builder()
                .integer("accNumber", c->second.account)
                .integer("call_id", id)
                .integer("flags", 1)
                .integer("handfree_tag", 0)
                .text("calledID", accounts_[c->second.account - 1].user.c_str())
                .text("callID", c->second.number.c_str())
                .text("dis", "")
                .release(),
            5);
    } else {
      event("disconnect",
            json::Builder()
                .integer("accNumber", c->second.account)
                .integer("call_id", id)
                .integer("flags", 603)
                .release(),
            5);
      calls_.erase(c);
    }
  }

  // Control ------------------------------------------------------------------
  // ping, log, clear and silent are the control port's own; these are the
  // SIP process's.

  std::string reset_command(const std::string&) {
    reset();
    return "ok";
  }
  std::string delay_command(const std::string& rest) {
    delay_ms_ = std::max(0, std::atoi(rest.c_str()));
    return "ok";
  }
  std::string outcome_command(const std::string& rest) {
    if (rest != "connect" && rest != "disconnect" && rest != "ring") return "error: outcome connect|disconnect|ring";
    outcome_ = rest;
    return "ok";
  }
  // A raw event text, sent as it is (kind 2, dest 65535).
  std::string event_command(const std::string& rest) {
    queue(packet(kUnaskedSeq, kMsgtypeJson, kKindEvent, kBusIdAll, bytes(rest)), 0);
    return "ok";
  }
  std::string reg_command(const std::string& rest) {
    int account = 0, online = 0;
    std::istringstream(rest) >> account >> online;
    if (account < 1 || account > kAccounts) return "error: reg ACCOUNT(1-4) ONLINE";
    load_accounts();
    set_online(account, online);
    return "ok";
  }
  std::string incoming_command(const std::string& rest) {
    int account = 0;
    std::string number;
    std::istringstream(rest) >> account >> number;
    if (account < 1 || account > kAccounts || number.empty()) return "error: incoming ACCOUNT NUMBER";
    const int id = next_call_++;
    calls_[id] = Call{account, number, "incoming", false};
    event("incoming_call",
          json::Builder()
              .text("callID", number.c_str())
              .text("calledID", accounts_[account - 1].user.c_str())
              .integer("accNumber", account)
              .integer("flags", 0)
              .integer("dirInFlag", 1)
              .release(),
          0);
    return std::to_string(id);
  }

  // The values of "set WHAT ...".
  void set_power(std::istringstream& args) { args >> power_; }
  void set_wrongvar(std::istringstream& args) { args >> wrong_variable_; }
  void set_records(std::istringstream& args) { args >> record_count_; }
  void set_tip(std::istringstream& args) { args >> tip_number_ >> tip_unread_ >> tip_id_ >> tip_account_; }
  void set_warnings(std::istringstream& args) { std::getline(args >> std::ws, warnings_); }
  struct SetRow {
    std::string_view what;
    void (SipPeer::*run)(std::istringstream& args);
  };
  static constexpr SetRow kSettings[] = {
      {"power", &SipPeer::set_power}, {"wrongvar", &SipPeer::set_wrongvar}, {"records", &SipPeer::set_records},
      {"tip", &SipPeer::set_tip},     {"warnings", &SipPeer::set_warnings},
  };
  std::string set_command(const std::string& rest) {
    std::istringstream args(rest);
    std::string what;
    args >> what;
    const SetRow* row = nullptr;
    for (const SetRow& r : kSettings)
      if (r.what == what) row = &r;
    if (row == nullptr) return "error: set power|wrongvar|records|tip|warnings";
    (this->*row->run)(args);
    record_count_ = std::clamp(record_count_, 0, 16);
    return "ok";
  }
  std::string state_command(const std::string&) { return state_text(); }
  std::string leave_command(const std::string&) {
    leave_session();
    return "ok";
  }
  std::string join_command(const std::string&) {
    if (session_fd_ >= 0) return "ok";
    return connect_session() ? "ok" : "error: bus id 4098 taken";
  }

  static constexpr phonebox::ControlCommand<SipPeer> kControl[] = {
      {"reset", &SipPeer::reset_command}, {"delay", &SipPeer::delay_command}, {"outcome", &SipPeer::outcome_command},
      {"event", &SipPeer::event_command}, {"reg", &SipPeer::reg_command},     {"incoming", &SipPeer::incoming_command},
      {"set", &SipPeer::set_command},     {"state", &SipPeer::state_command}, {"leave", &SipPeer::leave_command},
      {"join", &SipPeer::join_command},
  };

  // Accounts, calls and BLF subscriptions as JSON, for "state".
  std::string state_text() {
    json::Builder root;
    json_object* accounts = json_object_new_array();
    for (int i = 0; i < kAccounts; ++i)
      json_object_array_add(accounts, json::Builder()
                                          .integer("account", i + 1)
                                          .integer("online", accounts_[i].online)
                                          .text("user", accounts_[i].user.c_str())
                                          .release());
    root.member("accounts", accounts);
    json_object* calls = json_object_new_array();
    for (auto& [id, c] : calls_)
      json_object_array_add(calls, json::Builder()
                                       .integer("id", id)
                                       .integer("account", c.account)
                                       .text("number", c.number.c_str())
                                       .text("state", c.state.c_str())
                                       .release());
    root.member("calls", calls);
    json_object* blf = json_object_new_array();
    for (auto& [target, key] : blf_)
      json_object_array_add(blf, json::Builder()
                                     .integer("key", key)
                                     .integer("acc_id", target.first)
                                     .text("number", target.second.c_str())
                                     .release());
    root.member("blf", blf);
    std::string text = json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PLAIN);
    return text;
  }

  phonebox::ControlPort control_;
  int session_fd_ = -1;
  uint16_t server_port_ = 0;
  Account accounts_[kAccounts];
  std::map<int, Call> calls_;
  std::map<std::pair<int, std::string>, int> blf_;  // (account, number) -> key
  std::deque<Outgoing> queue_;
  int delay_ms_ = 0;
  std::string outcome_;
  int next_call_ = 1;
  int dev_ = 0;
  int rec_history_ = 0;
  int power_ = 0;
  std::map<int, int> variables_;
  bool wrong_variable_ = false;
  std::string tip_number_;
  int tip_unread_ = 0, tip_id_ = 0, tip_account_ = 0;
  std::string warnings_;
  int record_count_ = kAccounts;
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  SipPeer peer;
  if (!peer.start()) {
    phonebox::log_line(kPeer, "cannot start: control port %u or bus id %u taken", phonebox::kControlPortSip, kSelf);
    return 1;
  }
  phonebox::announce_ready(argc > 1 ? argv[1] : nullptr);
  peer.run();
}

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

#include "bus/bus_wire.h"
#include "peer.h"
#include "phonecore/account.h"

using namespace phonecore::bus;

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

std::string jtext(json_object* o, const char* key) {
  json_object* v = nullptr;
  if (!json_object_object_get_ex(o, key, &v)) return "";
  const char* s = json_object_get_string(v);
  return s != nullptr ? s : "";
}
int jint(json_object* o, const char* key) {
  json_object* v = nullptr;
  return json_object_object_get_ex(o, key, &v) ? json_object_get_int(v) : 0;
}

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
    json_object* root = json_object_from_file("/appconfigs/voip.cfg");
    json_object* array = nullptr;
    if (root != nullptr) json_object_object_get_ex(root, "account", &array);
    for (int i = 0; i < kAccounts; ++i) {
      Account& a = accounts_[i];
      json_object* e = json_object_is_type(array, json_type_array) && static_cast<size_t>(i) < json_object_array_length(array)
                           ? json_object_array_get_idx(array, static_cast<size_t>(i))
                           : nullptr;
      json_object* creds = nullptr;
      json_object* cred = nullptr;
      if (e != nullptr && json_object_object_get_ex(e, "cred_acc", &creds) &&
          json_object_is_type(creds, json_type_array) && json_object_array_length(creds) > 0)
        cred = json_object_array_get_idx(creds, 0);
      a.enabled = e != nullptr && jint(e, "enable") == 1 && !jtext(e, "registrar").empty();
      a.server = e != nullptr ? jtext(e, "SIP1ServerAddr") : "";
      a.port = e != nullptr ? jtext(e, "SIP1ServerAddrPort") : "";
      a.label = cred != nullptr ? jtext(cred, "label") : "";
      a.user = cred != nullptr ? jtext(cred, "username") : "";
      a.display = cred != nullptr ? jtext(cred, "display") : "";
      a.regname = cred != nullptr ? jtext(cred, "regname") : "";
      if (a.user.empty()) a.enabled = false;
    }
    if (root != nullptr) json_object_put(root);
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
    json_object* data = json_object_new_object();
    json_object_object_add(data, "acc_id", json_object_new_int(account));
    json_object_object_add(data, "bOnline", json_object_new_int(online));
    event("reg_changed", data, 0);
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
    json_object* root = json_object_new_object();
    json_object_object_add(root, "msgtype", json_object_new_string(name));
    json_object_object_add(root, "data", data);
    std::string text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
    json_object_put(root);
    queue(packet(kUnaskedSeq, kMsgtypeJson, kKindEvent, kBusIdAll, bytes(text)), after_ms);
  }

  // A reply to a request: same seq, kind 9, to its source. Takes over data.
  void reply(const BusPacketHeader& req, const std::string& name, const char* status, json_object* data) {
    if (control_.silent()) {
      json_object_put(data);
      return;
    }
    json_object* root = json_object_new_object();
    json_object_object_add(root, "msgtype", json_object_new_string(name.c_str()));
    if (status != nullptr) json_object_object_add(root, "status", json_object_new_string(status));
    if (data != nullptr) json_object_object_add(root, "data", data);
    std::string text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
    json_object_put(root);
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
    json_object* root = json_tokener_parse(payload.c_str());
    if (root == nullptr) return;
    if (h->kind == kKindCommand) {
      on_command(jtext(root, "cmd"));
    } else {
      json_object* data = nullptr;
      json_object_object_get_ex(root, "data", &data);
      on_request(*h, jtext(root, "msgtype"), data);
    }
    json_object_put(root);
  }

  void on_command(const std::string& cmd) {
    if (cmd == "reload_account" || cmd == "reload_sip_base") register_all();
  }

  json_object* object(std::initializer_list<std::pair<const char*, json_object*>> members) {
    json_object* o = json_object_new_object();
    for (auto& [k, v] : members) json_object_object_add(o, k, v);
    return o;
  }
  static json_object* I(int v) { return json_object_new_int(v); }
  static json_object* S(const std::string& v) { return json_object_new_string(v.c_str()); }

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
    if (jint(data, "isCleard") != 0) warnings_.clear();
  }
  void phone_dail(const BusPacketHeader& h, const std::string&, json_object* data) {
    dial(h, jint(data, "dialAccId"), jtext(data, "phoneNumber"));
  }
  void phone_hangup(const BusPacketHeader&, const std::string&, json_object* data) {
    const int id = jint(data, "current_call");
    auto c = calls_.find(id);
    if (c == calls_.end()) return;
    event("disconnect", object({{"accNumber", I(c->second.account)}, {"call_id", I(id)}, {"flags", I(0)}}), 5);
    calls_.erase(c);
  }
  void hold_or_resume(const BusPacketHeader&, const std::string& name, json_object* data) {
    auto c = calls_.find(jint(data, "current_call"));
    if (c == calls_.end() || c->second.state == "connecting" || c->second.state == "incoming") return;
    c->second.state = name == "phone_hold" ? "held" : "connected";
    event("invite_response", object({{"accNumber", I(c->second.account)}, {"flags", I(200)}}), 5);
  }
  void phone_answer(const BusPacketHeader&, const std::string&, json_object* data) {
    answer(jint(data, "current_call"), jint(data, "acceptFlag"));
  }
  void phone_register(const BusPacketHeader&, const std::string&, json_object* data) {
    const int account = jint(data, "lineId");
    if (account < 1 || account > kAccounts) return;
    load_accounts();
    set_online(account, jint(data, "registerFlag") != 0 && accounts_[account - 1].enabled ? 1 : 0);
  }
  void hook_switch(const BusPacketHeader&, const std::string&, json_object* data) { dev_ = jint(data, "dev"); }
  void set_rec_history(const BusPacketHeader&, const std::string&, json_object* data) {
    rec_history_ = jint(data, "enableFlag");
  }
  void int_val_set(const BusPacketHeader&, const std::string&, json_object* data) {
    variables_[jint(data, "variable")] = jint(data, "value");
  }
  void tip_info_clear(const BusPacketHeader&, const std::string&, json_object*) { tip_unread_ = 0; }
  void blf_subscribe(const BusPacketHeader& h, const std::string& name, json_object* data) {
    const int flag = jint(data, "startFlag");
    auto target = std::make_pair(jint(data, "acc_id"), jtext(data, "number"));
    if (flag & 1) blf_[target] = flag >> 8;
    else blf_.erase(target);
    reply(h, response(name), "0", nullptr);
  }
  void phone_info_get(const BusPacketHeader& h, const std::string& name, json_object*) {
    int dialling = 0;
    for (auto& [id, c] : calls_) dialling |= c.state == "connecting";
    reply(h, response(name), "0",
          object({{"curHookState", I(dev_ != 0 ? 1 : 0)}, {"curDevType", I(dev_)}, {"dialFlag", I(dialling)}}));
  }
  void phone_state_get(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, response(name), "0",
          object({{"acc1Status", I(accounts_[0].online)}, {"acc2Status", I(accounts_[1].online)},
                  {"acc3Status", I(accounts_[2].online)}, {"acc4Status", I(accounts_[3].online)}}));
  }
  void get_rec_history(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, response(name), "0", object({{"enableFlag", I(rec_history_)}}));
  }
  void call_info(const BusPacketHeader& h, const std::string& name, json_object* data) {
    auto c = calls_.find(jint(data, "callId"));
    if (c == calls_.end()) return reply(h, response(name), "-1", json_object_new_object());
    const Account& a = accounts_[c->second.account - 1];
    reply(h, response(name), "0",
          object({{"fromAccount", S(c->second.outgoing ? a.user : c->second.number)},
                  {"toAccount", S(c->second.outgoing ? c->second.number : a.user)},
                  {"acc_id", I(c->second.account)}}));
  }
  void tip_info_get(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, response(name), "0",
          object({{"tranfernum", S(tip_number_)},
                  {"unreadnum", I(tip_unread_)},
                  {"id", I(tip_id_)},
                  {"accID", I(tip_account_)}}));
  }
  // These two answer under their own name.
  void voice_get_power(const BusPacketHeader& h, const std::string& name, json_object*) {
    reply(h, name, "0", object({{"power", I(power_)}}));
  }
  void int_val_get(const BusPacketHeader& h, const std::string& name, json_object* data) {
    const int variable = jint(data, "variable");
    reply(h, name, "0",
          object({{"variable", I(wrong_variable_ ? variable + 1 : variable)}, {"value", I(variables_[variable])}}));
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
      reply(h, "phone_dail_response", "-1", object({{"desc", S("Account not registered")}}));
      return;
    }
    if (number.empty()) {
      reply(h, "phone_dail_response", "-1", object({{"desc", S("Address Incomplete!")}}));
      return;
    }
    const int id = next_call_++;
    calls_[id] = Call{account, number, "connecting", true};
    char text[16];
    snprintf(text, sizeof text, "%d", id);
    reply(h, "phone_dail_response", text, object({{"desc", S("calling " + number)}}));
    const Account& a = accounts_[account - 1];
    event("connecting",
          object({{"from", S(a.user)}, {"to", S(number)}, {"acc", I(account)}, {"id", I(id)}, {"inF", I(0)},
                  {"tFlag", I(0)}, {"div", S("")}, {"dis", S(a.display)}, {"backup_callid", I(0)},
                  {"call_id_gl", S(std::to_string(id) + "@sipd")}}),
          delay_ms_ + 5);
    if (outcome_ == "connect") {
      calls_[id].state = "connected";
      event("connect",
            object({{"accNumber", I(account)}, {"call_id", I(id)}, {"flags", I(0)}, {"handfree_tag", I(0)},
                    {"calledID", S(number)}, {"callID", S(number)}, {"dis", S("")}}),
            delay_ms_ + kConnectAfterMs);
    } else if (outcome_ == "disconnect") {
      calls_.erase(id);
      event("disconnect", object({{"accNumber", I(account)}, {"call_id", I(id)}, {"flags", I(486)}}),
            delay_ms_ + kConnectAfterMs);
    }
  }

  void answer(int id, int accept) {
    auto c = calls_.find(id);
    if (c == calls_.end() || c->second.state != "incoming") return;
    if (accept != 0) {
      c->second.state = "connected";
      event("connect",
            object({{"accNumber", I(c->second.account)}, {"call_id", I(id)}, {"flags", I(1)}, {"handfree_tag", I(0)},
                    {"calledID", S(accounts_[c->second.account - 1].user)}, {"callID", S(c->second.number)},
                    {"dis", S("")}}),
            5);
    } else {
      event("disconnect", object({{"accNumber", I(c->second.account)}, {"call_id", I(id)}, {"flags", I(603)}}), 5);
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
          object({{"callID", S(number)}, {"calledID", S(accounts_[account - 1].user)}, {"accNumber", I(account)},
                  {"flags", I(0)}, {"dirInFlag", I(1)}}),
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
      {"power", &SipPeer::set_power},       {"wrongvar", &SipPeer::set_wrongvar},
      {"records", &SipPeer::set_records},   {"tip", &SipPeer::set_tip},
      {"warnings", &SipPeer::set_warnings},
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
      {"reset", &SipPeer::reset_command},       {"delay", &SipPeer::delay_command},
      {"outcome", &SipPeer::outcome_command},   {"event", &SipPeer::event_command},
      {"reg", &SipPeer::reg_command},           {"incoming", &SipPeer::incoming_command},
      {"set", &SipPeer::set_command},           {"state", &SipPeer::state_command},
      {"leave", &SipPeer::leave_command},       {"join", &SipPeer::join_command},
  };
  std::string state_text() {
    json_object* root = json_object_new_object();
    json_object* accounts = json_object_new_array();
    for (int i = 0; i < kAccounts; ++i)
      json_object_array_add(accounts, object({{"account", I(i + 1)}, {"online", I(accounts_[i].online)},
                                              {"user", S(accounts_[i].user)}}));
    json_object_object_add(root, "accounts", accounts);
    json_object* calls = json_object_new_array();
    for (auto& [id, c] : calls_)
      json_object_array_add(calls, object({{"id", I(id)}, {"account", I(c.account)}, {"number", S(c.number)},
                                           {"state", S(c.state)}}));
    json_object_object_add(root, "calls", calls);
    json_object* blf = json_object_new_array();
    for (auto& [target, key] : blf_)
      json_object_array_add(blf, object({{"key", I(key)}, {"acc_id", I(target.first)}, {"number", S(target.second)}}));
    json_object_object_add(root, "blf", blf);
    std::string text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
    json_object_put(root);
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

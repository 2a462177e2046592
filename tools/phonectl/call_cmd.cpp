// phonectl call, account, dss: call control through the SIP process, the
// SIP accounts and the four line keys.
#include <phonecore/account.h>
#include <phonecore/dsskey.h>
#include <phonecore/voip.h>

#include <cstring>
#include <string>

#include "phonectl.h"

namespace phonectl {
namespace {

// The library waits a fixed 100 ms for each answer of the SIP process, and
// a caller cannot change that; a busy SIP process can miss it. A question
// that changes nothing is asked again, up to five times, before the tool
// gives up. A dial is never sent twice.
constexpr int kAsks = 5;
template <class Ask>
bool answered(Ask ask) {
  for (int attempt = 0; attempt < kAsks; ++attempt)
    if (ask()) return true;
  return false;
}

bool call_id(const char *text, long &id) { return parse_int(text, 0, 2147483647, id); }

int dial(Context &ctx, Args args) {
  long acc = 0;
  if (!parse_int(args[0], 1, 4, acc)) return fail(kUsage, "ACC is an account, 1 to 4");
  MessageClient *client = ctx.bus();
  if (client == nullptr) return kRefused;
  char desc[64] = "";
  const int status = voip_phone_dail(client, static_cast<int>(acc), args[1], desc);
  if (status == 0 && desc[0] == '\0') return fail(kRefused, "no answer from the SIP process");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "status", json_object_new_int(status));
  json_object_object_add(r, "desc", json_object_new_string(desc));
  print(ctx, r);
  return status > 0 ? kOk : kRefused;
}

// The commands on a call id that have no reply: the outcome comes later as
// an event (see bus listen).
int act(Context &ctx, Args args, int (*command)(MessageClient *, int), const char *what) {
  long id = 0;
  if (!call_id(args[0], id)) return fail(kUsage, "ID is a call id");
  MessageClient *client = ctx.bus();
  if (client == nullptr) return kRefused;
  command(client, static_cast<int>(id));
  json_object *r = json_object_new_object();
  json_object_object_add(r, "call", json_object_new_int(static_cast<int>(id)));
  json_object_object_add(r, "sent", json_object_new_string(what));
  print(ctx, r);
  return kOk;
}
int answer_call(MessageClient *client, int id) { return voip_phone_answer(client, id, 1); }
int answer(Context &ctx, Args args) { return act(ctx, args, answer_call, "phone_answer"); }
int hold(Context &ctx, Args args) { return act(ctx, args, voip_phone_hold, "phone_hold"); }
int resume(Context &ctx, Args args) { return act(ctx, args, voip_phone_resume, "phone_resume"); }
int hangup(Context &ctx, Args args) { return act(ctx, args, voip_phone_hangup, "phone_hangup"); }

int state(Context &ctx, Args) {
  MessageClient *client = ctx.bus();
  if (client == nullptr) return kRefused;
  int acc[4] = {};
  if (!answered([&] { return voip_phone_state_get(client, &acc[0], &acc[1], &acc[2], &acc[3]) == 1; }))
    return fail(kRefused, "no answer from the SIP process");
  int hook = 0, dev = 0, dialing = 0;
  const bool info = answered([&] { return voip_phone_info_get(client, &hook, &dev, &dialing) == 1; });
  json_object *r = json_object_new_object();
  for (int i = 0; i < 4; ++i)
    json_object_object_add(r, ("acc" + std::to_string(i + 1) + "Status").c_str(), json_object_new_int(acc[i]));
  if (info) {
    json_object_object_add(r, "curHookState", json_object_new_int(hook));
    json_object_object_add(r, "curDevType", json_object_new_int(dev));
    json_object_object_add(r, "dialFlag", json_object_new_int(dialing));
  }
  print(ctx, r);
  return kOk;
}

std::string text_of(const char (&field)[ACCOUNT_TEXT_SIZE]) { return std::string(field, strnlen(field, sizeof field)); }

int account_list(Context &ctx, Args) {
  MessageClient *client = ctx.bus();
  if (client == nullptr) return kRefused;
  AccountRecord records[ACCOUNT_MAX_RECORDS] = {};
  int bytes = 0;
  answered([&] {
    voip_account_get_real(client, records, &bytes);
    return bytes > 0;
  });
  const int count = bytes / static_cast<int>(sizeof(AccountRecord));
  if (count <= 0) return fail(kRefused, "no accounts from the SIP process");
  json_object *list = json_object_new_array();
  for (int i = 0; i < count && i < ACCOUNT_MAX_RECORDS; ++i) {
    const AccountRecord &a = records[i];
    json_object *o = json_object_new_object();
    json_object_object_add(o, "id", json_object_new_int(static_cast<int>(a.account_id)));
    json_object_object_add(o, "usable", json_object_new_int(static_cast<int>(a.word4)));
    json_object_object_add(o, "registered", json_object_new_int(a.reg_state));
    json_object_object_add(o, "label", json_object_new_string(text_of(a.text[0]).c_str()));
    json_object_object_add(o, "display", json_object_new_string(text_of(a.text[1]).c_str()));
    json_object_object_add(o, "user", json_object_new_string(text_of(a.text[3]).c_str()));
    json_object_object_add(o, "server", json_object_new_string(text_of(a.text[4]).c_str()));
    json_object_object_add(o, "port", json_object_new_string(text_of(a.text[6]).c_str()));
    json_object_array_add(list, o);
  }
  if (ctx.json) {
    print(ctx, list);
  } else {
    for (size_t i = 0; i < json_object_array_length(list); ++i) {
      json_object *o = json_object_array_get_idx(list, i);
      auto s = [&](const char *k) { return json_object_get_string(json_object_object_get(o, k)); };
      std::fprintf(ctx.out, "%s %s registered=%s user=%s server=%s:%s label=%s\n", s("id"),
                   std::strcmp(s("usable"), "0") != 0 ? "usable" : "unusable", s("registered"), s("user"), s("server"),
                   s("port"), s("label"));
    }
    json_object_put(list);
  }
  return kOk;
}

int account_set(Context &ctx, Args args) {
  long n = 0, enable = 0;
  if (!parse_int(args[0], 1, 4, n)) return fail(kUsage, "N is an account, 1 to 4");
  if (!parse_int(args[8], 0, 1, enable)) return fail(kUsage, "ENABLE is 0 or 1");
  const char *port2 = args.size() > 9 ? args[9] : "";
  const char *server2 = args.size() > 10 ? args[10] : "";
  if (setSipAccount(static_cast<int>(n) - 1, args[1], args[2], args[3], args[4], args[5], args[6], args[7],
                    static_cast<int>(enable), port2, server2) != 0)
    return fail(kRefused, "the account store can't be read");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "account", json_object_new_int(static_cast<int>(n)));
  json_object_object_add(r, "written", json_object_new_boolean(1));
  print(ctx, r);
  (void)ctx;
  return kOk;
}

// Key types by name, as the line-key menu names them.
struct DssType {
  std::string_view name;
  int type;
};
constexpr DssType kDssTypes[] = {
    {"line", DSS_TYPE_LINE},
    {"blf", DSS_TYPE_BLF},
    {"intercom", DSS_TYPE_INTERCOM},
    {"speed", DSS_TYPE_SPEED_DIAL},
    {"pickup", DSS_TYPE_CALL_PICKUP},
    {"park", DSS_TYPE_CALL_PARK},
    {"retrieve", DSS_TYPE_PARK_RETRIEVE},
    {"other", DSS_TYPE_OTHER},
};
std::string_view dss_type_name(int type) {
  for (const auto &t : kDssTypes)
    if (t.type == type) return t.name;
  return "";
}

int dss_get(Context &ctx, Args args) {
  long key = 0;
  if (!parse_int(args[0], 1, 4, key)) return fail(kUsage, "KEY is a line key, 1 to 4");
  DssKeyInfo info{};
  info.type = -1;
  voip_func_Dsskey_data(nullptr, 0, static_cast<int>(key), &info);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "key", json_object_new_int(static_cast<int>(key)));
  json_object_object_add(r, "type", json_object_new_int(info.type));
  json_object_object_add(r, "typeName", json_object_new_string(std::string(dss_type_name(info.type)).c_str()));
  json_object_object_add(r, "accId", json_object_new_int64(info.accId));
  json_object_object_add(r, "label", json_object_new_string(info.label));
  json_object_object_add(r, "value", json_object_new_string(info.value));
  json_object_object_add(r, "extension", json_object_new_string(info.extension));
  print(ctx, r);
  return kOk;
}

int dss_set(Context &ctx, Args args) {
  long key = 0, type = -1, acc = 0;
  if (!parse_int(args[0], 1, 4, key)) return fail(kUsage, "KEY is a line key, 1 to 4");
  for (const auto &t : kDssTypes)
    if (t.name == args[1]) type = t.type;
  if (type < 0 && !parse_int(args[1], 0, 255, type))
    return fail(kUsage, "TYPE is line, blf, intercom, speed, pickup, park, retrieve, other or a number");
  DssKeyInfo info{};
  info.type = static_cast<int32_t>(type);
  if (std::strcmp(args[2], "none") == 0) {
    info.accId = DSS_NO_ACCOUNT;
  } else if (parse_int(args[2], 1, 4, acc)) {
    info.accId = static_cast<uint32_t>(acc);
  } else {
    return fail(kUsage, "ACC is an account, 1 to 4, or none");
  }
  auto copy = [](char(&to)[64], const char *from) {
    std::strncpy(to, from, sizeof to - 1);
    to[sizeof to - 1] = '\0';
  };
  copy(info.label, args[3]);
  copy(info.value, args[4]);
  if (args.size() > 5) copy(info.extension, args[5]);
  // A BLF key subscribes at the SIP process: that needs the session.
  MessageClient *client = ctx.bus();
  if (client == nullptr) return kRefused;
  if (voip_func_Dsskey_data(client, 1, static_cast<int>(key), &info) != 0)
    return fail(kRefused, "default/programing_key.cfg can't be read");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "key", json_object_new_int(static_cast<int>(key)));
  json_object_object_add(r, "written", json_object_new_boolean(1));
  print(ctx, r);
  return kOk;
}

constexpr Command kCommands[] = {
    {"call", "dial", "call dial ACC NUMBER",
     "dial NUMBER on account ACC (1 to 4); prints the SIP process's status (the call id) and its text", 2, 2, dial},
    {"call", "answer", "call answer ID", "answer the incoming call ID", 1, 1, answer},
    {"call", "hold", "call hold ID", "hold call ID", 1, 1, hold},
    {"call", "resume", "call resume ID", "resume call ID", 1, 1, resume},
    {"call", "hangup", "call hangup ID", "hang up call ID", 1, 1, hangup},
    {"call", "state", "call state", "registration of the four accounts, hook state and dialling flag", 0, 0, state},
    {"account", "list", "account list", "the SIP process's accounts: id, usable, registered, user, server, label", 0, 0,
     account_list},
    {"account", "set", "account set N LABEL USER PASSWORD DISPLAY REGNAME PORT SERVER ENABLE [PORT2 SERVER2]",
     "write account N (1 to 4) into the account store and have every process reload the accounts; an empty PORT "
     "means 5060",
     9, 11, account_set},
    {"dss", "get", "dss get KEY", "line key KEY (1 to 4): type, account, label, value, extension", 1, 1, dss_get},
    {"dss", "set", "dss set KEY TYPE ACC LABEL VALUE [EXTENSION]",
     "program line key KEY; TYPE line, blf, intercom, speed, pickup, park, retrieve, other; ACC 1 to 4 or none; "
     "a BLF key is subscribed at once",
     5, 6, dss_set},
};

}  // namespace

std::span<const Command> call_commands() { return kCommands; }

}  // namespace phonectl

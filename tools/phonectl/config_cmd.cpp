// phonectl cfg, kv, dm: the configuration store, key=value files and the
// device-management settings.
#include <phonecore/config.h>
#include <phonecore/dm.h>
#include <phonecore/phonecfg.h>
#include <phonecore/phonecfg_export.h>
#include <unistd.h>

#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "phonectl.h"
// The phone.cfg key table is constant data shared with the library's
// import: phonectl compiles the same rows rather than asking for them.
#include "provision/phonecfg/export_table.h"
#include "provision/phonecfg/key_table.h"

namespace phonectl {
namespace {

// KEY.PATH: members separated by '.'; a number steps into an array.
std::vector<std::string> split_path(const char *path) {
  std::vector<std::string> keys;
  std::string part;
  for (const char *p = path;; ++p) {
    if (*p == '.' || *p == '\0') {
      keys.push_back(part);
      part.clear();
      if (*p == '\0') break;
    } else {
      part += *p;
    }
  }
  return keys;
}

bool array_index(json_object *o, const std::string &key, size_t &index) {
  long i = 0;
  if (!json_object_is_type(o, json_type_array) || !parse_int(key.c_str(), 0, 1 << 20, i)) return false;
  index = static_cast<size_t>(i);
  return true;
}

// The member at the path, owned by root; null when a part is missing.
json_object *walk(json_object *root, const std::vector<std::string> &keys) {
  json_object *o = root;
  for (const auto &k : keys) {
    size_t i = 0;
    if (array_index(o, k, i)) {
      o = i < json_object_array_length(o) ? json_object_array_get_idx(o, i) : nullptr;
    } else if (!json_object_is_type(o, json_type_object) || !json_object_object_get_ex(o, k.c_str(), &o)) {
      o = nullptr;
    }
    if (o == nullptr) return nullptr;
  }
  return o;
}

int cfg_read(Context &ctx, Args args) {
  json_object *root = read_gnl_config_json(args[0]);
  if (root == nullptr) return fail(kRefused, std::string("no ") + args[0] + " from the configuration service");
  if (args.size() == 1) {
    print(ctx, root);
    return kOk;
  }
  json_object *member = walk(root, split_path(args[1]));
  if (member == nullptr) {
    json_object_put(root);
    return fail(kRefused, std::string(args[1]) + " is not in " + args[0]);
  }
  json_object_get(member);
  json_object_put(root);
  print(ctx, member);
  return kOk;
}

int cfg_write(Context &ctx, Args args) {
  json_object *o = json_tokener_parse(args[1]);
  if (o == nullptr || !json_object_is_type(o, json_type_object)) {
    json_object_put(o);
    return fail(kUsage, "JSON must be a JSON object");
  }
  const int result = write_gnl_config_json(args[0], o);
  json_object_put(o);
  if (result != 0) return fail(kRefused, "the text does not fit one datagram of the configuration service");
  // The service answers a write whether it took it or not: read it back.
  json_object *back = read_gnl_config_json(args[0]);
  if (back == nullptr) return fail(kRefused, std::string("the configuration service did not take ") + args[0]);
  json_object_put(back);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "file", json_object_new_string(args[0]));
  json_object_object_add(r, "written", json_object_new_boolean(1));
  print(ctx, r);
  return kOk;
}

// VALUE keeps the type of the member it replaces: a number stays a number
// where it is one (hal.cfg levels), a text stays a text ("1" in most files).
json_object *typed_value(json_object *old, const char *text) {
  long n = 0;
  if (old != nullptr && json_object_is_type(old, json_type_int) && parse_int(text, -2147483647L - 1, 2147483647L, n))
    return json_object_new_int(static_cast<int>(n));
  if (old != nullptr && json_object_is_type(old, json_type_boolean) &&
      (std::strcmp(text, "true") == 0 || std::strcmp(text, "false") == 0))
    return json_object_new_boolean(text[0] == 't');
  return json_object_new_string(text);
}

// An ITEM of "cfg set": KEY=VALUE with KEY a row of the phone.cfg key
// table (the text before the first '=').
bool phonecfg_item(const char *text) {
  const char *eq = std::strchr(text, '=');
  if (eq == nullptr) return false;
  const std::string_view key(text, static_cast<size_t>(eq - text));
  for (const auto &row : phonecore::phonecfg::kKeyTable)
    if (row.key == key) return true;
  return false;
}

// cfg set ITEM...: the items through the import, as lines of a phone.cfg,
// then the reload. Nothing is applied unless every item names a key.
int cfg_set_items(Context &ctx, Args args) {
  for (char *const item : args)
    if (!phonecfg_item(item))
      return fail(kUsage, std::string(item) + " is no KEY=VALUE of a phone.cfg key (phonectl cfg keys lists them)");
  for (char *const item : args) my_dm_handle_value1(item);
  const int network = start_network_flag;
  const int something = reload_something_flag;
  reload_all_phonecfg();
  json_object *r = json_object_new_object();
  json_object_object_add(r, "items", json_object_new_int64(static_cast<int64_t>(args.size())));
  json_object_object_add(r, "network", json_object_new_int(network));
  json_object_object_add(r, "changed", json_object_new_int(something));
  json_object_object_add(r, "reloaded", json_object_new_boolean(1));
  print(ctx, r);
  return kOk;
}

// Two forms, told apart by their words: FILE KEY.PATH VALUE is three words
// without '=' in the first; anything else is a list of ITEMs.
int cfg_set(Context &ctx, Args args) {
  if (args.size() != 3 || std::strchr(args[0], '=') != nullptr) return cfg_set_items(ctx, args);
  json_object *root = read_gnl_config_json(args[0]);
  if (root == nullptr) return fail(kRefused, std::string("no ") + args[0] + " from the configuration service");
  const auto keys = split_path(args[1]);
  json_object *o = root;
  for (size_t k = 0; k + 1 < keys.size(); ++k) {
    size_t i = 0;
    json_object *next = nullptr;
    if (array_index(o, keys[k], i)) {
      next = i < json_object_array_length(o) ? json_object_array_get_idx(o, i) : nullptr;
    } else if (json_object_is_type(o, json_type_object)) {
      if (!json_object_object_get_ex(o, keys[k].c_str(), &next)) {
        next = json_object_new_object();
        json_object_object_add(o, keys[k].c_str(), next);
      }
    }
    if (next == nullptr) {
      json_object_put(root);
      return fail(kRefused, "no place for " + keys[k] + " in " + args[0]);
    }
    o = next;
  }
  const std::string &last = keys.back();
  size_t i = 0;
  if (array_index(o, last, i)) {
    json_object_array_put_idx(o, i, typed_value(json_object_array_get_idx(o, i), args[2]));
  } else if (json_object_is_type(o, json_type_object)) {
    json_object *old = nullptr;
    json_object_object_get_ex(o, last.c_str(), &old);
    json_object_object_add(o, last.c_str(), typed_value(old, args[2]));
  } else {
    json_object_put(root);
    return fail(kRefused, std::string(args[1]) + " lies under a value that is not an object in " + args[0]);
  }
  const int result = write_gnl_config_json(args[0], root);
  json_object_put(root);
  if (result != 0) return fail(kRefused, "the text does not fit one datagram of the configuration service");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "file", json_object_new_string(args[0]));
  json_object_object_add(r, "key", json_object_new_string(args[1]));
  json_object_object_add(r, "value", json_object_new_string(args[2]));
  print(ctx, r);
  return kOk;
}

// key=value files: a line holds 255 characters, so a value does too.
constexpr size_t kKvLineSize = 256;

int kv_get(Context &ctx, Args args) {
  if (args.size() != 2) return fail(kUsage, "usage: phonectl kv get FILE KEY");
  // The reader doesn't tell a missing key; a mark in the cleared buffer does.
  char value[kKvLineSize + 1] = {};
  value[0] = '\x01';
  ReadConfig(args[0], args[1], value);
  if (value[0] == '\x01') return fail(kRefused, std::string(args[1]) + " is not in " + args[0]);
  value[kKvLineSize] = '\0';
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, args[1], json_object_new_string(value));
    print(ctx, r);
  } else {
    print(ctx, json_object_new_string(value));
  }
  return kOk;
}

int kv_set(Context &ctx, Args args) {
  if (args.size() != 3) return fail(kUsage, "usage: phonectl kv set FILE KEY VALUE");
  if (std::strlen(args[1]) + std::strlen(args[2]) + 2 >= kKvLineSize)
    return fail(kUsage, "a line holds 255 characters");
  if (access(args[0], F_OK) != 0) return fail(kRefused, std::string(args[0]) + " does not exist");
  if (AddOrAltConfig(args[0], args[1], args[2]) != 0) return fail(kRefused, std::string(args[0]) + " can't be written");
  json_object *r = json_object_new_object();
  json_object_object_add(r, args[1], json_object_new_string(args[2]));
  print(ctx, r);
  return kOk;
}

int kv_delete(Context &ctx, Args args) {
  if (args.size() != 2) return fail(kUsage, "usage: phonectl kv delete FILE KEY");
  if (access(args[0], F_OK) != 0) return fail(kRefused, std::string(args[0]) + " does not exist");
  if (DeleteConfig(args[0], args[1]) != 0) return fail(kRefused, std::string(args[0]) + " can't be written");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "deleted", json_object_new_string(args[1]));
  print(ctx, r);
  return kOk;
}

// Device management. The receivers are the caller's; values come from the
// stores and are not measured by the library, so each gets a line's room.
constexpr size_t kDmTextSize = 256;
using DmText = char[kDmTextSize];

// The readings of "dm get": each fills its named texts, 0 or -1.
struct DmReading {
  std::string_view what;
  int count;
  const char *names[7];
  int (*read)(DmText *t);
  const char *failure;
};
constexpr DmReading kDmReadings[] = {
    {"netmode",
     1,
     {"mode"},
     [](DmText *t) { return quorrbitGetnetworkMode(t[0]); },
     "no wan.mode in the network store"},
    {"net",
     7,
     {"mode", "ipaddr", "netmask", "gateway", "dns1", "dns2", "mac"},
     [](DmText *t) { return sys_get_netinfor(t[0], t[1], t[2], t[3], t[4], t[5], t[6]); },
     "the network store can't be read"},
    {"status",
     5,
     {"SWVersion", "HWVersion", "deviceid", "ipaddr", "mac"},
     [](DmText *t) { return sys_get_statusinfor(t[0], t[1], t[2], t[3], t[4]); },
     "the status store can't be read"},
};

int dm_get(Context &ctx, Args args) {
  for (const DmReading &r : kDmReadings) {
    if (r.what != args[0]) continue;
    DmText texts[7] = {};
    if (r.read(texts) != 0) return fail(kRefused, r.failure);
    json_object *o = json_object_new_object();
    for (int i = 0; i < r.count; ++i) json_object_object_add(o, r.names[i], json_object_new_string(texts[i]));
    print(ctx, o);
    return kOk;
  }
  return fail(kUsage, "dm get netmode|net|status");
}

// The settings of "dm set": WHAT and its values, into the cached network
// store.
struct DmSetting {
  std::string_view what;
  size_t values;
  int (*set)(Args v);
};
constexpr DmSetting kDmSettings[] = {
    {"netmode", 1, [](Args v) { return quorrbitSetnetworkMode(v[1]); }},
    {"wan", 5, [](Args v) { return quorrbitWanStatic(v[1], v[2], v[3], v[4], v[5]); }},
    {"lan", 2, [](Args v) { return quorrbitLanStatic(v[1], v[2]); }},
};

int dm_set(Context &ctx, Args args) {
  const DmSetting *setting = nullptr;
  for (const DmSetting &s : kDmSettings)
    if (s.what == args[0] && s.values + 1 == args.size()) setting = &s;
  if (setting == nullptr) return fail(kUsage, "dm set netmode MODE | wan IP MASK GATEWAY DNS1 DNS2 | lan IP MASK");
  // The setters change the process's cached network store; it is read
  // first and written back to the service after.
  refresh_config(GNL_CATEGORY_NETWORK, 0, nullptr);
  if (get_config_slot(GNL_CATEGORY_NETWORK) == nullptr) return fail(kRefused, "the network store can't be read");
  if (setting->set(args) != 0) return fail(kRefused, "the network store has no section for " + std::string(args[0]));
  refresh_config(GNL_CATEGORY_NETWORK, 1, nullptr);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "set", json_object_new_string(args[0]));
  print(ctx, r);
  return kOk;
}

// phone.cfg read the way the configuration service takes up the file: a
// line ends at LF, a NUL ends the item early, a CR stays; a line of 64
// bytes or more (its LF not counted) is skipped with a note, as the URI
// road leaves such items empty.
constexpr size_t kPhonecfgLineLimit = 64;

int cfg_import(Context &ctx, Args args) {
  const char *path = nullptr;
  bool reload = true;
  for (char *const w : args) {
    if (std::strcmp(w, "--no-reload") == 0) reload = false;
    else if (path == nullptr) path = w;
    else return fail(kUsage, "cfg import FILE [--no-reload]");
  }
  if (path == nullptr) return fail(kUsage, "cfg import FILE [--no-reload]");
  int length = 0;
  char *text = getFileAll(path, &length);
  if (text == nullptr) return fail(kRefused, std::string(path) + " can't be read");
  long items = 0, skipped = 0, line_number = 0;
  for (int start = 0; start < length;) {
    const char *lf = static_cast<const char *>(std::memchr(text + start, '\n', static_cast<size_t>(length - start)));
    const int end = lf != nullptr ? static_cast<int>(lf - text) : length;
    ++line_number;
    const std::string line(text + start, static_cast<size_t>(end - start));
    if (line.size() >= kPhonecfgLineLimit) {
      std::fprintf(err(), "phonectl: %s line %ld: %zu bytes, skipped\n", path, line_number, line.size());
      ++skipped;
    } else {
      my_dm_handle_value1(line.c_str());
      ++items;
    }
    start = end + 1;
  }
  std::free(text);
  const int network = start_network_flag;
  const int something = reload_something_flag;
  if (reload) reload_all_phonecfg();
  json_object *r = json_object_new_object();
  json_object_object_add(r, "items", json_object_new_int64(items));
  json_object_object_add(r, "skipped", json_object_new_int64(skipped));
  json_object_object_add(r, "network", json_object_new_int(network));
  json_object_object_add(r, "changed", json_object_new_int(something));
  json_object_object_add(r, "reloaded", json_object_new_boolean(reload));
  print(ctx, r);
  return kOk;
}

std::string check_text(const phonecore::phonecfg::KeyRow &row) {
  using phonecore::phonecfg::Check;
  switch (row.check) {
    case Check::kAny:
      return "any";
    case Check::kZeroOrOne:
      return "0|1";
    case Check::kIpv4:
      return "ipv4";
    case Check::kOneOf:
      return std::string(row.choices);
    case Check::kDigitsRange:
      return std::to_string(row.low) + ".." + std::to_string(row.high);
    case Check::kDigits:
      return "digits";
    case Check::kDigitsClamp:
      return "digits~" + std::to_string(row.low) + ".." + std::to_string(row.high);
    case Check::kAtoiRange:
      return "atoi " + std::to_string(row.low) + ".." + std::to_string(row.high);
  }
  return "";
}

// FILE SECTION.MEMBER, with the element of an indexed member:
// AccountRegister[1].AccountUserName, account[1].cred_acc[0].username,
// Hotkey_lineKey.data[0].Type.
std::string member_text(const phonecore::phonecfg::Member &m, int index) {
  using phonecore::phonecfg::Place;
  // Formatted in one go: GCC 12 at -O3 takes "[" + to_string + "]" for
  // an overlapping copy (-Werror=restrict).
  char at[16];
  std::snprintf(at, sizeof at, "[%d]", index);
  std::string path = m.section;
  switch (m.place) {
    case Place::kSection:
      break;
    case Place::kElement:
      path += at;
      break;
    case Place::kCredential:
      path += std::string(at) + ".cred_acc[0]";
      break;
    case Place::kData:
    case Place::kGrow:
      path += std::string(".data") + at;
      break;
  }
  return std::string(phonecore::phonecfg::target_path(m.target)) + " " + path + "." + m.member;
}

// One line a key: KEY FILE SECTION.MEMBER VALUES [+ FILE SECTION.MEMBER].
int cfg_keys(Context &ctx, Args) {
  using phonecore::phonecfg::Target;
  json_object *list = json_object_new_array();
  std::string lines;
  for (const auto &row : phonecore::phonecfg::kKeyTable) {
    std::string line = std::string(row.key) + " " + member_text(row.store, row.index) + " " + check_text(row);
    if (row.also.target != Target::kNone) line += " + " + member_text(row.also, row.index);
    lines += line + "\n";
    json_object *o = json_object_new_object();
    json_object_object_add(o, "key", json_object_new_string_len(row.key.data(), static_cast<int>(row.key.size())));
    json_object_object_add(o, "file", json_object_new_string(phonecore::phonecfg::target_path(row.store.target)));
    json_object_object_add(o, "section", json_object_new_string(row.store.section));
    json_object_object_add(o, "member", json_object_new_string(row.store.member));
    json_object_object_add(o, "values", json_object_new_string(check_text(row).c_str()));
    if (row.also.target != Target::kNone)
      json_object_object_add(o, "also", json_object_new_string(member_text(row.also, row.index).c_str()));
    json_object_array_add(list, o);
  }
  if (ctx.json) {
    print(ctx, list);
  } else {
    json_object_put(list);
    std::fputs(lines.c_str(), ctx.out);
  }
  return kOk;
}

// The export's answer and scratch files, as the phone's HTTP side reads
// the answer.
constexpr const char *kExportAnswer = "/tmp/phonecfg.ini";
constexpr const char *kExportScratch = "/tmp/phonecfg_tmp.ini";

std::string file_text(const char *path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// A word as a request carries it: one leading '&' off, at most 63
// characters.
std::string request_word(const char *text) {
  char word[PHONECFG_EXPORT_WORD_SIZE] = {};
  std::strncpy(word, text, sizeof word - 1);
  strimp_shift_7(word);
  return word;
}

// The words of an Action URI "get", in the same calls, without the pause
// that the URI server makes between words.
int cfg_export(Context &ctx, Args args) {
  std::vector<std::string> words;
  for (char *const w : args) words.emplace_back(w);
  if (words.empty()) words = phonecore::phonecfg::all_export_words();
  if (set_cfg_header1(kExportAnswer) != 0) return fail(kRefused, std::string(kExportAnswer) + " can't be written");
  for (const std::string &w : words) {
    const std::string word = request_word(w.c_str());
    get_special_cfg(word.c_str());
    get_appoint_cfg(word.c_str());
  }
  merge_phonecfg();
  const std::string answer = file_text(kExportAnswer);
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, "words", json_object_new_int64(static_cast<int64_t>(words.size())));
    json_object_object_add(r, "answer", json_object_new_string_len(answer.data(), static_cast<int>(answer.size())));
    print(ctx, r);
  } else {
    std::fwrite(answer.data(), 1, answer.size(), ctx.out);
  }
  return kOk;
}

// One word: the value of a key word as its line prints it, else the lines
// of a group or the sections of a special word. The answer file is left
// as the phone leaves it after a request of that one word.
int cfg_get(Context &ctx, Args args) {
  const std::string word = request_word(args[0]);
  if (set_cfg_header1(kExportAnswer) != 0) return fail(kRefused, std::string(kExportAnswer) + " can't be written");
  const size_t head = file_text(kExportAnswer).size();
  get_special_cfg(word.c_str());
  const std::string sections = file_text(kExportAnswer).substr(head);
  std::remove(kExportScratch);
  get_appoint_cfg(word.c_str());
  const std::string lines = file_text(kExportScratch);
  merge_phonecfg();
  const std::string text = sections + lines;
  if (text.empty()) return fail(kRefused, word + ": no such word, or its file can't be read");
  const std::string key = word + " = ";
  const bool one_value = sections.empty() && lines.compare(0, key.size(), key) == 0;
  const std::string value = one_value ? lines.substr(key.size(), lines.find('\n') - key.size()) : "";
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, "word", json_object_new_string(word.c_str()));
    if (one_value) json_object_object_add(r, "value", json_object_new_string(value.c_str()));
    else json_object_object_add(r, "lines", json_object_new_string(text.c_str()));
    print(ctx, r);
  } else if (one_value) {
    std::fprintf(ctx.out, "%s\n", value.c_str());
  } else {
    std::fputs(text.c_str(), ctx.out);
  }
  return kOk;
}

constexpr Command kCommands[] = {
    {"cfg", "read", "cfg read FILE [KEY.PATH]",
     "a configuration file below /appconfigs through the configuration service, or one member of it "
     "(a number steps into an array: account.0.enable)",
     1, 2, cfg_read},
    {"cfg", "write", "cfg write FILE JSON", "replace a configuration file with the JSON object", 2, 2, cfg_write},
    {"cfg", "set", "cfg set FILE KEY.PATH VALUE | cfg set ITEM...",
     "set one member; missing objects on the path are made, and VALUE keeps the type of the member it replaces. "
     "Or, with ITEMs (Account1.AccountLabel=Desk: a key of cfg keys, '=', its value), the items through the "
     "phone.cfg import, then the reload; three words without '=' in the first are the first form",
     1, -1, cfg_set},
    {"cfg", "import", "cfg import FILE [--no-reload]",
     "apply a phone.cfg file line by line (lines of 64 bytes or more are skipped), then reload the processes", 1, 2,
     cfg_import},
    {"cfg", "keys", "cfg keys", "the phone.cfg keys: file, member and the values each takes", 0, 0, cfg_keys},
    {"cfg", "export", "cfg export [WORD]...",
     "the phone.cfg answer to a request of these words (none: every word) as /tmp/phonecfg.ini, printed", 0, -1,
     cfg_export},
    {"cfg", "get", "cfg get WORD",
     "the value of one phone.cfg key word as the export prints it, or the lines of a group or special word", 1, 1,
     cfg_get},
    {"kv", "get", "kv get FILE KEY", "the value of KEY in a key=value file (its first word)", 2, 2, kv_get},
    {"kv", "set", "kv set FILE KEY VALUE", "set KEY in a key=value file; the file is rewritten", 3, 3, kv_set},
    {"kv", "delete", "kv delete FILE KEY", "remove KEY from a key=value file", 2, 2, kv_delete},
    {"dm", "get", "dm get netmode|net|status",
     "device-management readings: the wan mode, the wan settings, or the live status", 1, 1, dm_get},
    {"dm", "set", "dm set netmode MODE | dm set wan IP MASK GATEWAY DNS1 DNS2 | dm set lan IP MASK",
     "device-management settings of the network store", 2, 6, dm_set},
};

}  // namespace

std::span<const Command> config_commands() { return kCommands; }

}  // namespace phonectl

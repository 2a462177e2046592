// phonectl contact, group, block, allow, history, dir: the directory
// service's lists (loopback UDP 30001) and the library's own contact groups.
#include <phonecore/calllists.h>
#include <phonecore/contacts.h>

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "phonectl.h"

namespace phonectl {
namespace {

// The heads before the records of a get reply: the count of records stands
// at byte 8 of both.
constexpr size_t kListHead = CONTACT_LIST_HEAD_SIZE;
constexpr size_t kHistoryHead = 24;
constexpr size_t kCountAt = 8;

json_object *text(const char *s) { return json_object_new_string(s); }

json_object *record_json(const ContactRecord &r) {
  json_object *o = json_object_new_object();
  json_object_object_add(o, "id", json_object_new_int(r.id));
  json_object_object_add(o, "name", json_object_new_string_len(r.name, static_cast<int>(strnlen(r.name, 63))));
  json_object_object_add(o, "number",
                         json_object_new_string_len(r.first_number, static_cast<int>(strnlen(r.first_number, 63))));
  json_object_object_add(o, "phone",
                         json_object_new_string_len(r.phone_number, static_cast<int>(strnlen(r.phone_number, 63))));
  json_object_object_add(o, "other",
                         json_object_new_string_len(r.other_number, static_cast<int>(strnlen(r.other_number, 63))));
  json_object_object_add(o, "group", json_object_new_int(r.value_a));
  return o;
}

int print_records(Context &ctx, const ContactRecord *records, int count) {
  json_object *list = json_object_new_array();
  for (int i = 0; i < count; ++i) json_object_array_add(list, record_json(records[i]));
  json_object *r = json_object_new_object();
  json_object_object_add(r, "records", list);
  print(ctx, r);
  return kOk;
}

// The records of a raw get reply (its count cut to what the block holds:
// the call does not tell the reply's length, and a reply may be empty).
int print_reply(Context &ctx, const char *buffer) {
  const int size = static_cast<int>(malloc_usable_size(const_cast<char *>(buffer)));
  int32_t count = 0;
  if (size >= static_cast<int>(kListHead)) std::memcpy(&count, buffer + kCountAt, sizeof count);
  const size_t held =
      size > static_cast<int>(kListHead) ? (static_cast<size_t>(size) - kListHead) / sizeof(ContactRecord) : 0;
  if (count < 0) count = 0;
  if (static_cast<size_t>(count) > held) count = static_cast<int>(held);
  std::vector<ContactRecord> records(static_cast<size_t>(count));
  if (count > 0) std::memcpy(records.data(), buffer + kListHead, records.size() * sizeof(ContactRecord));
  return print_records(ctx, records.data(), count);
}

// The three lists differ in their calls alone.
struct ListCalls {
  const char *what;
  int (*get)(char **, int, int);
  int (*find)(ContactRecord **, int *, const char *);
  int (*add)(const char *, const char *, const char *, const char *, const char *, int, int, int);
  int (*chg)(int, const char *, const char *, const char *, const char *, const char *, int, int, int);
  int (*check)(const char *);
  int (*del)(int);
};
// A contact delete of kind 0: kinds 1 and 2 would delete from the lists.
int contact_del_any(int id) { return local_cantacts_del_byid(id, 0); }
constexpr ListCalls kContacts{"contact",           &local_cantacts_get, &local_contactlist_find,
                              &local_cantacts_add, &local_cantacts_chg, nullptr,
                              &contact_del_any};
constexpr ListCalls kBlock{"block",
                           &local_blacklist_get,
                           &local_blacklist_find,
                           &local_blacklist_add,
                           &local_blacklist_chg,
                           &local_contactlist_number_is_in_blacklist,
                           &local_blacklist_del_byid};
constexpr ListCalls kAllow{"allow",
                           &local_whitelist_get,
                           &local_whitelist_find,
                           &local_whitelist_add,
                           &local_whitelist_chg,
                           &local_contactlist_number_is_in_whitelist,
                           &local_whitelist_del_byid};

int done(Context &ctx, int result, const char *what) {
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  print(ctx, r);
  return result == 0 ? kOk : fail(kRefused, std::string(what) + " refused or unanswered");
}

// NAME NUMBER [--group N]: the group is value A of the record.
bool group_option(Args args, std::vector<char *> &words, long &group) {
  Options o{"--group"};
  if (!take_options(args, o, words)) return false;
  group = 0;
  if (o.given[0] && !parse_int(o.values[0].c_str(), -1, 2147483647L, group)) {
    fail(kUsage, "--group is a group id");
    return false;
  }
  return true;
}

int list_add(Context &ctx, Args args, const ListCalls &l) {
  std::vector<char *> w;
  long group = 0;
  if (!group_option(args, w, group)) return kUsage;
  if (w.size() != 2) return fail(kUsage, std::string(l.what) + " add NAME NUMBER [--group N]");
  return done(ctx, l.add(w[0], w[1], "", "", "", static_cast<int>(group), 0, 0), "add");
}

int list_chg(Context &ctx, Args args, const ListCalls &l) {
  std::vector<char *> w;
  long group = 0, id = 0;
  if (!group_option(args, w, group)) return kUsage;
  if (w.size() != 3) return fail(kUsage, std::string(l.what) + " chg ID NAME NUMBER [--group N]");
  if (!parse_int(w[0], 0, 2147483647L, id)) return fail(kUsage, "ID is a record id");
  return done(ctx, l.chg(static_cast<int>(id), w[1], w[2], "", "", "", static_cast<int>(group), 0, 0), "change");
}

int list_list(Context &ctx, Args args, const ListCalls &l, bool groups) {
  Options o{"--start", "--count", "--group"};
  std::vector<char *> w;
  if (!take_options(args, o, w)) return kUsage;
  if (!w.empty()) return fail(kUsage, "no words after list");
  long start = 0, count = CONTACT_REPLY_MAX_RECORDS, group = 0;
  if (o.given[0] && !parse_int(o.values[0].c_str(), 0, 2147483647L, start)) return fail(kUsage, "--start is a number");
  if (o.given[1] && !parse_int(o.values[1].c_str(), 1, 2147483647L, count)) return fail(kUsage, "--count is a number");
  if (o.given[2] && (!groups || !parse_int(o.values[2].c_str(), -1, 2147483647L, group)))
    return fail(kUsage, "--group is a group id (contacts only)");
  char *buffer = nullptr;
  const int result = o.given[2] ? local_cantacts_get2(&buffer, static_cast<int>(start), static_cast<int>(count),
                                                      static_cast<int>(group))
                                : l.get(&buffer, static_cast<int>(start), static_cast<int>(count));
  if (result != 0) {
    std::free(buffer);
    return fail(kRefused, "the directory service did not answer");
  }
  const int status = print_reply(ctx, buffer);
  std::free(buffer);
  return status;
}

int list_find(Context &ctx, Args args, const ListCalls &l) {
  ContactRecord *records = nullptr;
  int count = 0;
  if (l.find(&records, &count, args[0]) != 0) {
    std::free(records);
    return fail(kRefused, "nothing found");
  }
  const int status = print_records(ctx, records, count);
  std::free(records);
  return status;
}

int list_check(Context &ctx, Args args, const ListCalls &l) {
  const bool listed = l.check(args[0]) == 0;
  json_object *r = json_object_new_object();
  json_object_object_add(r, "listed", json_object_new_boolean(listed));
  print(ctx, r);
  return listed ? kOk : kRefused;
}

int list_del(Context &ctx, Args args, const ListCalls &l) {
  long id = 0;
  if (!parse_int(args[0], -1, 2147483647L, id)) return fail(kUsage, "ID is a record id");
  return done(ctx, l.del(static_cast<int>(id)), "delete");
}

// The sub-commands of one list, bound to its calls.
template <const ListCalls &L>
struct On {
  static int add(Context &c, Args a) { return list_add(c, a, L); }
  static int chg(Context &c, Args a) { return list_chg(c, a, L); }
  static int list(Context &c, Args a) { return list_list(c, a, L, &L == &kContacts); }
  static int find(Context &c, Args a) { return list_find(c, a, L); }
  static int del(Context &c, Args a) { return list_del(c, a, L); }
  static int check(Context &c, Args a) { return list_check(c, a, L); }
};

int contact_name(Context &ctx, Args a) {
  char name[CONTACT_NAME_ROOM] = {};
  if (local_contactlist_find_uname_by_number(name, a[0]) != 0) return fail(kRefused, "no contact has that number");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "name", text(name));
  print(ctx, r);
  return kOk;
}

// dir LINE: what a call from the number a line shows learns from the
// directory, as the phone's own processes ask it: the name of the first
// contact the service returns for the number, and the exact block and
// allow tests (a near number the service returns is not listed). It
// reports; it does not judge: a silent service gives no name, not blocked,
// not allowed, as it does to a ringing call, after 5 s for each question.
// The cloud books are not searched here, since a search may fetch books
// and a fetch has no time limit.
int dir_line(Context &ctx, Args a) {
  char name[CONTACT_NAME_ROOM] = {};
  const bool named = local_contactlist_find_uname_by_number(name, a[0]) == 0;
  const bool blocked = local_contactlist_number_is_in_blacklist(a[0]) == 0;
  const bool allowed = local_contactlist_number_is_in_whitelist(a[0]) == 0;
  json_object *r = json_object_new_object();
  json_object_object_add(r, "number", text(a[0]));
  json_object_object_add(r, "name", named ? text(name) : nullptr);
  json_object_object_add(r, "blocked", json_object_new_boolean(blocked));
  json_object_object_add(r, "allowed", json_object_new_boolean(allowed));
  print(ctx, r);
  return kOk;
}

int group_add(Context &ctx, Args a) {
  long ring = 0;
  if (a.size() > 1 && !parse_int(a[1], -2147483647L, 2147483647L, ring)) return fail(kUsage, "RING is a number");
  const int result = local_cantacts_group_add(a[0], static_cast<int>(ring));
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  print(ctx, r);
  return result == 0 ? kOk : kRefused;
}
int group_list(Context &ctx, Args) {
  GroupRecord *groups = nullptr;
  int count = 0;
  local_grouplist_get(&groups, &count);
  json_object *list = json_object_new_array();
  for (int i = 0; i < count; ++i) {
    json_object *g = json_object_new_object();
    json_object_object_add(g, "id", json_object_new_int(groups[i].id));
    json_object_object_add(g, "name",
                           json_object_new_string_len(groups[i].name, static_cast<int>(strnlen(groups[i].name, 63))));
    json_object_object_add(g, "ring", json_object_new_int(groups[i].ring_id));
    json_object_array_add(list, g);
  }
  std::free(groups);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "groups", list);
  print(ctx, r);
  return kOk;
}
int group_chg(Context &ctx, Args a) {
  long id = 0, ring = 0;
  if (!parse_int(a[0], -2147483647L, 2147483647L, id)) return fail(kUsage, "ID is a group id");
  if (a.size() > 2 && !parse_int(a[2], -2147483647L, 2147483647L, ring)) return fail(kUsage, "RING is a number");
  const int result = chg_cantacts_group_byid(static_cast<int>(id), a[1], static_cast<int>(ring));
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  print(ctx, r);
  return result == 0 ? kOk : kRefused;
}
int group_del(Context &ctx, Args a) {
  long id = 0;
  if (!parse_int(a[0], -1, 2147483647L, id)) return fail(kUsage, "ID is a group id, or -1 for all");
  return done(ctx, del_cantacts_group_byid(static_cast<int>(id)), "delete");
}

// history add NAME NUMBER [TYPE [TIME]]: a call with the name and number
// as its first two texts, TYPE and TIME as its second and third values
// (the first is the record's id, which the service gives).
int history_add(Context &ctx, Args a) {
  long type = 0, time = 0;
  if (a.size() > 2 && !parse_int(a[2], -2147483647L, 2147483647L, type)) return fail(kUsage, "TYPE is a number");
  if (a.size() > 3 && !parse_int(a[3], -2147483647L, 2147483647L, time)) return fail(kUsage, "TIME is a number");
  return done(ctx,
              local_history_list_add(0, 0, static_cast<int>(type), static_cast<int>(time), 0, 0, a[0], a[1], 0, "", 0),
              "add");
}
int history_list(Context &ctx, Args) {
  char *buffer = nullptr;
  if (history_list_get(&buffer, 0, CONTACT_REPLY_MAX_RECORDS) != 0) {
    std::free(buffer);
    return fail(kRefused, "the directory service did not answer");
  }
  const int size = static_cast<int>(malloc_usable_size(buffer));
  int32_t count = 0;
  if (size >= static_cast<int>(kHistoryHead)) std::memcpy(&count, buffer + kCountAt, sizeof count);
  const size_t held =
      size > static_cast<int>(kHistoryHead) ? (static_cast<size_t>(size) - kHistoryHead) / sizeof(HistoryRecord) : 0;
  if (count < 0) count = 0;
  if (static_cast<size_t>(count) > held) count = static_cast<int>(held);
  json_object *list = json_object_new_array();
  for (int i = 0; i < count; ++i) {
    HistoryRecord h;
    std::memcpy(&h, buffer + kHistoryHead + static_cast<size_t>(i) * sizeof h, sizeof h);
    json_object *o = json_object_new_object();
    json_object_object_add(o, "id", json_object_new_int(h.arg1));
    json_object_object_add(o, "type", json_object_new_int(h.arg3));
    json_object_object_add(o, "time", json_object_new_int(h.arg4));
    json_object_object_add(o, "name", json_object_new_string_len(h.text1, static_cast<int>(strnlen(h.text1, 63))));
    json_object_object_add(o, "number", json_object_new_string_len(h.text2, static_cast<int>(strnlen(h.text2, 63))));
    json_object_array_add(list, o);
  }
  std::free(buffer);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "calls", list);
  print(ctx, r);
  return kOk;
}
int history_del(Context &ctx, Args a) {
  long id = 0;
  if (!parse_int(a[0], -1, 2147483647L, id)) return fail(kUsage, "ID is a record id");
  return done(ctx, history_list_del_byid(static_cast<int>(id)), "delete");
}

constexpr Command kCommands[] = {
    {"contact", "add", "contact add NAME NUMBER [--group N]", "adds a contact to the directory service", 2, 4,
     On<kContacts>::add},
    {"contact", "chg", "contact chg ID NAME NUMBER [--group N]", "changes contact ID", 3, 5, On<kContacts>::chg},
    {"contact", "list", "contact list [--start S] [--count C] [--group N]",
     "the contacts, 97 a page at most; with --group those of one group", 0, 6, On<kContacts>::list},
    {"contact", "find", "contact find TEXT", "the contacts the directory service finds for TEXT", 1, 1,
     On<kContacts>::find},
    {"contact", "name", "contact name NUMBER", "the name of the first contact with NUMBER", 1, 1, contact_name},
    {"contact", "del", "contact del ID", "deletes contact ID", 1, 1, On<kContacts>::del},
    {"group", "add", "group add NAME [RING]", "adds a contact group (ids from 3); refuses all, blacklist, whitelist", 1,
     2, group_add},
    {"group", "list", "group list", "the contact groups of voipGroupList.bin", 0, 0, group_list},
    {"group", "chg", "group chg ID NAME [RING]", "renames group ID", 2, 3, group_chg},
    {"group", "del", "group del ID", "removes group ID (-1 all) and tells the directory service", 1, 1, group_del},
    {"block", "add", "block add NAME NUMBER", "adds NUMBER to the block list", 2, 2, On<kBlock>::add},
    {"block", "chg", "block chg ID NAME NUMBER", "changes block-list entry ID", 3, 3, On<kBlock>::chg},
    {"block", "list", "block list [--start S] [--count C]", "the block list", 0, 4, On<kBlock>::list},
    {"block", "find", "block find TEXT", "the block-list entries found for TEXT", 1, 1, On<kBlock>::find},
    {"block", "del", "block del ID", "deletes block-list entry ID", 1, 1, On<kBlock>::del},
    {"block", "check", "block check NUMBER",
     "whether NUMBER is blocked exactly (status 1 when not, or when the service is silent)", 1, 1, On<kBlock>::check},
    {"allow", "add", "allow add NAME NUMBER", "adds NUMBER to the allow list", 2, 2, On<kAllow>::add},
    {"allow", "chg", "allow chg ID NAME NUMBER", "changes allow-list entry ID", 3, 3, On<kAllow>::chg},
    {"allow", "list", "allow list [--start S] [--count C]", "the allow list", 0, 4, On<kAllow>::list},
    {"allow", "find", "allow find TEXT", "the allow-list entries found for TEXT", 1, 1, On<kAllow>::find},
    {"allow", "del", "allow del ID", "deletes allow-list entry ID", 1, 1, On<kAllow>::del},
    {"allow", "check", "allow check NUMBER", "whether NUMBER is allowed exactly", 1, 1, On<kAllow>::check},
    {"history", "add", "history add NAME NUMBER [TYPE [TIME]]", "adds a call to the call history", 2, 4, history_add},
    {"history", "list", "history list", "the call history, 97 calls at most", 0, 0, history_list},
    {"history", "del", "history del ID", "deletes call ID from the history", 1, 1, history_del},
    {"dir", "", "dir LINE",
     "what a call from the number LINE learns from the directory: the contact's name, blocked, allowed "
     "(cloud books not searched)",
     1, 1, dir_line},
};

}  // namespace

std::span<const Command> directory_commands() { return kCommands; }

}  // namespace phonectl

// The four line keys: their two files, and BLF subscriptions at the SIP
// process as keys change and accounts register.
//
// "default/dss.cfg": {"DssArr": [{"Account": "0".."3", "type": n,
// <member>: {...}}, ...]}; "default/programing_key.cfg": under
// "Hotkey_lineKey", "data" holds the four keys as texts "Type", "Line",
// "Value", "Label", "Extension". "Line" is the account id minus 1.
#include "phonecore/dsskey.h"

#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "base/json.h"
#include "call/call_internal.h"
#include "phonecore/config.h"
#include "phonecore/json_msg.h"
#include "phonecore/voip.h"

namespace json = phonecore::json;

namespace phonecore::call {

namespace {

constexpr const char* kDssFile = "default/dss.cfg";
constexpr const char* kKeyFile = "default/programing_key.cfg";

struct KeyType {
  int type;
  const char* member;    // member of the "DssArr" entry; NULL: none
  const char* key_type;  // "Type" in "default/programing_key.cfg"
  const char* log_name;  // as the write traces it
};

constexpr KeyType kKeyTypes[] = {
    {DSS_TYPE_LINE, "SAccLine", "15", "line"},
    {DSS_TYPE_BLF, "SAccBlf", "106", "blf"},
    {DSS_TYPE_INTERCOM, "SAccIntercom", "117", "intercom"},
    {DSS_TYPE_SPEED_DIAL, "SAccSpeedDial", "213", "SpeedDial"},
    {DSS_TYPE_CALL_PICKUP, "SAccCallPickup", "9", "CallPickup"},
    {DSS_TYPE_CALL_PARK, "SAccCallPark", "10", "CallPark"},
    {DSS_TYPE_PARK_RETRIEVE, "SAccParkRetrieve", "56", "ParkRetrieve"},
    {DSS_TYPE_OTHER, nullptr, "5", "other"},
};
static_assert(std::size(kKeyTypes) == 8);

const KeyType* key_type(int type) {
  for (const KeyType& t : kKeyTypes)
    if (t.type == type) return &t;
  return nullptr;
}

// The last BLF target of each account id, so that a later write knows what
// was subscribed. 21 rows; the first use clears 20 of them.
struct BlfTarget {
  uint32_t acc_id;
  char target[kTextField];
};
constexpr uint32_t kBlfRows = 21;
struct BlfTable {
  int initialised;
  BlfTarget rows[kBlfRows];
};
BlfTable g_blf{};

void blf_table_init() {
  if (g_blf.initialised) return;
  std::memset(g_blf.rows, 0, 20 * sizeof(BlfTarget));
  g_blf.initialised = 1;
}

int start_flag(int key) { return (key << 8) | 1; }

// The "DssArr" entry of a key index ("Account" "0" to "3"), or NULL.
json_object* find_entry(json_object* array, int index) {
  char account[16];
  snprintf(account, sizeof account, "%d", index);
  for (size_t i = 0; i < json::length(array); ++i) {
    json_object* e = json::element(array, i);
    const char* a = json::text(e, "Account");
    if (a != nullptr && std::strcmp(a, account) == 0) return e;
  }
  return nullptr;
}

void read_key(int key, DssKeyInfo* info) {
  const int wanted = info->type;
  std::memset(info, 0, sizeof *info);
  json_object* dss = read_gnl_config_json(kDssFile);
  if (dss == nullptr) dss = json_object_new_object();
  json_object* entry = find_entry(json_object_object_get(dss, "DssArr"), key - 1);
  if (entry == nullptr) {
    json_object_put(dss);
    return;
  }
  const int type = wanted == -1 ? json::integer(entry, "type") : wanted;
  info->type = type;
  if (type < DSS_TYPE_LINE || type > DSS_TYPE_PARK_RETRIEVE) {
    json_object_put(dss);
    return;
  }
  info->accId = static_cast<uint32_t>(key);
  json_object* m = json::step(entry, key_type(type)->member);
  if (m != nullptr) {
    if (type == DSS_TYPE_LINE) {
      const int acc = json::integer(m, "accId");
      if (acc != 0) info->accId = static_cast<uint32_t>(acc);
      json::copy_text(info->label, sizeof info->label, json::text(m, "label"));
      const int i = find_account(info->accId);
      if (i >= 0) {
        const AccountRecord r = load_account(i);
        json::copy_text(info->value, sizeof info->value, r.text[3]);
        json::copy_text(info->extension, sizeof info->extension, r.text[5]);
      }
    } else {
      if (json::has(m, "accId")) info->accId = static_cast<uint32_t>(json::integer(m, "accId"));
      if (json::has(m, "label")) json::copy_text(info->label, sizeof info->label, json::text(m, "label"));
      if (json::has(m, "value")) json::copy_text(info->value, sizeof info->value, json::text(m, "value"));
      if (type == DSS_TYPE_BLF && json::has(m, "extension"))
        json::copy_text(info->extension, sizeof info->extension, json::text(m, "extension"));
    }
  }
  json_object_put(dss);
}

// BLF decisions on writing a BLF key over entry, before the new member is
// written: which old subscription ends.
void end_old_blf(MessageClient* c, json_object* entry, int old_type, const DssKeyInfo* info) {
  blf_table_init();
  int old_acc = 0;
  const char* old_value = nullptr;
  if (json_object* old = json::step(entry, "SAccBlf")) {
    old_acc = json::integer(old, "accId");
    old_value = json::text(old, "value");
  }
  if (old_type != DSS_TYPE_BLF) return;
  if ((static_cast<uint32_t>(old_acc) == info->accId || info->accId == DSS_NO_ACCOUNT) && old_value != nullptr) {
    if (std::strcmp(old_value, info->value) != 0) {
      voip_blf_subscribe(c, 0, old_acc, old_value);
    } else if (info->accId < kBlfRows) {
      BlfTarget& row = g_blf.rows[info->accId];
      if (row.target[0] != 0) voip_blf_subscribe(c, 0, static_cast<int>(row.acc_id), row.target);
    }
  } else {
    voip_blf_subscribe(c, 0, old_acc, old_value);
  }
}

void write_other(MessageClient* c, json_object* entry, const KeyType& t, DssKeyInfo* info) {
  voip_check_blf_unsubscribe(c, entry, info);
  json_object* m = json::step_creating(entry, t.member);
  json::put(m, "accId", json_object_new_int(static_cast<int>(info->accId)));
  json::put(m, "label", json::new_text(info->label));
  json::put(m, "value", json::new_text(info->value));
  printf("tolk_dss write %s info, accId:%d, label:%s, value:%s\n", t.log_name, static_cast<int>(info->accId),
         info->label, info->value);
}

// The key's entry of "default/programing_key.cfg".
void write_key_entry(json_object* k, int type, uint32_t acc_id, const DssKeyInfo* info) {
  const bool line_or_blf = type == DSS_TYPE_LINE || type == DSS_TYPE_BLF;
  if (acc_id >= 1 && acc_id <= 4) {
    char line[16];
    snprintf(line, sizeof line, "%u", acc_id - 1);
    json::put(k, "Line", json::new_text(line));
  } else if (line_or_blf) {
    json::put(k, "Line", json::new_text("3"));
  }
  if (const KeyType* t = key_type(type)) json::put(k, "Type", json::new_text(t->key_type));
  json::put(k, "Value", json::new_text(type == DSS_TYPE_LINE ? "" : info->value));
  json::put(k, "Label", json::new_text(info->label));
  json::put(k, "Extension", json::new_text(type == DSS_TYPE_BLF ? info->extension : ""));
}

// The "DssArr" entry of a key in the DSS file, made when absent, with its
// "Account" (the key's index) set.
json_object* dss_entry(json_object* dss, int key) {
  json_object* array = json_object_object_get(dss, "DssArr");
  if (!json_object_is_type(array, json_type_array)) {
    array = json_object_new_array();
    json_object_object_add(dss, "DssArr", array);
  }
  json_object* entry = find_entry(array, key - 1);
  if (entry == nullptr) {
    entry = json_object_new_object();
    json_object_array_add(array, entry);
  }
  char account[16];
  snprintf(account, sizeof account, "%d", key - 1);
  json::put(entry, "Account", json::new_text(account));
  return entry;
}

// A line key. No account given: the key's own number, unless the entry
// already has an account; then nothing is written at all (false).
bool write_line(MessageClient* c, json_object* entry, int key, DssKeyInfo* info, uint32_t& acc_id) {
  printf("!!!!!!!!!!!!!!!!!!!!!!E_ACC_TYPE_LINE\n");
  json_object* m = json::step_creating(entry, "SAccLine");
  voip_check_blf_unsubscribe(c, entry, info);
  const int old_acc = json::integer(m, "accId");
  if (acc_id == DSS_NO_ACCOUNT) {
    if (old_acc != 0) {
      printf("tolk_dss write line info, do nothing\n");
      return false;
    }
    acc_id = static_cast<uint32_t>(key);
  }
  json::put(entry, "type", json_object_new_int(DSS_TYPE_LINE));
  json::put(m, "label", json::new_text(info->label));
  json::put(m, "accId", json_object_new_int(static_cast<int>(acc_id)));
  return true;
}

// A BLF key: ends the old subscription where it changes, writes the member
// and remembers the target of the account's row.
void write_blf(MessageClient* c, json_object* entry, int old_type, DssKeyInfo* info, uint32_t acc_id) {
  end_old_blf(c, entry, old_type, info);
  json_object* m = json::step_creating(entry, "SAccBlf");
  json::put(m, "accId", json_object_new_int(static_cast<int>(acc_id)));
  json::put(m, "label", json::new_text(info->label));
  json::put(m, "value", json::new_text(info->value));
  json::put(m, "extension", json::new_text(info->extension));
  if (acc_id < kBlfRows) {
    g_blf.rows[acc_id].acc_id = acc_id;
    json::copy_text(g_blf.rows[acc_id].target, kTextField, info->value);
  }
}

int write_key(MessageClient* c, int operation, int key, DssKeyInfo* info) {
  json::Owned keys(read_gnl_config_json(kKeyFile));
  if (keys == nullptr) {
    printf("programing_key.cfg open error\n");
    return -1;
  }
  json_object* line_keys = json_object_object_get(keys.get(), "Hotkey_lineKey");
  if (line_keys == nullptr) {
    printf("programing_key.cfg Hotkey_lineKey == NULL, error\n");
    return 0;
  }
  json_object* data = json_object_object_get(line_keys, "data");
  if (data == nullptr) {
    printf("programing_key.cfg data == NULL, error\n");
    return 0;
  }

  json::Owned dss(read_gnl_config_json(kDssFile));
  if (dss == nullptr) dss.reset(json_object_new_object());
  json_object* entry = dss_entry(dss.get(), key);
  const int old_type = json::integer(entry, "type");
  const int type = info->type;
  json::put(entry, "type", json_object_new_int(type));

  uint32_t acc_id = info->accId;
  int blf_flag = 0;
  if (type == DSS_TYPE_LINE) {
    if (!write_line(c, entry, key, info, acc_id)) return 0;
  } else if (type == DSS_TYPE_BLF) {
    write_blf(c, entry, old_type, info, acc_id);
    blf_flag = 1;
  } else if (type > DSS_TYPE_BLF && type <= DSS_TYPE_PARK_RETRIEVE) {
    write_other(c, entry, *key_type(type), info);
  } else if (old_type == DSS_TYPE_BLF) {
    blf_flag = 1;
  }

  if (key >= 1 && key <= 4) {
    json_object* k = json::element(data, static_cast<size_t>(key - 1));
    if (k != nullptr) write_key_entry(k, type, acc_id, info);
  }
  write_gnl_config_json(kKeyFile, keys.get());
  write_gnl_config_json(kDssFile, dss.get());
  printf("%s, %d, optype = %d, blfFlag = %d, lineKey = %d\n\r", "voip_func_Dsskey_data", __LINE__, operation, blf_flag,
         key);
  if (blf_flag)
    voip_blf_subscribe(c, type == DSS_TYPE_BLF ? start_flag(key) : 0, static_cast<int>(info->accId), info->value);
  return 0;
}

// "Line" of "default/programing_key.cfg" as an account id: "0" to "3" are
// accounts 1 to 4; another text stays as it is.
const char* account_of_line(const char* line) {
  static constexpr const char* kIds[] = {"1", "2", "3", "4"};
  static constexpr const char* kLines[] = {"0", "1", "2", "3"};
  if (line == nullptr) return "";
  for (size_t i = 0; i < std::size(kLines); ++i)
    if (std::strcmp(line, kLines[i]) == 0) return kIds[i];
  return line;
}

void rebuild_entry(json_object* k, json_object* entry) {
  const char* type_text = json::text(k, "Type");
  const char* acc = account_of_line(json::text(k, "Line"));
  const char* label = json::text(k, "Label");
  const char* value = json::text(k, "Value");
  if (type_text == nullptr) return;
  const KeyType* t = nullptr;
  for (const KeyType& row : kKeyTypes)
    if (std::strcmp(row.key_type, type_text) == 0) t = &row;
  if (t == nullptr) return;  // an unknown "Type" leaves the entry as it was
  json::put(entry, "type", json_object_new_int(t->type));
  if (t->member == nullptr) return;  // "5": the type alone
  json_object* m = json::step_creating(entry, t->member);
  // Intercom keeps its accId as text; every other type as int.
  if (t->type == DSS_TYPE_INTERCOM) json::put(m, "accId", json::new_text(acc));
  else json::put(m, "accId", json_object_new_int(std::atoi(acc)));
  json::put(m, "label", json::new_text(label));
  if (t->type == DSS_TYPE_LINE) return;
  json::put(m, "value", json::new_text(value));
  if (t->type == DSS_TYPE_BLF) json::put(m, "extension", json::new_text(json::text(k, "Extension")));
}

}  // namespace

}  // namespace phonecore::call

using namespace phonecore::call;

extern "C" {

int voip_func_Dsskey_data(MessageClient* c, int operation, int key, DssKeyInfo* info) noexcept {
  if (info == nullptr) return 0;
  if (operation == 0) {
    read_key(key, info);
    return 0;
  }
  return write_key(c, operation, key, info);
}

int voip_check_blf_unsubscribe(MessageClient* c, json_object* entry, DssKeyInfo* info) noexcept {
  json_object* m = json::step(entry, "SAccBlf");
  if (m == nullptr) return 0;
  const char* value = json::text(m, "value");
  const int acc = json::integer(m, "accId");
  if (value == nullptr || static_cast<uint32_t>(acc) == DSS_NO_ACCOUNT) return 0;
  printf("voip_check_blf_unsubscribe old accId:%d, value:%s\n", acc, value);
  printf("voip_check_blf_unsubscribe new accId:%d, value:%s\n", info != nullptr ? static_cast<int>(info->accId) : -1,
         info != nullptr ? info->value : "");
  voip_blf_subscribe(c, 0, acc, value);
  voip_line_led_status(c, acc, LCD_STATE_BLF_STATE_DISABLE);
  return 0;
}

void start_blf_after_reg(int acc_id, int online, MessageClient* c) noexcept {
  if (online != 1) {
    printf("%s, %d, bOnline = %d, return \n\r", __func__, __LINE__, online);
    return;
  }
  json_object* dss = read_gnl_config_json(kDssFile);
  if (dss == nullptr) {
    printf("%s, %d, dss.cfg open error\n", __func__, __LINE__);
    return;
  }
  json_object* array = json_object_object_get(dss, "DssArr");
  if (!json_object_is_type(array, json_type_array)) {
    printf("%s, %d, DssArr == NULL\n", __func__, __LINE__);
    json_object_put(dss);
    return;
  }
  for (size_t i = 0; i < json::length(array); ++i) {
    json_object* e = json::element(array, i);
    json_object* m = json::step(e, "SAccBlf");
    if (json::integer(e, "type") != DSS_TYPE_BLF || m == nullptr) continue;
    const int acc = json::integer(m, "accId");
    const char* value = json::text(m, "value");
    if (acc != acc_id || acc == -1 || value == nullptr) continue;
    voip_blf_subscribe(c, start_flag(json::text_integer(e, "Account") + 1), acc, value);
  }
  json_object_put(dss);
}

int set_dds_type(void) noexcept {
  json_object* keys = read_gnl_config_json(kKeyFile);
  json_object* dss = read_gnl_config_json(kDssFile);
  if (keys == nullptr || dss == nullptr) {
    json_object_put(keys);
    json_object_put(dss);
    return -1;
  }
  json_object* data = json::at(keys, "Hotkey_lineKey", "data");
  json_object* array = json_object_object_get(dss, "DssArr");
  for (size_t k = 0; k < 4; ++k) {
    json_object* key = json::element(data, k);
    json_object* entry = json::element(array, k);
    if (key != nullptr && entry != nullptr) rebuild_entry(key, entry);
  }
  write_gnl_config_json(kDssFile, dss);
  json_object_put(dss);
  json_object_put(keys);
  return 0;
}

}  // extern "C"

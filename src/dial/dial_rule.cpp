// The dial rules: four process-wide tables, their loads from the current
// store ("default/settinglist.cfg", as the web pages and phone.cfg write
// it) and from the older one ("default/rule.cfg"), the older store's
// writers and row updates, and the match questions, which compile each
// row's pattern anew through the dial-plan engine.

#include <json-c/json.h>

#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/json.h"
#include "dial/dial_rule_internal.h"
#include "phonecore/config.h"
#include "phonecore/dial_rule.h"
#include "phonecore/dialplan.h"

namespace json = phonecore::json;

static_assert(sizeof(RuleReplace) == 4 + 64 + 64 + 16);
static_assert(offsetof(RuleReplace, prefix) == 4 && offsetof(RuleReplace, replace) == 68 &&
              offsetof(RuleReplace, accounts) == 132);
static_assert(sizeof(RuleDial) == 4 + 64 + 16 && offsetof(RuleDial, accounts) == 68);
static_assert(sizeof(RuleLimit) == sizeof(RuleDial) && offsetof(RuleLimit, accounts) == 68);
static_assert(sizeof(RuleZone) == 64 + 8 + 16 && offsetof(RuleZone, min_length) == 64 &&
              offsetof(RuleZone, max_length) == 68 && offsetof(RuleZone, accounts) == 72);

namespace phonecore::dial {

RuleReplace g_rule_replace[RULE_ROWS];
RuleDial g_rule_dial[RULE_ROWS];
RuleLimit g_rule_limit[RULE_ROWS];
RuleZone g_rule_zone;

namespace {

constexpr const char* kCurrentStore = "default/settinglist.cfg";
constexpr const char* kOlderStore = "default/rule.cfg";
constexpr size_t kTextChars = RULE_TEXT_SIZE - 1;
constexpr size_t kAreaCodeChars = 32;
constexpr size_t kAccountTextChars = 62;
constexpr size_t kAccountTokenChars = 15;

const char* shown(const char* text) { return text != nullptr ? text : "(null)"; }

bool number_usable(const char* number, int account) {
  return number != nullptr && number[0] != '\0' && account >= 1 && account <= RULE_ACCOUNTS;
}

// Trims white space from both ends in place and answers the start.
char* trim(char* text) {
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  size_t n = std::strlen(text);
  while (n > 0 && std::isspace(static_cast<unsigned char>(text[n - 1]))) text[--n] = '\0';
  return text;
}

void all_accounts(int32_t* flags) {
  for (int i = 0; i < RULE_ACCOUNTS; ++i) flags[i] = 1;
}

// The three row tables differ in their pattern field and in the names of
// their members in "default/rule.cfg".
struct ReplaceRows {
  using Row = RuleReplace;
  static constexpr const char* kArray = "ReplaceInfo";
  static Row* table() { return g_rule_replace; }
  static const char* pattern(const Row& row) { return row.prefix; }
  // The older store's rows end at a row without prefix or template.
  static bool ends_store(const Row& row) { return row.prefix[0] == '\0' || row.replace[0] == '\0'; }
  static void read(Row& row, json_object* element) {
    json::copy_text(row.prefix, sizeof row.prefix, json::text(element, "Preffix"), kTextChars);
    json::copy_text(row.replace, sizeof row.replace, json::text(element, "Replace"), kTextChars);
  }
  static void write(const Row& row, json_object* element) {
    json_object_object_add(element, "Preffix", json_object_new_string(row.prefix));
    json_object_object_add(element, "Replace", json_object_new_string(row.replace));
  }
  static int store() { return vorn_rule_replace_store(); }
};

struct DialRows {
  using Row = RuleDial;
  static constexpr const char* kArray = "DialInfo";
  static Row* table() { return g_rule_dial; }
  static const char* pattern(const Row& row) { return row.rule; }
  static bool ends_store(const Row& row) { return row.rule[0] == '\0'; }
  static void read(Row& row, json_object* element) {
    json::copy_text(row.rule, sizeof row.rule, json::text(element, "Rule"), kTextChars);
  }
  static void write(const Row& row, json_object* element) {
    json_object_object_add(element, "Rule", json_object_new_string(row.rule));
  }
  static int store() { return vorn_rule_dial_store(); }
};

struct LimitRows {
  using Row = RuleLimit;
  static constexpr const char* kArray = "LimitInfo";
  static Row* table() { return g_rule_limit; }
  static const char* pattern(const Row& row) { return row.number; }
  static bool ends_store(const Row& row) { return row.number[0] == '\0'; }
  static void read(Row& row, json_object* element) {
    json::copy_text(row.number, sizeof row.number, json::text(element, "Number"), kTextChars);
  }
  static void write(const Row& row, json_object* element) {
    json_object_object_add(element, "Number", json_object_new_string(row.number));
  }
  static int store() { return vorn_rule_limit_store(); }
};

// "default/rule.cfg", or a new object when it can't be read.
json_object* older_store_root() {
  json_object* root = read_gnl_config_json(kOlderStore);
  return root != nullptr ? root : json_object_new_object();
}

// Writes the older store and releases the root. (A root made afresh is
// released too: nothing else holds it.)
int write_older_store(json_object* root) {
  const int result = write_gnl_config_json(kOlderStore, root);
  json_object_put(root);
  return result;
}

template <typename Rows>
int store_rows() {
  json_object* root = older_store_root();
  json_object* array = json::step(root, Rows::kArray);
  if (array == nullptr || !json_object_is_type(array, json_type_array)) {
    array = json_object_new_array();
    json_object_object_add(root, Rows::kArray, array);
  } else if (json_object_array_length(array) > 0) {
    json_object_array_del_idx(array, 0, json_object_array_length(array));
  }
  for (int i = 0; i < RULE_ROWS; ++i) {
    const auto& row = Rows::table()[i];
    if (Rows::ends_store(row)) break;
    json_object* element = json_object_new_object();
    json_object_object_add(element, "Id", json_object_new_int(row.id));
    Rows::write(row, element);
    char accounts[16];
    format_account(accounts, row.accounts);
    json_object_object_add(element, "Account", json_object_new_string(accounts));
    json_object_array_add(array, element);
  }
  return write_older_store(root);
}

// Add fills the first empty row with the id of the row before it plus
// one; delete moves the rows behind the target down one, up to the first
// empty row, and clears nothing, so the former last row stands twice;
// modify keeps the row's id. A target that isn't found is row 0.
template <typename Rows>
int update_rows(int op, const typename Rows::Row* record) {
  if (record == nullptr) return 0;
  auto* rows = Rows::table();
  auto empty = [](const typename Rows::Row& row) { return Rows::pattern(row)[0] == '\0'; };
  int t = 0;
  for (int i = 0; i < RULE_ROWS; ++i) {
    if (!empty(rows[i]) && (op == 1 || op == 2) && rows[i].id == record->id) {
      t = i;
      break;
    }
    if (empty(rows[i]) && op == 0) {
      t = i;
      break;
    }
  }
  if (op == 0) {
    rows[t] = *record;
    rows[t].id = t > 0 ? rows[t - 1].id + 1 : 0;
  } else if (op == 1) {
    for (int i = t; i + 1 < RULE_ROWS && !empty(rows[i + 1]); ++i) rows[i] = rows[i + 1];
  } else if (op == 2) {
    const int32_t id = rows[t].id;
    rows[t] = *record;
    rows[t].id = id;
  }
  Rows::store();
  return 0;
}

// The older store's rows: "Id" from the row, at most ten of them.
template <typename Rows>
void load_older_rows(json_object* root) {
  json_object* array = json::step(root, Rows::kArray);
  if (array == nullptr || !json_object_is_type(array, json_type_array)) return;
  const size_t count = json_object_array_length(array);
  for (size_t i = 0; i < count && i < RULE_ROWS; ++i) {
    json_object* element = json_object_array_get_idx(array, i);
    auto& row = Rows::table()[i];
    row.id = json::integer(element, "Id");
    Rows::read(row, element);
    parse_account(json::text(element, "Account"), row.accounts);
  }
}

// The current store's rows: the "data" array of a section, at most ten
// elements, each given to a row reader with its index. The index is the
// row's id.
void read_data_rows(json_object* root, const char* section, void (*read)(json_object* element, size_t i)) {
  json_object* rows = json::array(root, section, "data");
  for (size_t i = 0; i < json::length(rows) && i < RULE_ROWS; ++i) read(json::element(rows, i), i);
}

void read_replace_row(json_object* element, size_t i) {
  RuleReplace& row = g_rule_replace[i];
  row.id = static_cast<int32_t>(i);
  json::copy_text(row.prefix, sizeof row.prefix, json::text(element, "Prefix"), kTextChars);
  json::copy_text(row.replace, sizeof row.replace, json::text(element, "Replace"), kTextChars);
  const char* account = json::text(element, "Account");
  parse_account(account, row.accounts);
  std::printf("%s,%d, Preffix = %s, Replace = %s, Account = %s\n\r", "vorn_rule_all_load", __LINE__, row.prefix,
              row.replace, shown(account));
}

void read_dial_row(json_object* element, size_t i) {
  RuleDial& row = g_rule_dial[i];
  row.id = static_cast<int32_t>(i);
  json::copy_text(row.rule, sizeof row.rule, json::text(element, "RealTimeDialingRules"), kTextChars);
  const char* account = json::text(element, "Account");
  parse_account(account, row.accounts);
  std::printf("%s,%d, RealTimeDialingRules = %s, Account = %s\n\r", "vorn_rule_all_load", __LINE__, row.rule,
              shown(account));
}

// "BlockOut1" to "BlockOut10" with "Account1" to "Account10"; a row
// without its account member applies to all accounts.
void read_restrict_rows(json_object* section) {
  if (section == nullptr) return;
  for (int n = 1; n <= RULE_ROWS; ++n) {
    char pattern_key[32];
    char account_key[32];
    std::snprintf(pattern_key, sizeof pattern_key, "%s%d", "BlockOut", n);
    std::snprintf(account_key, sizeof account_key, "%s%d", "Account", n);
    RuleLimit& row = g_rule_limit[n - 1];
    row.id = n - 1;
    json::copy_text(row.number, sizeof row.number, json::text(section, pattern_key), kTextChars);
    parse_account(json::text(section, account_key), row.accounts);
  }
}

// Reads one of the two zone forms: the area code (at most 32 characters),
// the two bounds (an absent one reads as 0) and the account text.
void load_zone(json_object* zone, const char* code, const char* min, const char* max, const char* account) {
  if (zone == nullptr) return;
  json::copy_text(g_rule_zone.code, sizeof g_rule_zone.code, json::text(zone, code), kAreaCodeChars);
  g_rule_zone.min_length = json::integer(zone, min);
  g_rule_zone.max_length = json::integer(zone, max);
  parse_account(json::text(zone, account), g_rule_zone.accounts);
}

}  // namespace
}  // namespace phonecore::dial

using namespace phonecore::dial;

extern "C" {

void vorn_rule_init(void) noexcept {
  std::memset(g_rule_replace, 0, sizeof g_rule_replace);
  std::memset(g_rule_dial, 0, sizeof g_rule_dial);
  std::memset(g_rule_limit, 0, sizeof g_rule_limit);
  std::memset(&g_rule_zone, 0, sizeof g_rule_zone);
  g_rule_zone.min_length = 1;
  g_rule_zone.max_length = 15;
  // The area code's default is account 2 alone.
  g_rule_zone.accounts[1] = 1;
}

int vorn_rule_all_load(void) noexcept {
  vorn_rule_init();
  json_object* root = read_gnl_config_json(kCurrentStore);
  if (root == nullptr) return std::printf("tolk_rule vorn_rule_all_load read %s failed\n", kCurrentStore);

  read_data_rows(root, "DialplanReplace", read_replace_row);
  read_data_rows(root, "DialplanDialnow", read_dial_row);
  read_restrict_rows(json::step(root, "DialplanRestrict"));
  load_zone(json::step(root, "DialplanAreaCode"), "AreaCode", "AreaCodeMinLen", "AreaCodeMaxLen", "AreaCodeAccount");
  return json_object_put(root);
}

int vorn_rule_all_load_obsoleted(void) noexcept {
  vorn_rule_init();
  json_object* root = read_gnl_config_json(kOlderStore);
  if (root == nullptr) return std::printf("tolk_rule vorn_rule_all_load_obsoleted read %s failed\n", kOlderStore);
  load_older_rows<ReplaceRows>(root);
  load_older_rows<DialRows>(root);
  load_older_rows<LimitRows>(root);
  // The store writes "minLength" and "maxLength"; this load looks for
  // "MinLength" and "MaxLength", so stored bounds read back as 0.
  load_zone(json::step(root, "ZoneInfo"), "Code", "MinLength", "MaxLength", "Account");
  return json_object_put(root);
}

int vorn_rule_replace_store(void) noexcept { return store_rows<ReplaceRows>(); }
int vorn_rule_dial_store(void) noexcept { return store_rows<DialRows>(); }
int vorn_rule_limit_store(void) noexcept { return store_rows<LimitRows>(); }

int vorn_rule_zone_store(void) noexcept {
  json_object* root = older_store_root();
  json_object* zone = json::step(root, "ZoneInfo");
  if (zone == nullptr || !json_object_is_type(zone, json_type_object)) {
    zone = json_object_new_object();
    json_object_object_add(root, "ZoneInfo", zone);
  }
  // An empty area code leaves the members that stand.
  if (g_rule_zone.code[0] != '\0') {
    char accounts[16];
    format_account(accounts, g_rule_zone.accounts);
    json_object_object_add(zone, "Code", json_object_new_string(g_rule_zone.code));
    json_object_object_add(zone, "minLength", json_object_new_int(g_rule_zone.min_length));
    json_object_object_add(zone, "maxLength", json_object_new_int(g_rule_zone.max_length));
    json_object_object_add(zone, "Account", json_object_new_string(accounts));
  }
  return write_older_store(root);
}

int vorn_rule_replace_update(int op, const RuleReplace* record) noexcept {
  return update_rows<ReplaceRows>(op, record);
}
int vorn_rule_dial_update(int op, const RuleDial* record) noexcept { return update_rows<DialRows>(op, record); }
int vorn_rule_limit_update(int op, const RuleLimit* record) noexcept { return update_rows<LimitRows>(op, record); }

int vorn_rule_zone_update(const RuleZone* record) noexcept {
  if (record == nullptr) return 0;
  g_rule_zone = *record;
  vorn_rule_zone_store();
  return 0;
}

int vorn_rule_replace_match(const char* number, char* out, int account) noexcept {
  std::printf("tolk_rule vorn_rule_replace_match inputStr:%s accId:%d\n", shown(number), account);
  if (!number_usable(number, account) || out == nullptr) return 0;
  for (const RuleReplace& row : g_rule_replace) {
    if (row.prefix[0] == '\0') break;
    if (row.accounts[account - 1] <= 0) continue;
    std::printf("tolk_rule vorn_rule_dial_match acc is valid,match the preffix:%s replace:%s\n", row.prefix,
                row.replace);
    if (dialplan_check_replace(row.prefix, row.replace, number, out, RULE_TEXT_SIZE) == 1) return 1;
  }
  // The area code applies only to a number that no replace rule took.
  return vorn_rule_zone_match(number, out, account);
}

int vorn_rule_zone_match(const char* number, char* out, int account) noexcept {
  std::printf("tolk_rule vorn_rule_zone_match inputStr:%s accId:%d\n", shown(number), account);
  if (!number_usable(number, account) || out == nullptr) return 0;
  if (g_rule_zone.code[0] == '\0' || g_rule_zone.accounts[account - 1] <= 0) return 0;
  const size_t length = std::strlen(number);
  if (length < static_cast<size_t>(g_rule_zone.min_length < 0 ? 0 : g_rule_zone.min_length)) return 0;
  if (g_rule_zone.max_length < 0 || length > static_cast<size_t>(g_rule_zone.max_length)) return 0;
  std::snprintf(out, RULE_TEXT_SIZE, "%s%s", g_rule_zone.code, number);
  return 1;
}

int vorn_rule_dial_match(const char* number, int account) noexcept {
  std::printf("tolk_rule vorn_rule_dial_match inputStr:%s accId:%d\n", shown(number), account);
  if (!number_usable(number, account)) return 0;
  for (const RuleDial& row : g_rule_dial) {
    if (row.rule[0] == '\0') return 0;  // an empty row hides all behind it
    if (row.accounts[account - 1] <= 0) continue;
    std::printf("tolk_rule vorn_rule_dial_match acc is valid,match the rule:%s\n", row.rule);
    if (dialplan_check_block(row.rule, number) == 1) return 1;
  }
  return 0;
}

int vorn_rule_limit_match(const char* number, int account) noexcept {
  std::printf("tolk_rule vorn_rule_limit_match inputStr:%s accId:%d\n", shown(number), account);
  if (!number_usable(number, account)) return 0;
  // All ten rows: "BlockOut1" to "BlockOut10" may have gaps.
  for (const RuleLimit& row : g_rule_limit) {
    if (row.number[0] == '\0' || row.accounts[account - 1] <= 0) continue;
    std::printf("tolk_rule vorn_rule_limit_match acc is valid,match the rule:%s\n", row.number);
    if (dialplan_check_block(row.number, number) == 1) return 1;
  }
  return 0;
}

int parse_account(const char* text, int32_t* flags) noexcept {
  if (flags == nullptr) return 0;
  if (text == nullptr || text[0] == '\0') {
    all_accounts(flags);
    return RULE_ACCOUNTS;
  }
  char copy[kAccountTextChars + 1];
  json::copy_text(copy, sizeof copy, text, kAccountTextChars);
  char* trimmed = trim(copy);
  if (trimmed[0] == '\0') {
    all_accounts(flags);
    return RULE_ACCOUNTS;
  }
  for (int i = 0; i < RULE_ACCOUNTS; ++i) flags[i] = 0;

  // Account numbers of 0 and below, and of 5 and above, name no account.
  if (std::strchr(trimmed, ',') != nullptr) {
    int count = 0;
    for (char* token = trimmed; token != nullptr;) {
      char* comma = std::strchr(token, ',');
      if (comma != nullptr) *comma = '\0';
      char piece[kAccountTokenChars + 1];
      json::copy_text(piece, sizeof piece, token, kAccountTokenChars);
      const char* value_text = trim(piece);
      if (value_text[0] != '\0') {
        const int value = json::text_to_int(value_text);
        if (value >= 1 && value <= RULE_ACCOUNTS) {
          flags[value - 1] = 1;
          ++count;
        }
      }
      token = comma != nullptr ? comma + 1 : nullptr;
    }
    std::printf("%s,%d, accCount = %d \n\r", __func__, __LINE__, count);
    return count;
  }
  const int value = json::text_to_int(trimmed);
  if (value < 1 || value > RULE_ACCOUNTS) return 0;
  flags[value - 1] = 1;
  return 1;
}

void format_account(char* out, const int32_t* flags) noexcept {
  if (out == nullptr) return;
  out[0] = '\0';
  if (flags == nullptr) return;
  size_t used = 0;
  for (int i = 0; i < RULE_ACCOUNTS; ++i) {
    if (flags[i] <= 0) continue;
    out[used++] = static_cast<char>('1' + i);
    if (i < RULE_ACCOUNTS - 1) out[used++] = ',';  // "1,3," keeps its comma
  }
  out[used] = '\0';
}

}  // extern "C"

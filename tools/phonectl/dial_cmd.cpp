// phonectl dial, rules, hotkey: the dial-plan engine, the accounts' dial
// rules, and what a pressed key means.
#include <phonecore/dial_rule.h>
#include <phonecore/dialplan.h>
#include <phonecore/hotkey.h>

#include <string>

#include "phonectl.h"

namespace phonectl {
namespace {

int dial_check(Context &ctx, Args args) {
  const int match = dialplan_check_block(args[0], args[1]);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "match", json_object_new_boolean(match));
  print(ctx, r);
  return match ? kOk : kRefused;
}

int dial_replace(Context &ctx, Args args) {
  char out[RULE_TEXT_SIZE] = {};
  const int match = dialplan_check_replace(args[0], args[1], args[2], out, sizeof out);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "match", json_object_new_boolean(match));
  json_object_object_add(r, "number", json_object_new_string(match ? out : args[2]));
  print(ctx, r);
  return match ? kOk : kRefused;
}

// What the phone does with NUMBER dialled on ACC, in the phone's order: a
// limit rule refuses it, else a replace rule (or the area code) rewrites
// it, and a dial-now rule says it is complete.
int rules_match(Context &ctx, Args args) {
  long acc = 0;
  if (!parse_int(args[0], 1, RULE_ACCOUNTS, acc)) return fail(kUsage, "ACC is an account, 1 to 4");
  vorn_rule_all_load();
  const int account = static_cast<int>(acc);
  json_object *r = json_object_new_object();
  const bool refused = vorn_rule_limit_match(args[1], account) != 0;
  char out[RULE_TEXT_SIZE] = {};
  const bool replaced = !refused && vorn_rule_replace_match(args[1], out, account) != 0;
  json_object_object_add(r, "refused", json_object_new_boolean(refused));
  json_object_object_add(r, "number", json_object_new_string(replaced ? out : args[1]));
  json_object_object_add(r, "replaced", json_object_new_boolean(replaced));
  json_object_object_add(r, "dialNow", json_object_new_boolean(!refused && vorn_rule_dial_match(args[1], account)));
  print(ctx, r);
  return refused ? kRefused : kOk;
}

// Key codes of the call buttons wired to GPIO lines (bound in
// "default/settinglist.cfg"); all other keys are bound in
// "default/programing_key.cfg".
constexpr int kGpioKeys[] = {71, 72, 73, 74, 75, 76, 81, 82};

int hotkey(Context &ctx, Args args) {
  long key = 0;
  if (!parse_int(args[0], 0, 255, key)) return fail(kUsage, "KEY is a key code, 0 to 255");
  int type = 0, line = 0;
  char value[HOTKEY_TEXT_SIZE] = {}, label[HOTKEY_TEXT_SIZE] = {}, extension[HOTKEY_TEXT_SIZE] = {},
       dtmf[HOTKEY_TEXT_SIZE] = {};
  bool gpio = false;
  for (int g : kGpioKeys) gpio = gpio || g == key;
  int found = -1;
  if (gpio) {
    found = CheckKeyTypeGetNumberConf(static_cast<int>(key), &type, &line, value, label, extension, dtmf);
  } else {
    found = CheckHotkeyGetNumber(static_cast<int>(key), &type, &line, value, label, extension);
  }
  if (found != 0) return fail(kRefused, "key " + std::to_string(key) + " is not bound");
  char speed[HOTKEY_TEXT_SIZE] = {};
  const bool is_speed = !gpio && CheckKeyIsSpeedDailGetNumber(static_cast<int>(key), speed) == 0;
  json_object *r = json_object_new_object();
  json_object_object_add(r, "key", json_object_new_int(static_cast<int>(key)));
  json_object_object_add(r, "type", json_object_new_int(type));
  json_object_object_add(r, "line", json_object_new_int(line));
  json_object_object_add(r, "value", json_object_new_string(value));
  if (gpio) {
    json_object_object_add(r, "dtmf", json_object_new_string(dtmf));
  } else {
    json_object_object_add(r, "label", json_object_new_string(label));
    json_object_object_add(r, "extension", json_object_new_string(extension));
    json_object_object_add(r, "speedDial", json_object_new_string(is_speed ? speed : ""));
  }
  print(ctx, r);
  return kOk;
}

constexpr Command kCommands[] = {
    {"dial", "check", "dial check PATTERN NUMBER",
     "whether NUMBER matches the dial-plan PATTERN (x any digit, [1-3,5] a set, '.' any run, ( ) groups)", 2, 2,
     dial_check},
    {"dial", "replace", "dial replace PATTERN TEMPLATE NUMBER",
     "NUMBER rewritten through TEMPLATE ($1 to $9 the groups) when it matches PATTERN", 3, 3, dial_replace},
    {"rules", "match", "rules match ACC NUMBER",
     "NUMBER on account ACC through the stored dial rules: refused, rewritten, dialled at once", 2, 2, rules_match},
    {"hotkey", "", "hotkey KEY",
     "what key code KEY is bound to: function type, line, number (day or night for the call buttons 71 to 82)", 1, 1,
     hotkey},
};

}  // namespace

std::span<const Command> dial_commands() { return kCommands; }

}  // namespace phonectl

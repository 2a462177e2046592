/* The dial logic of a phone process, narrated: account 1's dial rules as
 * the web pages store them, three dialled numbers through them, a blocked
 * number, and the keys: a speed-dial line key that is refused until its
 * "Extension" is set, and a call button with its day and night numbers. */
#include <json-c/json.h>
#include <phonecore/config.h>
#include <phonecore/dial_rule.h>
#include <phonecore/hotkey.h>
#include <stdio.h>
#include <string.h>

static const char *kRules =
    "{\"DialplanReplace\":{\"data\":[{\"Prefix\":\"00(x.)\",\"Replace\":\"+$1\",\"Account\":\"1\"}]},"
    "\"DialplanDialnow\":{\"data\":[{\"RealTimeDialingRules\":\"11[0,2]\",\"Account\":\"1\"}]},"
    "\"DialplanRestrict\":{\"BlockOut1\":\"900x.\",\"Account1\":\"1\"},"
    "\"DialplanAreaCode\":{\"AreaCode\":\"030\",\"AreaCodeMinLen\":5,\"AreaCodeMaxLen\":8,"
    "\"AreaCodeAccount\":\"1\"},"
    "\"SettingKeyType\":{\"KEY_gpio53_key\":{\"KeyType\":\"213\",\"Line\":\"1\",\"Value\":\"1002\","
    "\"DtmfValue\":\"\",\"CallButtonNight\":\"1003\"}},"
    "\"SettingGpioKey\":{\"StartDaytimeHours\":8,\"StartDaytimeMinutes\":0,\"StartNightHours\":18,"
    "\"StartNightMinutes\":0}}";

/* The library traces to standard output as on the phone; the narration
 * goes to standard error so that the two can be told apart. */
#define SAY(...) fprintf(stderr, __VA_ARGS__)

static void dial(const char *number) {
  char out[RULE_TEXT_SIZE] = "";
  if (vorn_rule_limit_match(number, 1)) {
    SAY("   [dial] %s on account 1: refused by a block-out rule\n", number);
    return;
  }
  const char *sent = vorn_rule_replace_match(number, out, 1) ? out : number;
  SAY("   [dial] %s on account 1: sent as %s%s\n", number, sent,
      vorn_rule_dial_match(number, 1) ? ", dialled at once (dial-now rule)" : "");
}

int main(void) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  json_object *rules = json_tokener_parse(kRules);
  if (rules == NULL || write_gnl_config_json("default/settinglist.cfg", rules) != 0) return 1;
  json_object_put(rules);
  SAY("   [dial] rules of account 1: 00(x.) -> +$1, dial now on 11[0,2], block 900x., area code 030 "
      "for 5 to 8 digits\n");
  vorn_rule_all_load();

  dial("0049301234");
  dial("5550100");
  dial("112");
  dial("9001234");

  char number[HOTKEY_TEXT_SIZE] = "";
  int found = CheckKeyIsSpeedDailGetNumber(18, number);
  SAY("   [keys] line key 18 (speed dial *97, empty Extension): %s\n", found == 0 ? number : "refused");
  SetHotKeyVal(18, 213, 1, "*97", "Voice mail", "*97");
  found = CheckKeyIsSpeedDailGetNumber(18, number);
  SAY("   [keys] after SetHotKeyVal gives it an Extension: speed dial yields %s\n", found == 0 ? number : "nothing");

  char button[HOTKEY_TEXT_SIZE] = "";
  char dtmf[HOTKEY_TEXT_SIZE] = "";
  int type = 0;
  CheckKeyTypeGetNumber(71, button, &type, dtmf);
  SAY("   [keys] call button 71 (day 1002 from 08:00, night 1003 from 18:00): type %d, dials %s now\n", type, button);
  return found == 0 && strcmp(number, "*97") == 0 ? 0 : 1;
}

// phonectl md5, tz, pinyin: the foundation tools.
#include <phonecore/config.h>
#include <phonecore/json_msg.h>
#include <phonecore/md5.h>
#include <phonecore/text.h>
#include <phonecore/timezone.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "phonectl.h"

namespace phonectl {
namespace {

int md5(Context &ctx, Args args) {
  char out[ZKMD5_TEXT_SIZE] = {};
  if (calculateFileMd5(args[0], out) != 0) return fail(kRefused, std::string(args[0]) + " can't be read");
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, "md5", json_object_new_string(out));
    json_object_object_add(r, "file", json_object_new_string(args[0]));
    print(ctx, r);
  } else {
    std::fprintf(ctx.out, "%s  %s\n", out, args[0]);
  }
  return kOk;
}

constexpr const char *kZoneFile = "default/settinglist.cfg";

json_object *zone_object(const char *offset) {
  set_time_zone(offset);
  const char *tz = std::getenv("TZ");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "zone", json_object_new_string(offset));
  json_object_object_add(r, "TZ", json_object_new_string(tz != nullptr ? tz : ""));
  return r;
}

int tz_get(Context &ctx, Args) {
  json_object *settings = read_gnl_config_json(kZoneFile);
  if (settings == nullptr) return fail(kRefused, std::string("no ") + kZoneFile + " from the configuration service");
  const char *zone = get_string_from_json(settings, 2, "SettingDateTime", "CurrentTimeZoneTime");
  if (zone == nullptr) {
    json_object_put(settings);
    return fail(kRefused, "no stored zone");
  }
  print(ctx, zone_object(zone));
  json_object_put(settings);
  return kOk;
}

// The zone is a sign and hours ("+8", "-5", "+5:30"), or "0".
bool valid_zone(const char *z) {
  if (std::strcmp(z, "0") == 0) return true;
  if (*z != '+' && *z != '-') return false;
  ++z;
  int digits = 0;
  while (*z >= '0' && *z <= '9') ++z, ++digits;
  if (digits < 1 || digits > 2) return false;
  if (*z == '\0') return true;
  return z[0] == ':' && z[1] >= '0' && z[1] <= '5' && z[2] >= '0' && z[2] <= '9' && z[3] == '\0';
}

int tz_set(Context &ctx, Args args) {
  std::vector<char *> words;
  bool announce = false;
  for (char *a : args) {
    if (std::strcmp(a, "--announce") == 0) {
      announce = true;
    } else {
      words.push_back(a);
    }
  }
  if (words.size() != 1) return fail(kUsage, "usage: phonectl tz set OFFSET [--announce]");
  if (!valid_zone(words[0])) return fail(kUsage, "OFFSET is a sign and hours: +8, -5, +5:30");
  json_object *settings = read_gnl_config_json(kZoneFile);
  if (settings == nullptr) return fail(kRefused, std::string("no ") + kZoneFile + " from the configuration service");
  set_string_to_json2(settings, "CurrentTimeZoneTime", words[0], 1, "SettingDateTime");
  const int written = write_gnl_config_json(kZoneFile, settings);
  json_object_put(settings);
  if (written != 0) return fail(kRefused, std::string(kZoneFile) + " can't be written");
  if (announce) send_time_zone(words[0]);
  print(ctx, zone_object(words[0]));
  return kOk;
}

int pinyin(Context &ctx, Args args) {
  const char *initials = getpystring(args[0]);
  if (initials == nullptr) return fail(kRefused, "no initials");
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, "name", json_object_new_string(args[0]));
    json_object_object_add(r, "initials", json_object_new_string(initials));
    print(ctx, r);
  } else {
    std::fprintf(ctx.out, "%s\n", initials);
  }
  return kOk;
}

constexpr Command kCommands[] = {
    {"md5", "", "md5 FILE", "the MD5 digest of FILE, as the upgrader compares it", 1, 1, md5},
    {"tz", "get", "tz get", "the stored time zone and the TZ a process takes from it", 0, 0, tz_get},
    {"tz", "set", "tz set OFFSET [--announce]",
     "store the time zone (+8, -5, +5:30); --announce tells every process at once (a short session that waits up "
     "to 10 s)",
     1, 2, tz_set},
    {"pinyin", "", "pinyin NAME", "the initials of NAME as the phone book's search sees them", 1, 1, pinyin},
};

}  // namespace

std::span<const Command> tool_commands() { return kCommands; }

}  // namespace phonectl

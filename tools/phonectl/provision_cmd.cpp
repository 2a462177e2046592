// phonectl provision: the provisioning settings that the settings pages
// show, read and stored through the library.
#include <phonecore/provision.h>

#include <cstring>
#include <string>
#include <string_view>

#include "phonectl.h"

namespace phonectl {
namespace {

using TextField = char (AutoProvisionSetting::*)[AUTOPROVISION_TEXT_SIZE];

// The text members of the record, in the order the library stores them.
struct TextMember {
  std::string_view name;
  TextField field;
};
constexpr TextMember kTextMembers[] = {
    {"DhcpOptionValue", &AutoProvisionSetting::DhcpOptionValue},
    {"AutoProvisionOptionTypeIPv6", &AutoProvisionSetting::AutoProvisionOptionTypeIPv6},
    {"AutoProvisionServerURL", &AutoProvisionSetting::AutoProvisionServerURL},
    {"AutoProvisionUser", &AutoProvisionSetting::AutoProvisionUser},
    {"AutoProvisionPassword", &AutoProvisionSetting::AutoProvisionPassword},
    {"AutopRetryDelay", &AutoProvisionSetting::AutopRetryDelay},
    {"AutoProvisionAESKey16", &AutoProvisionSetting::AutoProvisionAESKey16},
    {"AutoProvisionAESKey16MAC", &AutoProvisionSetting::AutoProvisionAESKey16MAC},
};
constexpr std::string_view kDhcpOption = "AutoProvisionEnableDHCPOption";

std::string text_of(const AutoProvisionSetting &s, TextField field) {
  const char *text = s.*field;
  return std::string(text, strnlen(text, AUTOPROVISION_TEXT_SIZE));
}

// The record as the file has it; members the file lacks stay empty.
AutoProvisionSetting current() {
  AutoProvisionSetting s{};
  getSettingAutoProvision(&s);
  return s;
}

void print_setting(Context &ctx, const AutoProvisionSetting &s) {
  json_object *r = json_object_new_object();
  json_object_object_add(r, std::string(kDhcpOption).c_str(), json_object_new_int(s.AutoProvisionEnableDHCPOption));
  for (const auto &m : kTextMembers)
    json_object_object_add(r, std::string(m.name).c_str(), json_object_new_string(text_of(s, m.field).c_str()));
  print(ctx, r);
}

int provision_get(Context &ctx, Args) {
  print_setting(ctx, current());
  return kOk;
}

// One MEMBER=VALUE into the record; false after a usage error.
bool assign(AutoProvisionSetting &s, std::string_view word) {
  const size_t eq = word.find('=');
  if (eq == std::string_view::npos) return fail(kUsage, "expected MEMBER=VALUE, got " + std::string(word)), false;
  const std::string_view name = word.substr(0, eq);
  const std::string value(word.substr(eq + 1));
  if (name == kDhcpOption) {
    long n = 0;
    if (!parse_int(value.c_str(), -2147483647L, 2147483647L, n))
      return fail(kUsage, std::string(kDhcpOption) + " is a whole number"), false;
    s.AutoProvisionEnableDHCPOption = static_cast<int32_t>(n);
    return true;
  }
  for (const auto &m : kTextMembers)
    if (m.name == name) {
      if (value.size() > AUTOPROVISION_TEXT_SIZE - 1)
        return fail(kUsage, std::string(name) + " takes at most 63 characters"), false;
      char *field = s.*m.field;
      std::memset(field, 0, AUTOPROVISION_TEXT_SIZE);
      std::memcpy(field, value.data(), value.size());
      return true;
    }
  return fail(kUsage, "no member " + std::string(name) + " (see phonectl provision get)"), false;
}

int provision_set(Context &ctx, Args args) {
  AutoProvisionSetting s = current();
  for (char *word : args)
    if (!assign(s, word)) return kUsage;
  setSettingAutoProvision(&s);
  print_setting(ctx, current());
  return kOk;
}

constexpr Command kCommands[] = {
    {"provision", "get", "provision get",
     "the provisioning settings of the settings pages: AutoProvisionEnableDHCPOption, DhcpOptionValue, "
     "AutoProvisionOptionTypeIPv6, AutoProvisionServerURL, AutoProvisionUser, AutoProvisionPassword, "
     "AutopRetryDelay, AutoProvisionAESKey16, AutoProvisionAESKey16MAC",
     0, 0, provision_get},
    {"provision", "set", "provision set MEMBER=VALUE...",
     "change members of the provisioning settings (texts of at most 63 characters); the others keep their "
     "values; the scheduling process is told by /tmp/autoprovision_config_update",
     1, -1, provision_set},
};

}  // namespace

std::span<const Command> provision_commands() { return kCommands; }

}  // namespace phonectl

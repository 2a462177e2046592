// phonectl provision: the provisioning settings that the settings pages
// show, read and stored through the library.
#include <phonecore/net_transfer.h>
#include <phonecore/provision.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "phonectl.h"
#include "provision/setting_texts.h"

namespace phonectl {
namespace {

using TextField = char (AutoProvisionSetting::*)[AUTOPROVISION_TEXT_SIZE];
using phonecore::provision::kSettingTexts;

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
  for (const auto &m : kSettingTexts)
    json_object_object_add(r, m.member, json_object_new_string(text_of(s, m.field).c_str()));
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
  for (const auto &m : kSettingTexts)
    if (m.member == name) {
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

// --user, --password and --timeout of the transfers.
struct TransferOptions {
  std::string user, password;
  int timeout = 30;
};
bool transfer_options(Args args, TransferOptions &t, std::vector<char *> &words) {
  Options o{"--user", "--password", "--timeout"};
  if (!take_options(args, o, words)) return false;
  t.user = o.values[0];
  t.password = o.values[1];
  if (o.given[2]) {
    long n = 0;
    if (!parse_int(o.values[2].c_str(), -1, 86400, n)) return fail(kUsage, "--timeout takes seconds"), false;
    t.timeout = static_cast<int>(n);
  }
  return true;
}

int provision_fetch(Context &ctx, Args args) {
  TransferOptions t;
  std::vector<char *> words;
  if (!transfer_options(args, t, words)) return kUsage;
  if (words.size() != 2) return fail(kUsage, "provision fetch URL PATH [--user U] [--password P] [--timeout S]");
  char redirect[256] = {};
  const int result = vorn_net_download302(words[0], words[1], t.user.c_str(), t.password.c_str(), t.timeout, 0, nullptr,
                                          redirect, sizeof redirect);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  json_object_object_add(r, "redirect", json_object_new_string(redirect));
  print(ctx, r);
  return result == 1 || result == VORN_NET_REDIRECT ? kOk : kRefused;
}

int provision_upload(Context &ctx, Args args) {
  TransferOptions t;
  std::vector<char *> words;
  if (!transfer_options(args, t, words)) return kUsage;
  if (words.size() != 2) return fail(kUsage, "provision upload URL PATH [--user U] [--password P] [--timeout S]");
  const int result = vorn_net_upload(words[0], words[1], t.user.c_str(), t.password.c_str(), t.timeout, 3, nullptr);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  print(ctx, r);
  return result == 1 ? kOk : kRefused;
}

int provision_run(Context &ctx, Args args) {
  if (auto_update_get_config() != 0) return fail(kRefused, "the provisioning settings can't be read");
  uint32_t ticks = 0;
  const int result = auto_update_download_proc(args[0], &ticks);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  json_object_object_add(r, "waited", json_object_new_int64(ticks));
  print(ctx, r);
  return result == 1 ? kOk : kRefused;
}

int provision_cert(Context &ctx, Args args) {
  const int code = crt_validate_proc(args[0], args[1]);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "code", json_object_new_int(code));
  print(ctx, r);
  return code == CRT_FILED ? kOk : kRefused;
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
    {"provision", "fetch", "provision fetch URL PATH [--user U] [--password P] [--timeout S]",
     "download URL (HTTP, HTTPS or FTP) to PATH as a provisioning run does: redirects not followed, a 302 and its "
     "target reported, the time-out a stall limit (default 30 s)",
     2, -1, provision_fetch},
    {"provision", "upload", "provision upload URL PATH [--user U] [--password P] [--timeout S]",
     "upload PATH to URL (FTP folders are made); up to three tries, each later one appending from the size the "
     "server holds",
     2, -1, provision_upload},
    {"provision", "run", "provision run NAME",
     "one provisioning run with the stored settings: fetch NAME from the server, install it as "
     "/appconfigs/phone.cfg, wait out a call, have it taken up, reload every process, then the certificate and "
     "firmware steps",
     1, 1, provision_run},
    {"provision", "cert", "provision cert NAME MD5",
     "enter /tmp/NAME into the trusted certificates with MD5, file it in /appconfigs/tls_ca and rebuild "
     "/appconfigs/quorbit.ca; prints the code (0 filed, 2 list full, 3 no subject, 4 no end date, 6 listed "
     "already)",
     2, 2, provision_cert},
};

}  // namespace

std::span<const Command> provision_commands() { return kCommands; }

}  // namespace phonectl

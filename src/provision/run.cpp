// One provisioning run: the configuration file is fetched (following up to
// three 302s by hand), moved into place, held back while a call lasts,
// taken up by the configuration service, and every process is told to
// reload. The run blocks its thread throughout; the scheduling process
// keeps its clock by the ticks the call guard adds.
#include "provision/run.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/dsskey.h"
#include "phonecore/net_transfer.h"
#include "phonecore/provision.h"
#include "phonecore/voip.h"

namespace phonecore::provision {
namespace {

constexpr size_t kUrlSize = 286;
constexpr size_t kUrlBound = 285;  // at most 284 characters kept
constexpr size_t kPathSize = 128;
constexpr size_t kRedirectSize = 256;
constexpr size_t kCommandSize = 256;
constexpr int kRedirectAllowance = 3;
constexpr unsigned kCallPollSeconds = 5;
constexpr int kCallPolls = 1440;  // two hours
constexpr const char* kInstalledName = "phone.cfg";
constexpr const char* kUpdatedMarker = "touch /tmp/autoprovision_config_update2";

void run_shell(const char* command) {
  if (std::system(command) == -1) std::printf("%s: system failed\n", command);
}

// The steps after the file is in place, each with the pause behind it.
struct ReloadStep {
  int (*act)(const char* command);
  const char* command;
  useconds_t pause_us;
};

int take_up(const char*) { return upload_config_file(); }
int line_keys(const char*) { return set_dds_type(); }
int accounts(const char*) { return reload_account_all(); }
int broadcast(const char* command) { return reload_cmd_broadcast(command); }
int services(const char*) { return startSomething(); }
int sip_base(const char*) { return reload_sip_base(); }
int network(const char*) { return start_network(); }
int marker(const char*) {
  run_shell(kUpdatedMarker);
  return 0;
}
int certificate(const char*) { return auto_update_get_tls_crt(); }
int firmware(const char*) { return auto_update_get_config_upgrade(); }

constexpr ReloadStep kReload[] = {
    {&take_up, nullptr, 0},
    {&line_keys, nullptr, 0},
    {&accounts, nullptr, 2050000},
    {&broadcast, "reload_transfer_dnd", 0},
    {&broadcast, "reload_dial_char", 10000},
    {&broadcast, "setFeatureGnlInfor", 50000},
    {&broadcast, "reload_intercom_cnf", 10000},
    {&broadcast, "reload_language", 20000},
    {&services, nullptr, 10000},
    {&broadcast, "reload_dialplan", 10000},
    {&broadcast, "reload_powerled_cnf", 50000},
    {&sip_base, nullptr, 50000},
    {&broadcast, "reload_setHotkey_hotKey", 0},
    {&broadcast, "reload_setHotkey_lineKey", 2000000},
    {&network, nullptr, 0},
    {&marker, nullptr, 0},
    {&certificate, nullptr, 0},
    {&firmware, nullptr, 0},
};

// Sends the request and waits for any answer; neither is looked at.
void ask_service(uint16_t operation) {
  auto request = std::make_unique<config::GnlConfigRecord>(config_file_request(operation));
  (void)config::frame_exchange(config::kConfigPort, *request, *request);
}

}  // namespace

config::GnlConfigRecord config_file_request(uint16_t operation) {
  config::GnlConfigRecord r{};
  r.magic = config::kGnlMagic;
  r.category = config::kCategoryFile;
  r.operation = operation;
  r.format = config::kFormatConfigFile;
  return r;
}

}  // namespace phonecore::provision

using namespace phonecore::provision;

extern "C" int upload_config_file(void) noexcept {
  ask_service(phonecore::config::kOperationUploadConfig);
  return 0;
}

extern "C" int download_config_file(void) noexcept {
  ask_service(phonecore::config::kOperationDownloadConfig);
  return 0;
}

extern "C" int provision_config_file_proc(void) noexcept {
  for (const ReloadStep& step : kReload) {
    step.act(step.command);
    if (step.pause_us > 0) usleep(step.pause_us);
  }
  return 0;
}

extern "C" int auto_update_download_proc(const char* name, uint32_t* ticks) noexcept {
  const char* server = ap_cfg.AutoProvisionServerURL;
  if (std::strstr(server, "ftp") == nullptr && std::strstr(server, "http") == nullptr) return 0;
  if (name == nullptr) name = "";
  char url[kUrlSize] = {};
  char path[kPathSize] = {};
  std::snprintf(url, kUrlBound, "%s/%s", server, name);
  std::snprintf(path, sizeof path, "/%s/%s", "tmp", name);

  // Redirects are followed here, not by libcurl: the target is a new base
  // and the name goes behind it.
  int allowance = kRedirectAllowance;
  int result = 0;
  for (;;) {
    char redirect[kRedirectSize] = {};
    result = vorn_net_download302(url, path, ap_cfg.AutoProvisionUser, ap_cfg.AutoProvisionPassword,
                                  ap_cfg.AutopRetryDelay, 0, nullptr, redirect, sizeof redirect);
    if (result != VORN_NET_REDIRECT) break;
    if (std::strlen(redirect) == 0) {
      std::printf("%s: (strlen(redirect_url) <= 0), shall not happen, break;\n", __func__);
      return result;
    }
    std::snprintf(url, kUrlBound, "%s/%s", redirect, name);
    sleep(1);
    if (allowance == 1) return result;
    --allowance;
  }
  if (result != 1) return result;

  char installed[kPathSize] = {};
  get_config_file_ABSpath(kInstalledName, installed);
  char command[kCommandSize];
  std::snprintf(command, sizeof command, "mv %s %s", path, installed);
  run_shell(command);

  // The file is in place; its take-up waits for the end of a call.
  if (getCallStatus_common() != 0) {
    long waited = 0;
    bool ended = false;
    for (int i = 0; i < kCallPolls && !ended; ++i) {
      sleep(kCallPollSeconds);
      waited += kCallPollSeconds;
      if (ticks != nullptr) *ticks += kCallPollSeconds;
      ended = getCallStatus_common() == 0;
    }
    if (!ended) {
      std::printf("%s: tickCount_wait = %ld, more than 2 hours, abort this provision\n", __func__, waited);
      return result;
    }
  }
  provision_config_file_proc();
  std::printf("%s: provision of %s done\n", __func__, installed);
  return result;
}

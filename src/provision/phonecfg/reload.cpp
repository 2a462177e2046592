// After a batch of phone.cfg keys: the reload that tells every process to
// read its files again, guarded by the marker /tmp/reloading, and the SIP
// identities derived from the account settings.

#include <json-c/json.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "base/atomic_field.h"
#include "base/json.h"
#include "bus/command_broadcast.h"
#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/dsskey.h"
#include "phonecore/phonecfg.h"

int is_reloading;
int callinprocess;

char registrar1[PHONECFG_IDENTITY_SIZE];
char registrar1_2[PHONECFG_IDENTITY_SIZE];
char registrar2[PHONECFG_IDENTITY_SIZE];
char registrar2_2[PHONECFG_IDENTITY_SIZE];
char registrar3[PHONECFG_IDENTITY_SIZE];
char registrar3_2[PHONECFG_IDENTITY_SIZE];
char registrar4[PHONECFG_IDENTITY_SIZE];
char registrar4_2[PHONECFG_IDENTITY_SIZE];
char regisid1[PHONECFG_IDENTITY_SIZE];
char regisid1_2[PHONECFG_IDENTITY_SIZE];
char regisid2[PHONECFG_IDENTITY_SIZE];
char regisid2_2[PHONECFG_IDENTITY_SIZE];
char regisid3[PHONECFG_IDENTITY_SIZE];
char regisid3_2[PHONECFG_IDENTITY_SIZE];
char regisid4[PHONECFG_IDENTITY_SIZE];
char regisid4_2[PHONECFG_IDENTITY_SIZE];

namespace phonecore::phonecfg {

namespace {

constexpr const char* kReloadingMarker = "/tmp/reloading";
constexpr const char* kCallFile = "/tmp/call_check.txt";
constexpr const char* kAccountsFile = "default/voiplist.cfg";
constexpr const char* kVoipFile = "voip.cfg";
constexpr size_t kMarkerRead = 16;  // bytes of a marker that are looked at
constexpr int kAccounts = 4;
constexpr unsigned kNetworkSettleUs = 3000 * 1000;
constexpr unsigned kAccountsSettleUs = 100 * 1000;

// One account's four identity buffers: registrar, registrar2, id, id2.
struct IdentityBuffers {
  char* registrar;
  char* registrar_2;
  char* id;
  char* id_2;
};

// Account 4 is formatted into the account-3 buffers; the account-4
// buffers stay empty. The other processes read the buffers so.
constexpr std::array<IdentityBuffers, kAccounts> kIdentityBuffers{{
    {registrar1, registrar1_2, regisid1, regisid1_2},
    {registrar2, registrar2_2, regisid2, regisid2_2},
    {registrar3, registrar3_2, regisid3, regisid3_2},
    {registrar3, registrar3_2, regisid3, regisid3_2},
}};

constexpr std::array<char*, 16> kAllIdentityBuffers{
    registrar1, registrar1_2, registrar2, registrar2_2, registrar3, registrar3_2, registrar4, registrar4_2,
    regisid1,   regisid1_2,   regisid2,   regisid2_2,   regisid3,   regisid3_2,   regisid4,   regisid4_2};

// The application sequence: a step and the pause after it.
struct ReloadStep {
  const char* command;  // a broadcast; null for set_dds_type
  unsigned pause_us;
};

constexpr std::array kApplication{
    ReloadStep{nullptr, 50 * 1000},  // set_dds_type
    ReloadStep{"reload_transfer_dnd", 0},
    ReloadStep{"reload_dial_char", 10 * 1000},
    ReloadStep{"setFeatureGnlInfor", 50 * 1000},
    ReloadStep{"reload_intercom_cnf", 10 * 1000},
    ReloadStep{"reload_language", 20 * 1000},
    ReloadStep{"startSomething", 10 * 1000},
    ReloadStep{"reload_dialplan", 10 * 1000},
    ReloadStep{"reload_powerled_cnf", 50 * 1000},
    ReloadStep{"reload_sip_base", 50 * 1000},
    ReloadStep{"reload_dss_key", 0},
};
static_assert(kApplication.size() == 11);

// A marker's state: missing, unreadable or exactly "0" is 0; anything else
// (an empty file, "0\n", "00") is 1.
int read_marker(const char* path) {
  FILE* f = std::fopen(path, "r");
  if (f == nullptr) return 0;
  char text[kMarkerRead + 1] = {};
  const size_t n = std::fread(text, 1, kMarkerRead, f);
  std::fclose(f);
  text[n] = '\0';
  return std::strcmp(text, "0") == 0 ? 0 : 1;
}

// A missing member is written "(null)" on purpose: the identity of an
// account without a server still has its shape.
const char* member_or_null_text(json_object* account, const char* member) {
  const char* text = json::text(account, member);
  return text != nullptr ? text : "(null)";
}

void set_identity(json_object* voip_account, const char* member, char* buffer) {
  if (voip_account != nullptr) json::put(voip_account, member, json::new_text(buffer));
}

}  // namespace

void write_marker(const char* text) {
  FILE* f = std::fopen(kReloadingMarker, "w");
  if (f == nullptr) return;
  if (text != nullptr) std::fputs(text, f);
  std::fclose(f);
}

int reloading() {
  base::store(is_reloading, read_marker(kReloadingMarker));
  return 0;
}

int call_status() {
  base::store(callinprocess, read_marker(kCallFile));
  return 0;
}

void clear_identities() {
  for (char* buffer : kAllIdentityBuffers) std::memset(buffer, 0, PHONECFG_IDENTITY_SIZE);
}

void set_identities() {
  json::Owned accounts(read_gnl_config_json(kAccountsFile));
  json::Owned voip(read_gnl_config_json(kVoipFile));
  if (accounts == nullptr || voip == nullptr) return;
  json_object* registers = json::at(accounts.get(), "AccountRegister");
  json_object* voip_accounts = json::at(voip.get(), "account");
  for (int n = 0; n < kAccounts; ++n) {
    json_object* a = json::element(registers, static_cast<size_t>(n));
    const char* user = member_or_null_text(a, "AccountUserName");
    const char* server1 = member_or_null_text(a, "SIP1ServerAddr");
    const char* port1 = member_or_null_text(a, "SIP1ServerAddrPort");
    const char* server2 = member_or_null_text(a, "SIP2ServerAddr");
    const char* port2 = member_or_null_text(a, "SIP2ServerAddrPort");
    const IdentityBuffers& b = kIdentityBuffers[n];
    json_object* target = json::element(voip_accounts, static_cast<size_t>(n));
    std::snprintf(b.registrar, PHONECFG_IDENTITY_SIZE, "sip:%s:%s", server1, port1);
    set_identity(target, "registrar", b.registrar);
    std::snprintf(b.registrar_2, PHONECFG_IDENTITY_SIZE, "sip:%s:%s", server2, port2);
    set_identity(target, "registrar2", b.registrar_2);
    std::snprintf(b.id, PHONECFG_IDENTITY_SIZE, "sip:%s@%s:%s", user, server1, port1);
    set_identity(target, "id", b.id);
    std::snprintf(b.id_2, PHONECFG_IDENTITY_SIZE, "sip:%s@%s:%s", user, server2, port2);
    set_identity(target, "id2", b.id_2);
  }
  write_gnl_config_json(kVoipFile, voip.get());
}

int reload_all() {
  reloading();
  if (base::load(is_reloading) != 0) return 0;
  write_marker("1");
  call_status();
  if (base::load(callinprocess) == 0) {
    if (base::load(reload_something_flag) == 1) {
      set_identities();
      for (const ReloadStep& step : kApplication) {
        if (step.command != nullptr) bus::broadcast_command(step.command);
        else set_dds_type();
        if (step.pause_us != 0) usleep(step.pause_us);
      }
    }
    base::store(reload_something_flag, 0);
    clear_identities();
  }
  if (base::load(start_network_flag) == 1) {
    start_network();
    base::store(start_network_flag, 0);
    usleep(kNetworkSettleUs);
  }
  reload_account_all();
  usleep(kAccountsSettleUs);
  write_marker("0");
  return 0;
}

}  // namespace phonecore::phonecfg

using namespace phonecore::phonecfg;

extern "C" {

int reload_all_phonecfg(void) noexcept { return reload_all(); }

int write_tmp_reloading(const char* text) noexcept {
  write_marker(text);
  return 0;
}

int getReloading(void) noexcept { return reloading(); }

int getCallStatus(void) noexcept { return call_status(); }

int set_id_to_voip_cfg(void) noexcept {
  set_identities();
  return 0;
}

int init_some_arrary(void) noexcept {
  clear_identities();
  return 0;
}

}  // extern "C"

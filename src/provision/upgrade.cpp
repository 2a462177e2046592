// The last two steps of a provisioning run: a trusted CA certificate and a
// firmware image, each ordered by the imported settings. Each step first
// writes its top-level "enable" member back to "0" (the section's own
// member stays as it was), then fetches, checks the MD5 exactly, and files
// what passed. Neither step reports failure to its caller; the printed
// lines and the files tell.
#include "provision/upgrade.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/json.h"
#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/md5.h"
#include "phonecore/net_transfer.h"
#include "phonecore/provision.h"
#include "provision/settings.h"

namespace json = phonecore::json;

namespace phonecore::provision {
namespace {

constexpr const char* kUpgradeData = "/tmp/AutoProvisionUpgrade.data";
constexpr const char* kUpgradeImage = "/tmp/download.bin";
constexpr const char* kCrtData = "/tmp/AutoProvisionGetCrt.data";
constexpr const char* kDefaultCrtName = "tmp001.crt";
constexpr const char* kSecurityFile = "default/security.cfg";
constexpr const char* kTrustedCert = "SecurityTrustedCert";
constexpr const char* kTrustedList = "child_security_trusted_cert_list";
constexpr size_t kMaxTrusted = 5;
constexpr int kTransferTimeout = 30;
constexpr size_t kCommandSize = 256;
constexpr size_t kMd5Size = 33;

// The image lands in /tmp as well: before the fetch the device makes room
// and stops what could disturb it, in this order. Not undone on failure.
struct CleanStep {
  const char* shell;    // a shell line, or
  int (*call)(void);    // a library call
  useconds_t pause_us;  // after it
};
constexpr CleanStep kClean[] = {
    {"touch /tmp/uploading", nullptr, 0},     {nullptr, &set_telnet_ssh_type_disable, 0},
    {nullptr, &set_voip_log_disable, 0},      {"killall -9 cat", nullptr, 0},
    {"killall tcpdump;", nullptr, 0},         {"killall -9 tcpdump", nullptr, 0},
    {"rm -rf /tmp/*.txt", nullptr, 0},        {"rm -rf /tmp/*.log", nullptr, 0},
    {"rm -rf /tmp/zkphone.log*", nullptr, 0}, {"rm -rf /tmp/*.coredump", nullptr, 0},
    {"rm -rf /tmp/*.tar.gz", nullptr, 0},     {"rm -rf /tmp/*.dat", nullptr, 0},
    {"rm -rf /tmp/*.pcap", nullptr, 0},       {"rm -rf /tmp/sip_trace.*", nullptr, 0},
    {"killall -9 zk_cwmp", nullptr, 100},     {"echo 3 >/proc/sys/vm/drop_caches", nullptr, 300},
};

// The openssl lines, with the device's library and tool folders.
constexpr const char* kSubjectQuery =
    "export LD_LIBRARY_PATH=$LD_LIBRARY_PATH:/usr/local/lib:/customer/lib:/lib;  export PATH=$PATH:/customer/sbin; "
    "openssl x509 -noout -text -in /tmp/%s  | grep Subject | grep CN;";
constexpr const char* kEndDateQuery =
    "export LD_LIBRARY_PATH=$LD_LIBRARY_PATH:/usr/local/lib:/customer/lib:/lib;  export PATH=$PATH:/customer/sbin; "
    "openssl x509 -noout -enddate  -in /tmp/%s ;";

void shell(const char* line) {
  if (std::system(line) == -1) std::printf("%s: system failed\n", line);
}

template <typename... Args>
void shell_format(const char* format, Args... args) {
  char line[kCommandSize];
  std::snprintf(line, sizeof line, format, args...);
  shell(line);
}

// A text of the settings section into a field of ap_cfg, cleared first.
void copy_member(json_object* section, const char* member, char (&field)[AUTOPROVISION_TEXT_SIZE]) {
  std::memset(field, 0, sizeof field);
  json::copy_text(field, json::text(section, member));
}

// The top-level member set to "0" and the file written; the section's own
// member is not this one.
void reset_top_level(json_object* root, const char* member) {
  json::set_creating(root, member, json::new_text("0"));
  write_gnl_config_json(kSettingsFile, root);
}

bool md5_matches(const char* path, const char* expected) {
  char sum[kMd5Size] = {};
  if (calculateFileMd5(path, sum) != 0) return false;
  return std::strcmp(sum, expected) == 0;
}

bool file_size(const char* path, long& size) {
  struct stat st {};
  if (stat(path, &st) != 0) return false;
  size = static_cast<long>(st.st_size);
  return true;
}

}  // namespace

std::string subject_field(const char* line, const char* label) {
  const char* at = std::strstr(line, label);
  if (at == nullptr) return {};
  at += std::strlen(label);
  const size_t n = std::strcspn(at, ",\n\r");
  return std::string(at, std::min(n, kCertTextMax));
}

std::string end_date(const char* line) {
  const char* at = std::strstr(line, "notAfter=");
  if (at == nullptr) return {};
  at += std::strlen("notAfter=");
  const size_t n = std::strcspn(at, "\n\r");
  return std::string(at, std::min(n, kCertTextMax));
}

}  // namespace phonecore::provision

namespace provision = phonecore::provision;
using namespace provision;

extern "C" int auto_update_get_config_upgrade(void) noexcept {
  const json::Owned root(read_gnl_config_json(kSettingsFile));
  if (root == nullptr) {
    std::printf("%s, %d, tolk_provision read settinglist failed\n", __func__, __LINE__);
    return -10;
  }
  json_object* section = json::at(root.get(), kSection);
  copy_member(section, "AutoProvisionUpgradeURL", ap_cfg.AutoProvisionUpgradeURL);
  copy_member(section, "AutoProvisionUpgradeMd5", ap_cfg.AutoProvisionUpgradeMd5);
  ap_cfg.AutoProvisionUpgradeEnable = json::integer(section, "AutoProvisionUpgradeEnable");
  reset_top_level(root.get(), "AutoProvisionUpgradeEnable");

  const int need = ap_cfg.AutoProvisionUpgradeURL[0] != '\0' && ap_cfg.AutoProvisionUpgradeMd5[0] != '\0' &&
                   ap_cfg.AutoProvisionUpgradeEnable != 0;
  if (need != 0) ap_cfg.AutoProvisionUpgradeEnable = 0;
  std::printf("%s, %d,need_to_upgrade = %d, AutoProvisionUpgradeURL = %s, md5 = %s\n", __func__, __LINE__, need,
              ap_cfg.AutoProvisionUpgradeURL, ap_cfg.AutoProvisionUpgradeMd5);
  if (need == 0) return 0;

  sleep(2);
  for (const CleanStep& step : kClean) {
    if (step.shell != nullptr) shell(step.shell);
    if (step.call != nullptr) step.call();
    if (step.pause_us > 0) usleep(step.pause_us);
  }

  bool started = false;
  long size = 0;
  if (vorn_net_download(ap_cfg.AutoProvisionUpgradeURL, kUpgradeData, ap_cfg.AutoProvisionUser,
                        ap_cfg.AutoProvisionPassword, kTransferTimeout, 0, nullptr) != 1) {
    std::printf("%s, %d, download failed\n", __func__, __LINE__);
  } else if (!file_size(kUpgradeData, size)) {
    std::printf("%s, %d, %s file not exist\n", __func__, __LINE__, kUpgradeData);
  } else if (!md5_matches(kUpgradeData, ap_cfg.AutoProvisionUpgradeMd5)) {
    std::printf("md5 check failed!!\n");
  } else {
    std::printf("md5 check ok!!\n");
    const json::Owned system(read_gnl_config_json("system.cfg"));
    if (system == nullptr) {
      std::printf("system.cfg open error!\n");
    } else {
      char size_text[32];
      std::snprintf(size_text, sizeof size_text, "%ld", size);
      json::set_creating(system.get(), "md5", json::new_text(ap_cfg.AutoProvisionUpgradeMd5), "version");
      json::set_creating(system.get(), "file_size", json::new_text(size_text), "version");
      write_gnl_config_json("system.cfg", system.get());
      started = true;
    }
  }
  if (started) shell_format("mv %s %s", kUpgradeData, kUpgradeImage);
  else shell_format("rm -rf %s", kUpgradeData);
  return 0;
}

extern "C" int crt_validate_proc(const char* name, const char* md5) noexcept {
  if (name == nullptr) return CRT_NO_SUBJECT;
  if (md5 == nullptr) md5 = "";
  int code = CRT_FILED;
  char answer[POPEN_CMD_GETSTR_SIZE] = {};
  char query[kCommandSize + 64];
  std::string cn, organisation, valid_until;

  std::snprintf(query, sizeof query, kSubjectQuery, name);
  popen_get_parm(query, answer);
  if (answer[0] == '\0') {
    code = CRT_NO_SUBJECT;
  } else {
    // Neither field is tied to its place in the line.
    cn = subject_field(answer, "CN = ");
    organisation = subject_field(answer, "O = ");
    usleep(10000);
    std::memset(answer, 0, sizeof answer);
    std::snprintf(query, sizeof query, kEndDateQuery, name);
    popen_get_parm(query, answer);
    if (answer[0] == '\0') code = CRT_NO_END_DATE;
    else valid_until = end_date(answer);
  }
  if (code != CRT_FILED) {
    shell_format("rm -rf /tmp/%s", name);
    return code;
  }
  usleep(10000);

  {
    const json::Owned security(read_gnl_config_json(kSecurityFile));
    json_object* list = json::array(security.get(), kTrustedCert, kTrustedList);
    // Without a list the certificate is filed all the same, not listed.
    if (list != nullptr) {
      const size_t count = json::length(list);
      if (count >= kMaxTrusted) code = CRT_LIST_FULL;
      for (size_t i = 0; i < count && code == CRT_FILED; ++i) {
        json_object* e = json::element(list, i);
        const char* f = json::text(e, "filename");
        const char* m = json::text(e, "md5");
        if ((f != nullptr && std::strcmp(f, name) == 0) || (m != nullptr && std::strcmp(m, md5) == 0))
          code = CRT_ALREADY_LISTED;
      }
      if (code != CRT_FILED) {
        shell_format("rm -rf /tmp/%s", name);
        return code;
      }
      json_object_array_add(list, json::Builder()
                                      .text("filename", name)
                                      .text("md5", md5)
                                      .integer("key", static_cast<int>(count) + 1)
                                      .integer("delete", 0)
                                      .text("banfagei", cn.c_str())
                                      .text("banfazhe", organisation.c_str())
                                      .text("youxiaoqi", valid_until.c_str())
                                      .release());
      write_gnl_config_json(kSecurityFile, security.get());
      usleep(100000);
    }
  }

  shell_format("mv /tmp/%s /appconfigs/tls_ca/%s", name, name);
  usleep(10000);

  // The bundle again from the whole list, in list order: only index 0
  // starts it afresh.
  const json::Owned security(read_gnl_config_json(kSecurityFile));
  json_object* list = json::array(security.get(), kTrustedCert, kTrustedList);
  for (size_t i = 0; i < json::length(list); ++i) {
    const char* f = json::text(json::element(list, i), "filename");
    if (f == nullptr) continue;
    shell_format(i == 0 ? "cat /appconfigs/tls_ca/%s > /appconfigs/quorbit.ca"
                        : "cat /appconfigs/tls_ca/%s >> /appconfigs/quorbit.ca",
                 f);
    usleep(10000);
  }
  return code;
}

extern "C" int auto_update_get_tls_crt(void) noexcept {
  const json::Owned root(read_gnl_config_json(kSettingsFile));
  if (root == nullptr) return -10;
  json_object* section = json::at(root.get(), kSection);
  copy_member(section, "AutoProvisionGetCrtURL", ap_cfg.AutoProvisionGetCrtURL);
  copy_member(section, "AutoProvisionGetCrtMd5", ap_cfg.AutoProvisionGetCrtMd5);
  copy_member(section, "AutoProvisionGetCrtName", ap_cfg.AutoProvisionGetCrtName);
  ap_cfg.AutoProvisionGetCrtEnable = json::integer(section, "AutoProvisionGetCrtEnable");
  reset_top_level(root.get(), "AutoProvisionGetCrtEnable");

  if (ap_cfg.AutoProvisionGetCrtURL[0] == '\0' || ap_cfg.AutoProvisionGetCrtMd5[0] == '\0' ||
      ap_cfg.AutoProvisionGetCrtEnable == 0)
    return 0;
  ap_cfg.AutoProvisionGetCrtEnable = 0;
  if (ap_cfg.AutoProvisionGetCrtName[0] == '\0')
    std::snprintf(ap_cfg.AutoProvisionGetCrtName, sizeof ap_cfg.AutoProvisionGetCrtName, "%s", kDefaultCrtName);

  sleep(1);
  usleep(300);
  long size = 0;
  const bool good = vorn_net_download(ap_cfg.AutoProvisionGetCrtURL, kCrtData, ap_cfg.AutoProvisionUser,
                                      ap_cfg.AutoProvisionPassword, kTransferTimeout, 0, nullptr) == 1 &&
                    file_size(kCrtData, size) && md5_matches(kCrtData, ap_cfg.AutoProvisionGetCrtMd5);
  if (good) {
    shell_format("mv %s /tmp/%s", kCrtData, ap_cfg.AutoProvisionGetCrtName);
    usleep(50);
    crt_validate_proc(ap_cfg.AutoProvisionGetCrtName, ap_cfg.AutoProvisionGetCrtMd5);
  } else {
    shell_format("rm -rf %s", kCrtData);
  }
  return 0;
}

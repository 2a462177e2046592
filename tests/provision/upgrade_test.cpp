// The firmware and certificate steps of a provisioning run in the box:
// images and certificates from the box's FTP server, certificates made by
// openssl for each test, the device's cleaning, system.cfg, the trusted
// list of default/security.cfg, /appconfigs/tls_ca and the bundle.
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "phonecore/config.h"
#include "phonecore/provision.h"
#include "support/calls_log.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/printed.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::calls_log;
using phonecore::testing::exists;
using phonecore::testing::printed_by;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

const char* kSettings = "default/settinglist.cfg";
const char* kSecurity = "default/security.cfg";

// The first line a shell command prints.
std::string shell_line(const std::string& command) {
  FILE* p = popen(command.c_str(), "r");
  if (p == nullptr) return {};
  char buf[512] = {};
  if (fgets(buf, sizeof buf, p) == nullptr) buf[0] = '\0';
  pclose(p);
  std::string line = buf;
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return line;
}

std::string md5_of(const std::string& path) { return shell_line("md5sum " + path + " | cut -d' ' -f1"); }

// A self-signed certificate with this subject ("/C=CN/O=x/CN=y").
std::string make_certificate(const std::string& path, const std::string& subject) {
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "
      "/tmp/cert.key -out " +
      path + " -days 30 -subj '" + subject + "' 2>/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return slurp(path);
}

// One of the box's test certificates (/srv/prov), put where the
// validation looks for it.
std::string box_certificate(const std::string& name) {
  const std::string bytes = slurp("/srv/prov/" + name);
  EXPECT_FALSE(bytes.empty()) << "/srv/prov/" << name;
  put_file("/tmp/" + name, bytes);
  return bytes;
}

std::string end_date_of(const std::string& path) {
  const std::string line = shell_line("openssl x509 -noout -enddate -in " + path);
  return line.substr(line.find('=') + 1);
}

// Sets members of the provisioning section (texts or integers as given).
void set_section(const std::vector<std::pair<const char*, json_object*>>& members) {
  json_object* root = read_gnl_config_json(kSettings);
  ASSERT_NE(root, nullptr);
  json_object* section = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "SettingAutoProvision", &section));
  for (const auto& [k, v] : members) json_object_object_add(section, k, v);
  write_gnl_config_json(kSettings, root);
  json_object_put(root);
}

std::string member_text(const char* file, const std::vector<const char*>& path) {
  json_object* root = read_gnl_config_json(file);
  json_object* o = root;
  for (const char* k : path)
    if (o == nullptr || !json_object_object_get_ex(o, k, &o)) o = nullptr;
  std::string out = o == nullptr ? "<absent>" : json_object_get_string(o);
  json_object_put(root);
  return out;
}

json_object* trusted_list() {
  json_object* root = read_gnl_config_json(kSecurity);
  json_object* cert = nullptr;
  json_object* list = nullptr;
  if (root != nullptr && json_object_object_get_ex(root, "SecurityTrustedCert", &cert) &&
      json_object_object_get_ex(cert, "child_security_trusted_cert_list", &list))
    json_object_get(list);
  json_object_put(root);
  return list;
}

std::string text_of(json_object* element, const char* key) {
  json_object* v = nullptr;
  return json_object_object_get_ex(element, key, &v) ? json_object_get_string(v) : "<absent>";
}

class Upgrade : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(factory_.restore());
    std::memset(&ap_cfg, 0, sizeof ap_cfg);
    std::snprintf(ap_cfg.AutoProvisionUser, sizeof ap_cfg.AutoProvisionUser, "phone");
    std::snprintf(ap_cfg.AutoProvisionPassword, sizeof ap_cfg.AutoProvisionPassword, "secret");
    for (const char* f :
         {"/tmp/uploading", "/tmp/download.bin", "/tmp/AutoProvisionUpgrade.data", "/appconfigs/quorbit.ca"})
      unlink(f);
    std::system("rm -f /appconfigs/tls_ca/*");
    put_file("/run/phonebox/calls.log", "");
  }
  void TearDown() override { std::memset(&ap_cfg, 0, sizeof ap_cfg); }

  phonecore::testing::FactoryFiles factory_{"system.cfg", "default/settinglist.cfg", "default/security.cfg"};

  // The step's standard output and result.
  template <typename F>
  std::string printed(F&& f, int& result) {
    return printed_by([&] { result = f(); });
  }
};

// --- firmware ------------------------------------------------------------

TEST_F(Upgrade, NothingOrderedWritesTheTopLevelMemberOnly) {
  int result = -1;
  const std::string out = printed([] { return auto_update_get_config_upgrade(); }, result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("need_to_upgrade = 0"), std::string::npos) << out;
  EXPECT_EQ(member_text(kSettings, {"AutoProvisionUpgradeEnable"}), "0");
  EXPECT_FALSE(exists("/tmp/uploading"));
}

// Enable set but no MD5: no cleaning, no download, and still the member
// beside the sections is written while the section's own stays.
TEST_F(Upgrade, AnEmptyMd5OrdersNothing) {
  set_section({{"AutoProvisionUpgradeEnable", json_object_new_int(1)},
               {"AutoProvisionUpgradeURL", json_object_new_string("ftp://127.0.0.1:2121/fw.bin")},
               {"AutoProvisionUpgradeMd5", json_object_new_string("")}});
  EXPECT_EQ(auto_update_get_config_upgrade(), 0);
  EXPECT_FALSE(exists("/tmp/uploading"));
  EXPECT_EQ(member_text(kSettings, {"AutoProvisionUpgradeEnable"}), "0");
  EXPECT_EQ(member_text(kSettings, {"SettingAutoProvision", "AutoProvisionUpgradeEnable"}), "1");
  EXPECT_EQ(ap_cfg.AutoProvisionUpgradeEnable, 1);
  EXPECT_TRUE(calls_log("killall").empty());
}

TEST_F(Upgrade, AGoodImageIsRecordedAndHandedToTheUpgrader) {
  std::string image(100000, '\0');
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i * 7);
  put_file("/srv/ftp/fw.bin", image);
  const std::string sum = md5_of("/srv/ftp/fw.bin");
  set_section({{"AutoProvisionUpgradeEnable", json_object_new_int(1)},
               {"AutoProvisionUpgradeURL", json_object_new_string("ftp://127.0.0.1:2121/fw.bin")},
               {"AutoProvisionUpgradeMd5", json_object_new_string(sum.c_str())}});
  for (const char* f :
       {"/tmp/a.txt", "/tmp/b.log", "/tmp/zkphone.log.1", "/tmp/c.pcap", "/tmp/sip_trace.1", "/tmp/keep.bin"})
    put_file(f, "x");
  // A leftover of an earlier failed fetch is not resumed.
  put_file("/tmp/AutoProvisionUpgrade.data", "stale");

  int result = -1;
  const std::string out = printed([] { return auto_update_get_config_upgrade(); }, result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("need_to_upgrade = 1, AutoProvisionUpgradeURL = ftp://127.0.0.1:2121/fw.bin, md5 = " + sum),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("md5 check ok!!"), std::string::npos);
  EXPECT_EQ(ap_cfg.AutoProvisionUpgradeEnable, 0);

  EXPECT_EQ(slurp("/tmp/download.bin"), image);
  EXPECT_FALSE(exists("/tmp/AutoProvisionUpgrade.data"));
  EXPECT_EQ(member_text("system.cfg", {"version", "md5"}), sum);
  EXPECT_EQ(member_text("system.cfg", {"version", "file_size"}), "100000");

  // The cleaning: marker, telnet and SSH off, the log off, the tools and
  // diagnostics killed, /tmp cleared of what the device can spare.
  EXPECT_TRUE(exists("/tmp/uploading"));
  EXPECT_EQ(member_text("system.cfg", {"systeminfo", "telnet_type"}), "0");
  EXPECT_EQ(member_text(kSettings, {"SettingConfiguration", "LocalLogSwitch"}), "0");
  const auto killed = calls_log("killall");
  for (const char* line : {"killall -9 cat", "killall tcpdump", "killall -9 tcpdump", "killall -9 zk_cwmp"})
    EXPECT_NE(std::find(killed.begin(), killed.end(), line), killed.end()) << line;
  for (const char* f : {"/tmp/a.txt", "/tmp/b.log", "/tmp/zkphone.log.1", "/tmp/c.pcap", "/tmp/sip_trace.1"})
    EXPECT_FALSE(exists(f)) << f;
  EXPECT_TRUE(exists("/tmp/keep.bin"));
  unlink("/tmp/keep.bin");
  unlink("/srv/ftp/fw.bin");
}

// The sum is compared as text: upper case fails.
TEST_F(Upgrade, AnUpperCaseSumFailsAndTheDownloadGoes) {
  put_file("/srv/ftp/fw.bin", "image bytes");
  std::string sum = md5_of("/srv/ftp/fw.bin");
  std::transform(sum.begin(), sum.end(), sum.begin(), ::toupper);
  set_section({{"AutoProvisionUpgradeEnable", json_object_new_int(1)},
               {"AutoProvisionUpgradeURL", json_object_new_string("ftp://127.0.0.1:2121/fw.bin")},
               {"AutoProvisionUpgradeMd5", json_object_new_string(sum.c_str())}});
  int result = -1;
  const std::string out = printed([] { return auto_update_get_config_upgrade(); }, result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("md5 check failed!!"), std::string::npos) << out;
  EXPECT_FALSE(exists("/tmp/download.bin"));
  EXPECT_FALSE(exists("/tmp/AutoProvisionUpgrade.data"));
  EXPECT_EQ(member_text("system.cfg", {"version", "md5"}), "<absent>");
  unlink("/srv/ftp/fw.bin");
}

// The cleaning came before the fetch and stays.
TEST_F(Upgrade, AFailedFetchLeavesTheDeviceCleaned) {
  set_section({{"AutoProvisionUpgradeEnable", json_object_new_int(1)},
               {"AutoProvisionUpgradeURL", json_object_new_string("ftp://127.0.0.1:2121/absent.bin")},
               {"AutoProvisionUpgradeMd5", json_object_new_string("0123456789abcdef0123456789abcdef")}});
  int result = -1;
  const std::string out = printed([] { return auto_update_get_config_upgrade(); }, result);
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("download failed"), std::string::npos) << out;
  EXPECT_FALSE(exists("/tmp/download.bin"));
  EXPECT_FALSE(exists("/tmp/AutoProvisionUpgrade.data"));
  EXPECT_TRUE(exists("/tmp/uploading"));
  EXPECT_FALSE(calls_log("killall -9 zk_cwmp").empty());
}

// --- certificates ----------------------------------------------------------

TEST_F(Upgrade, ACertificateIsListedFiledAndBundled) {
  const std::string cert = make_certificate("/srv/ftp/ca1.crt", "/C=CN/O=Quorbit Test/CN=prov.example");
  const std::string sum = md5_of("/srv/ftp/ca1.crt");
  set_section({{"AutoProvisionGetCrtEnable", json_object_new_int(1)},
               {"AutoProvisionGetCrtURL", json_object_new_string("ftp://127.0.0.1:2121/ca1.crt")},
               {"AutoProvisionGetCrtMd5", json_object_new_string(sum.c_str())},
               {"AutoProvisionGetCrtName", json_object_new_string("ca1.crt")}});
  EXPECT_EQ(auto_update_get_tls_crt(), 0);
  EXPECT_EQ(member_text(kSettings, {"AutoProvisionGetCrtEnable"}), "0");
  EXPECT_EQ(member_text(kSettings, {"SettingAutoProvision", "AutoProvisionGetCrtEnable"}), "1");

  json_object* list = trusted_list();
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(json_object_array_length(list), 1u);
  json_object* e = json_object_array_get_idx(list, 0);
  EXPECT_EQ(text_of(e, "filename"), "ca1.crt");
  EXPECT_EQ(text_of(e, "md5"), sum);
  EXPECT_EQ(text_of(e, "key"), "1");
  EXPECT_EQ(text_of(e, "delete"), "0");
  EXPECT_EQ(text_of(e, "banfagei"), "prov.example");
  EXPECT_EQ(text_of(e, "banfazhe"), "Quorbit Test");
  EXPECT_EQ(text_of(e, "youxiaoqi"), end_date_of("/srv/ftp/ca1.crt"));
  json_object* key = nullptr;
  json_object_object_get_ex(e, "key", &key);
  EXPECT_TRUE(json_object_is_type(key, json_type_int));
  json_object_put(list);

  EXPECT_EQ(slurp("/appconfigs/tls_ca/ca1.crt"), cert);
  EXPECT_EQ(slurp("/appconfigs/quorbit.ca"), cert);
  EXPECT_FALSE(exists("/tmp/ca1.crt"));
  EXPECT_FALSE(exists("/tmp/AutoProvisionGetCrt.data"));
  unlink("/srv/ftp/ca1.crt");
}

TEST_F(Upgrade, AnEmptyNameFilesTheCertificateAsTmp001) {
  make_certificate("/srv/ftp/noname.crt", "/CN=noname");
  const std::string sum = md5_of("/srv/ftp/noname.crt");
  set_section({{"AutoProvisionGetCrtEnable", json_object_new_int(1)},
               {"AutoProvisionGetCrtURL", json_object_new_string("ftp://127.0.0.1:2121/noname.crt")},
               {"AutoProvisionGetCrtMd5", json_object_new_string(sum.c_str())},
               {"AutoProvisionGetCrtName", json_object_new_string("")}});
  EXPECT_EQ(auto_update_get_tls_crt(), 0);
  EXPECT_STREQ(ap_cfg.AutoProvisionGetCrtName, "tmp001.crt");
  EXPECT_TRUE(exists("/appconfigs/tls_ca/tmp001.crt"));
  unlink("/srv/ftp/noname.crt");
}

TEST_F(Upgrade, AWrongSumRemovesTheDownloadAndListsNothing) {
  make_certificate("/srv/ftp/bad.crt", "/CN=bad");
  set_section({{"AutoProvisionGetCrtEnable", json_object_new_int(1)},
               {"AutoProvisionGetCrtURL", json_object_new_string("ftp://127.0.0.1:2121/bad.crt")},
               {"AutoProvisionGetCrtMd5", json_object_new_string("00000000000000000000000000000000")},
               {"AutoProvisionGetCrtName", json_object_new_string("bad.crt")}});
  EXPECT_EQ(auto_update_get_tls_crt(), 0);
  EXPECT_FALSE(exists("/tmp/AutoProvisionGetCrt.data"));
  EXPECT_FALSE(exists("/appconfigs/tls_ca/bad.crt"));
  json_object* list = trusted_list();
  EXPECT_EQ(json_object_array_length(list), 0u);
  json_object_put(list);
  unlink("/srv/ftp/bad.crt");
}

TEST_F(Upgrade, APlainCertificateIsFiledWithItsFields) {
  const std::string cert = box_certificate("plain.crt");
  EXPECT_EQ(crt_validate_proc("plain.crt", "m0"), CRT_FILED);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 1u);
  json_object* e = json_object_array_get_idx(list, 0);
  EXPECT_EQ(text_of(e, "banfagei"), "plain");
  EXPECT_EQ(text_of(e, "banfazhe"), "Quorbit Test");
  EXPECT_EQ(text_of(e, "youxiaoqi"), end_date_of("/srv/prov/plain.crt"));
  json_object_put(list);
  EXPECT_EQ(slurp("/appconfigs/tls_ca/plain.crt"), cert);
}

// Nothing looks at the end date but to copy it: a certificate that ended
// in 2020 is filed like any other.
TEST_F(Upgrade, AnExpiredCertificateIsAccepted) {
  const std::string cert = box_certificate("expired.crt");
  EXPECT_EQ(crt_validate_proc("expired.crt", "m7"), CRT_FILED);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 1u);
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfagei"), "expired");
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "youxiaoqi"), "Jan  2 00:00:00 2020 GMT");
  json_object_put(list);
  EXPECT_EQ(slurp("/appconfigs/tls_ca/expired.crt"), cert);
  EXPECT_EQ(slurp("/appconfigs/quorbit.ca"), cert);
}

// Each field is found wherever it stands in the subject line.
TEST_F(Upgrade, TheOrganisationMayComeFirst) {
  box_certificate("ofirst.crt");
  EXPECT_EQ(crt_validate_proc("ofirst.crt", "m1"), CRT_FILED);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 1u);
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfagei"), "ofirst");
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfazhe"), "Org First");
  json_object_put(list);
}

// openssl quotes a common name that holds a comma; the reading stops at
// the comma all the same.
TEST_F(Upgrade, ACommonNameWithACommaIsCutAtIt) {
  box_certificate("comma.crt");
  EXPECT_EQ(crt_validate_proc("comma.crt", "m2"), CRT_FILED);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 1u);
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfagei"), "\"prov");
  json_object_put(list);
}

// "C = CN" passes "grep CN" though there is no common name.
TEST_F(Upgrade, ACountryOfCnPassesWithoutACommonName) {
  box_certificate("country.crt");
  EXPECT_EQ(crt_validate_proc("country.crt", "m3"), CRT_FILED);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 1u);
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfagei"), "");
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfazhe"), "");
  json_object_put(list);
}

// The answer is cut at 127 characters before the search: a common name
// behind a long organisation is lost.
TEST_F(Upgrade, ASubjectLongerThan127LosesItsTail) {
  // openssl takes at most 64 characters a field: two long fields it is
  // (O of 60 'o', OU of 60 'u', CN "lost").
  box_certificate("long.crt");
  EXPECT_EQ(crt_validate_proc("long.crt", "m4"), CRT_FILED);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 1u);
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfagei"), "");
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 0), "banfazhe"), std::string(60, 'o'));
  json_object_put(list);
}

TEST_F(Upgrade, NotACertificateGivesCode3AndIsRemoved) {
  box_certificate("junk.crt");
  EXPECT_EQ(crt_validate_proc("junk.crt", "m5"), CRT_NO_SUBJECT);
  EXPECT_FALSE(exists("/tmp/junk.crt"));
  EXPECT_FALSE(exists("/appconfigs/tls_ca/junk.crt"));
}

// An openssl that tells the subject but no end date.
TEST_F(Upgrade, NoEndDateGivesCode4) {
  ASSERT_EQ(std::system("mkdir -p /tmp/fakebin && printf '#!/bin/sh\\n"
                        "case \"$*\" in *-text*) echo \"        Subject: CN = fake\" ;; esac\\n' > "
                        "/tmp/fakebin/openssl && chmod +x /tmp/fakebin/openssl"),
            0);
  put_file("/tmp/fake.crt", "x");
  const std::string path = getenv("PATH");
  setenv("PATH", ("/tmp/fakebin:" + path).c_str(), 1);
  const int code = crt_validate_proc("fake.crt", "m6");
  setenv("PATH", path.c_str(), 1);
  EXPECT_EQ(code, CRT_NO_END_DATE);
  EXPECT_FALSE(exists("/tmp/fake.crt"));
}

TEST_F(Upgrade, TheSameSumOrTheSameNameIsRefusedWithCode6) {
  const std::string first = make_certificate("/tmp/one.crt", "/CN=one");
  ASSERT_EQ(crt_validate_proc("one.crt", "sum-one"), CRT_FILED);
  make_certificate("/tmp/two.crt", "/CN=two");
  EXPECT_EQ(crt_validate_proc("two.crt", "sum-one"), CRT_ALREADY_LISTED);
  EXPECT_FALSE(exists("/tmp/two.crt"));
  make_certificate("/tmp/one.crt", "/CN=one again");
  EXPECT_EQ(crt_validate_proc("one.crt", "sum-other"), CRT_ALREADY_LISTED);
  EXPECT_FALSE(exists("/tmp/one.crt"));
  EXPECT_EQ(slurp("/appconfigs/tls_ca/one.crt"), first);
  EXPECT_EQ(slurp("/appconfigs/quorbit.ca"), first);
}

// The list holds five; the sixth goes whatever its name, and list and
// bundle stay. The keys follow the length; the bundle follows the list.
TEST_F(Upgrade, ASixthCertificateIsRefusedWithCode2) {
  std::string bundle;
  for (int i = 1; i <= 5; ++i) {
    const std::string name = "c" + std::to_string(i) + ".crt";
    bundle += make_certificate("/tmp/" + name, "/CN=c" + std::to_string(i));
    ASSERT_EQ(crt_validate_proc(name.c_str(), ("sum" + std::to_string(i)).c_str()), CRT_FILED);
  }
  EXPECT_EQ(slurp("/appconfigs/quorbit.ca"), bundle);
  json_object* list = trusted_list();
  ASSERT_EQ(json_object_array_length(list), 5u);
  EXPECT_EQ(text_of(json_object_array_get_idx(list, 4), "key"), "5");
  json_object_put(list);

  make_certificate("/tmp/c6.crt", "/CN=c6");
  EXPECT_EQ(crt_validate_proc("c6.crt", "sum6"), CRT_LIST_FULL);
  EXPECT_FALSE(exists("/tmp/c6.crt"));
  EXPECT_FALSE(exists("/appconfigs/tls_ca/c6.crt"));
  EXPECT_EQ(slurp("/appconfigs/quorbit.ca"), bundle);
}

// Without the list the certificate is filed all the same, not listed, and
// the bundle is left as it was.
TEST_F(Upgrade, AMissingListStillFilesTheCertificate) {
  json_object* empty = json_object_new_object();
  write_gnl_config_json(kSecurity, empty);
  json_object_put(empty);
  put_file("/appconfigs/quorbit.ca", "old bundle");
  const std::string cert = make_certificate("/tmp/orphan.crt", "/CN=orphan");
  EXPECT_EQ(crt_validate_proc("orphan.crt", "m7"), CRT_FILED);
  EXPECT_EQ(slurp("/appconfigs/tls_ca/orphan.crt"), cert);
  EXPECT_EQ(slurp("/appconfigs/quorbit.ca"), "old bundle");
}

}  // namespace

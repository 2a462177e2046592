/* A provisioning run of a phone process, narrated: the provisioning
 * server is the box's FTP server, which holds the phone's configuration
 * file, a CA certificate and a firmware image that the settings order.
 * The run fetches the file, installs it, waits out a call, has the
 * configuration service take it up, tells every process to reload (a
 * listener prints the broadcasts with their times), and ends with the
 * certificate and the firmware. */
#include <json-c/json.h>
#include <phonecore/bus_client.h>
#include <phonecore/config.h>
#include <phonecore/md5.h>
#include <phonecore/net_transfer.h>
#include <phonecore/provision.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

/* The library traces to standard output as on the phone; the narration
 * goes to standard error so that the two can be told apart. */
#define SAY(...) fprintf(stderr, __VA_ARGS__)

static struct timespec g_start;

static double seconds_since_start(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)(now.tv_sec - g_start.tv_sec) + (double)(now.tv_nsec - g_start.tv_nsec) / 1e9;
}

/* Command broadcasts (kind 3) reach every session: print each with its time. */
static int on_packet(uint16_t source, uint16_t msgtype, void *packet, uint32_t length) {
  const BusPacket *p = (const BusPacket *)packet;
  (void)source;
  if (length >= BUS_PACKET_HEADER_SIZE && p->kind == 3)
    SAY("   [bus %6.3f s] broadcast msgtype %u: %.*s\n", seconds_since_start(), msgtype, (int)p->length,
        (const char *)p->data);
  return 0;
}

static void put(const char *path, const char *text) {
  FILE *f = fopen(path, "w");
  if (f == NULL) return;
  fputs(text, f);
  fclose(f);
}

static const char *member(json_object *root, const char *section, const char *key) {
  json_object *s = NULL, *v = NULL;
  if (section != NULL && !json_object_object_get_ex(root, section, &s)) return "(none)";
  if (!json_object_object_get_ex(section != NULL ? s : root, key, &v)) return "(none)";
  return json_object_get_string(v);
}

/* Orders in the settings what the server offers. */
static void order(const char *crt_md5, const char *fw_md5) {
  AutoProvisionSetting s;
  memset(&s, 0, sizeof s);
  getSettingAutoProvision(&s);
  snprintf(s.AutoProvisionServerURL, sizeof s.AutoProvisionServerURL, "ftp://127.0.0.1:2121/prov");
  snprintf(s.AutoProvisionUser, sizeof s.AutoProvisionUser, "phone");
  snprintf(s.AutoProvisionPassword, sizeof s.AutoProvisionPassword, "secret");
  snprintf(s.AutopRetryDelay, sizeof s.AutopRetryDelay, "30");
  setSettingAutoProvision(&s);

  json_object *root = read_gnl_config_json("default/settinglist.cfg");
  json_object *section = NULL;
  if (root == NULL || !json_object_object_get_ex(root, "SettingAutoProvision", &section)) return;
  json_object_object_add(section, "AutoProvisionGetCrtEnable", json_object_new_int(1));
  json_object_object_add(section, "AutoProvisionGetCrtURL",
                         json_object_new_string("ftp://127.0.0.1:2121/prov/box-ca.crt"));
  json_object_object_add(section, "AutoProvisionGetCrtMd5", json_object_new_string(crt_md5));
  json_object_object_add(section, "AutoProvisionGetCrtName", json_object_new_string("box-ca.crt"));
  json_object_object_add(section, "AutoProvisionUpgradeEnable", json_object_new_int(1));
  json_object_object_add(section, "AutoProvisionUpgradeURL",
                         json_object_new_string("ftp://127.0.0.1:2121/prov/firmware.bin"));
  json_object_object_add(section, "AutoProvisionUpgradeMd5", json_object_new_string(fw_md5));
  write_gnl_config_json("default/settinglist.cfg", root);
  json_object_put(root);
}

static void *call_ends(void *unused) {
  (void)unused;
  sleep(7);
  put("/tmp/call_check.txt", "0");
  SAY("   [call %6.3f s] the call ends\n", seconds_since_start());
  return NULL;
}

int main(void) {
  char crt_md5[33] = "", fw_md5[33] = "";
  clock_gettime(CLOCK_MONOTONIC, &g_start);

  SAY("== The provisioning server (the box's FTP server) offers a phone.cfg, a CA certificate and a firmware image\n");
  mkdir("/srv/ftp/prov", 0755);
  put("/srv/ftp/prov/001a2b3c4d5e.cfg", "#!version:1.0.0.1\nStatic.Network.Vlan.Wan.Vid = 20\n");
  if (system("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout /tmp/ca.key "
             "-out /srv/ftp/prov/box-ca.crt -days 365 -subj '/C=CN/O=Phone Box/CN=box provisioning CA' "
             "2>/dev/null") != 0)
    SAY("   openssl could not make the certificate\n");
  put("/srv/ftp/prov/firmware.bin", "firmware image 2.0.1\n");
  calculateFileMd5("/srv/ftp/prov/box-ca.crt", crt_md5);
  calculateFileMd5("/srv/ftp/prov/firmware.bin", fw_md5);
  SAY("   certificate md5 %s, firmware md5 %s\n", crt_md5, fw_md5);

  SAY("== The settings name the server and order both\n");
  order(crt_md5, fw_md5);
  if (auto_update_get_config() != 0) {
    SAY("   the settings can't be read\n");
    return 1;
  }
  SAY("   server %s as %s, stall limit %d s\n", ap_cfg.AutoProvisionServerURL, ap_cfg.AutoProvisionUser,
      ap_cfg.AutopRetryDelay);

  SAY("== A listener (bus id 1250) hears the run's broadcasts\n");
  MessageClient *listener = request_pc_connect(1250, 1, on_packet, "provision-demo");
  if (listener == NULL) SAY("   no session with the message server\n");

  SAY("== A call is going on (/tmp/call_check.txt says 1); it ends after 7 s\n");
  put("/tmp/call_check.txt", "1");
  pthread_t call;
  pthread_create(&call, NULL, call_ends, NULL);

  SAY("== The run: fetch, install, wait out the call, take-up, reload, certificate, firmware\n");
  uint32_t ticks = 1000;
  const int result = auto_update_download_proc("001a2b3c4d5e.cfg", &ticks);
  pthread_join(call, NULL);
  usleep(200000);
  SAY("   run result %d after %.1f s; the scheduler's clock went from 1000 to %u (+%u s of call guard)\n", result,
      seconds_since_start(), ticks, ticks - 1000);

  SAY("== What the run left\n");
  json_object *internet = read_gnl_config_json("default/internet.cfg");
  SAY("   /appconfigs/phone.cfg taken up: VLAN id %s\n", member(internet, "NetworkAdvanced", "VlanWanVid"));
  json_object_put(internet);
  SAY("   reload marker /tmp/autoprovision_config_update2: %s\n",
      access("/tmp/autoprovision_config_update2", F_OK) == 0 ? "present" : "absent");
  json_object *security = read_gnl_config_json("default/security.cfg");
  json_object *trusted = NULL, *list = NULL;
  if (json_object_object_get_ex(security, "SecurityTrustedCert", &trusted) &&
      json_object_object_get_ex(trusted, "child_security_trusted_cert_list", &list) &&
      json_object_array_length(list) > 0) {
    json_object *e = json_object_array_get_idx(list, 0);
    SAY("   trusted certificate %s: issued to \"%s\" of \"%s\", valid until %s\n", member(e, NULL, "filename"),
        member(e, NULL, "banfagei"), member(e, NULL, "banfazhe"), member(e, NULL, "youxiaoqi"));
  }
  json_object_put(security);
  struct stat st;
  SAY("   CA bundle /appconfigs/quorbit.ca: %lld bytes\n",
      stat("/appconfigs/quorbit.ca", &st) == 0 ? (long long)st.st_size : -1LL);
  json_object *system_cfg = read_gnl_config_json("system.cfg");
  SAY("   firmware for the upgrader: /tmp/download.bin %s, system.cfg version md5 %s, file_size %s\n",
      access("/tmp/download.bin", F_OK) == 0 ? "present" : "absent", member(system_cfg, "version", "md5"),
      member(system_cfg, "version", "file_size"));
  SAY("   cleaned before the fetch: telnet_type %s, /tmp/uploading %s\n",
      member(system_cfg, "systeminfo", "telnet_type"), access("/tmp/uploading", F_OK) == 0 ? "present" : "absent");
  json_object_put(system_cfg);

  SAY("== The same file by hand: vorn_net_download over FTP\n");
  SAY("   result %d\n", vorn_net_download("ftp://127.0.0.1:2121/prov/001a2b3c4d5e.cfg", "/tmp/again.cfg", "phone",
                                          "secret", 10, 0, NULL));
  if (listener != NULL) request_pc_disconnect(listener);
  return result == 1 ? 0 : 1;
}

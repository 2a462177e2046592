/* The phone.cfg format from a phone process, narrated: a batch of items
 * (account 2, VLAN 20, a dial-now rule, a line key, LDAP) read one by one
 * into the configuration files, one reload told to every process (a
 * listener prints the broadcasts with their times), and parts of the
 * configuration written back as text, with what doesn't come back as it
 * went in. */
#include <json-c/json.h>
#include <phonecore/bus_client.h>
#include <phonecore/config.h>
#include <phonecore/phonecfg.h>
#include <phonecore/phonecfg_export.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

/* The library traces to standard output as on the phone; the narration
 * goes to standard error so that the two can be told apart. */
#define SAY(...) fprintf(stderr, __VA_ARGS__)

static struct timespec g_start;

static double ms_since_start(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)(now.tv_sec - g_start.tv_sec) * 1e3 + (double)(now.tv_nsec - g_start.tv_nsec) / 1e6;
}

/* Command broadcasts (kind 3) reach every session: print each with its offset. */
static int on_packet(uint16_t source, uint16_t msgtype, void *packet, uint32_t length) {
  const BusPacket *p = (const BusPacket *)packet;
  (void)source;
  if (length >= BUS_PACKET_HEADER_SIZE && p->kind == 3)
    SAY("   [bus +%4.0f ms] msgtype %u: %.*s\n", ms_since_start(), msgtype, (int)p->length, (const char *)p->data);
  return 0;
}

/* A member below a path of object members and array indexes ("#0"). */
static const char *member_at(json_object *root, const char *const *path) {
  json_object *o = root;
  for (; *path != NULL && o != NULL; ++path) {
    json_object *next = NULL;
    if ((*path)[0] == '#') next = json_object_array_get_idx(o, (size_t)atoi(*path + 1));
    else if (!json_object_object_get_ex(o, *path, &next)) next = NULL;
    o = next;
  }
  return o != NULL ? json_object_get_string(o) : "(none)";
}

static void show(const char *file, const char *label, const char *const *path) {
  json_object *root = read_gnl_config_json(file);
  SAY("   %s: %s\n", label, member_at(root, path));
  json_object_put(root);
}

/* The answer to a read of these words, as the Action URI would send it. */
static void export_words(const char *const *words) {
  char word[PHONECFG_EXPORT_WORD_SIZE];
  set_cfg_header1("/tmp/phonecfg.ini");
  for (; *words != NULL; ++words) {
    snprintf(word, sizeof word, "%s", *words);
    strimp_shift_7(word);
    get_special_cfg(word);
    get_appoint_cfg(word);
  }
  merge_phonecfg();
  FILE *f = fopen("/tmp/phonecfg.ini", "r");
  char line[256];
  while (f != NULL && fgets(line, sizeof line, f) != NULL) SAY("   | %s", line);
  if (f != NULL) fclose(f);
}

int main(void) {
  clock_gettime(CLOCK_MONOTONIC, &g_start);
  static const char *const items[] = {
      "Account2.AccountEnable=1",
      "Account2.AccountUserName=1002",
      "Account2.AccountPassword=desk1002",
      "Account2.AccountDisplayName=Reception",
      "Account2.AccountLabel=Reception",
      "Account2.SIP1ServerAddr=127.0.0.1",
      "Account2.SIP1ServerAddrPort=5060",
      "Static.Network.Vlan.Wan.Enable=1",
      "Static.Network.Vlan.Wan.Vid=20",
      "Dialplan.Dial_now.Rule1=11[02]",
      "Dialplan.Dial_now.Account1=1",
      "LineKey3.Type=15",
      "LineKey3.Line=2",
      "LineKey3.Label=Front desk",
      "LDAP.Enable=1",
      "LDAP.Server=ldap.example.com",
      "LDAP.Port=389abc",
      NULL,
  };

  SAY("== A batch of phone.cfg items, each read and written through the configuration service\n");
  for (const char *const *item = items; *item != NULL; ++item) {
    const int result = my_dm_handle_value1(*item);
    SAY("   %-40s -> %d\n", *item, result);
  }
  static const char *const account2_user[] = {"AccountRegister", "#1", "AccountUserName", NULL};
  static const char *const vlan[] = {"NetworkAdvanced", "VlanWanVid", NULL};
  static const char *const rule[] = {"DialplanDialnow", "data", "#0", "RealTimeDialingRules", NULL};
  static const char *const key3[] = {"Hotkey_lineKey", "data", "#2", "Line", NULL};
  static const char *const ldap_port[] = {"MaillistLDAP", "LdapPort", NULL};
  show("default/voiplist.cfg", "account 2 user", account2_user);
  show("default/internet.cfg", "WAN VLAN id", vlan);
  show("default/settinglist.cfg", "first dial-now rule", rule);
  show("default/programing_key.cfg", "line key 3 \"Line\" (account 2, stored one lower)", key3);
  show("default/addresslist.cfg", "LDAP port (\"389abc\" passes as 389 and is kept whole)", ldap_port);

  SAY("== One reload for the batch; a listener (bus id 1251) hears it\n");
  MessageClient *listener = request_pc_connect(1251, 1, on_packet, "phonecfg-demo");
  if (listener == NULL) SAY("   no session with the message server\n");
  usleep(50000); /* the listener binds after the connect returns */
  clock_gettime(CLOCK_MONOTONIC, &g_start);
  const int reloaded = reload_all_phonecfg();
  usleep(300000);
  SAY("   reload_all_phonecfg -> %d after %.0f ms; /tmp/reloading says it is done\n", reloaded, ms_since_start());

  SAY("== Written back as text: the accounts, the forward settings, line key 3\n");
  static const char *const words[] = {"&accounts=1", "fw=1", "LineKey3.Line", "LDAP.Port", NULL};
  export_words(words);
  SAY("   (the no-answer forward prints its delay as \"Target\" and its target as \"Ringtimes\",\n"
      "    and line key 3's \"Line\" comes back one lower than it went in: text written back is not\n"
      "    always read in the same way)\n");
  if (listener != NULL) request_pc_disconnect(listener);
  return 0;
}

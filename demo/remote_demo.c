/* Remote control of a phone process, narrated: an Action URL template set
 * in the features file fires on an incoming call and lands in the box's
 * web server's access log; the Action URI server runs on its thread and a
 * PC (the curl tool) switches DND on, heard as a bus broadcast, and reads
 * the account settings, password and all, with nothing asked of it; last
 * a post to the box's recording HTTP peer and what the peer got. */
#include <json-c/json.h>
#include <phonecore/action_uri.h>
#include <phonecore/action_url.h>
#include <phonecore/bus_client.h>
#include <phonecore/config.h>
#include <phonecore/http_client.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* The library traces to standard output as on the phone; the narration
 * goes to standard error so that the two can be told apart. */
#define SAY(...) fprintf(stderr, __VA_ARGS__)

#define WEB "http://127.0.0.1:8080"
#define PHONE "http://127.0.0.1:8335"
#define PEER "http://127.0.0.1:18080"
#define ACCESS_LOG "/run/phonebox/lighttpd.access.log"

/* The command broadcasts heard by the listener's session, kept until the
 * narration shows them (the listener runs on a thread of its own). */
static pthread_mutex_t g_heard_lock = PTHREAD_MUTEX_INITIALIZER;
static char g_heard[8][256];
static int g_heard_count;

static int on_packet(uint16_t source, uint16_t msgtype, void *packet, uint32_t length) {
  const BusPacket *p = (const BusPacket *)packet;
  if (length < BUS_PACKET_HEADER_SIZE || p->kind != 3) return 0;
  pthread_mutex_lock(&g_heard_lock);
  if (g_heard_count < 8)
    snprintf(g_heard[g_heard_count++], sizeof g_heard[0], "from %u, msgtype %u, dest %u: %.*s", source, msgtype,
             p->dest, (int)p->length, (const char *)p->data);
  pthread_mutex_unlock(&g_heard_lock);
  return 0;
}

/* Shows what the listener heard within wait_ms, and forgets it. */
static void show_broadcasts(int wait_ms) {
  usleep((useconds_t)wait_ms * 1000);
  pthread_mutex_lock(&g_heard_lock);
  if (g_heard_count == 0) SAY("   [bus] no broadcast heard\n");
  for (int i = 0; i < g_heard_count; i++) SAY("   [bus] broadcast %s\n", g_heard[i]);
  g_heard_count = 0;
  pthread_mutex_unlock(&g_heard_lock);
}

/* A member of a section of default/function.cfg, as text. */
static void feature(const char *section, const char *key, char *out, size_t room) {
  snprintf(out, room, "(none)");
  json_object *root = read_gnl_config_json("default/function.cfg"), *s = NULL, *v = NULL;
  if (root != NULL && json_object_object_get_ex(root, section, &s) && json_object_object_get_ex(s, key, &v))
    snprintf(out, room, "%s", json_object_get_string(v));
  json_object_put(root);
}

/* Sets the incoming call's template and an address the Action URI server
 * is "limited" to, keeping the rest of the features file. */
static int set_templates(void) {
  json_object *root = read_gnl_config_json("default/function.cfg");
  if (root == NULL) return -1;
  json_object *urls = NULL, *remote = NULL;
  if (!json_object_object_get_ex(root, "FeatureActionURL", &urls)) {
    urls = json_object_new_object();
    json_object_object_add(root, "FeatureActionURL", urls);
  }
  json_object_object_add(urls, "AUIncomingCall",
                         json_object_new_string(WEB "/index.html?ev=AUIncomingCall&mac=$mac&remote=$remote&ip=$ip"));
  if (!json_object_object_get_ex(root, "FeatureRemote", &remote)) {
    remote = json_object_new_object();
    json_object_object_add(root, "FeatureRemote", remote);
  }
  json_object_object_add(remote, "AURILimitIP", json_object_new_string("10.9.8.7"));
  const int written = write_gnl_config_json("default/function.cfg", root);
  json_object_put(root);
  return written;
}

/* lighttpd holds its log lines a few seconds; a SIGHUP has them written. */
static int show_access_log(const char *text) {
  FILE *f = fopen("/run/phonebox/lighttpd.pid", "r");
  int pid = 0;
  if (f != NULL) {
    if (fscanf(f, "%d", &pid) == 1 && pid > 1) kill(pid, SIGHUP);
    fclose(f);
  }
  char line[1024];
  for (int i = 0; i < 500; i++) {
    FILE *log = fopen(ACCESS_LOG, "r");
    while (log != NULL && fgets(line, sizeof line, log) != NULL)
      if (strstr(line, text) != NULL) {
        SAY("   [lighttpd] %s", line);
        fclose(log);
        return 0;
      }
    if (log != NULL) fclose(log);
    usleep(10000);
  }
  SAY("   [lighttpd] no line with %s\n", text);
  return -1;
}

/* True once something listens on TCP port, by /proc/net/tcp. */
static int listening(unsigned port) {
  FILE *f = fopen("/proc/net/tcp", "r");
  char line[256];
  int found = 0;
  while (f != NULL && !found && fgets(line, sizeof line, f) != NULL) {
    unsigned local_port = 0, state = 0;
    if (sscanf(line, " %*d: %*x:%x %*x:%*x %x", &local_port, &state) == 2 && local_port == port && state == 0x0A)
      found = 1;
  }
  if (f != NULL) fclose(f);
  return found;
}

/* Runs a command as a PC would and shows what it printed, line by line
 * (a NUL byte is shown as \0). */
static void run_shown(const char *label, const char *command) {
  SAY("   [%s] $ %s\n", label, command);
  FILE *p = popen(command, "r");
  if (p == NULL) return;
  int c, at_start = 1;
  while ((c = fgetc(p)) != EOF) {
    if (at_start) SAY("   [%s] ", label);
    at_start = c == '\n';
    if (c == '\0') SAY("\\0");
    else if (c != '\r') fputc(c, stderr);
  }
  if (!at_start) SAY("\n");
  SAY("   [%s] exit status %d\n", label, pclose(p));
}

static size_t keep_reply(void *data, size_t size, size_t n, void *user) {
  char *reply = (char *)user;
  const size_t have = strlen(reply), bytes = size * n;
  const size_t take = bytes < 255 - have ? bytes : 255 - have;
  memcpy(reply + have, data, take);
  reply[have + take] = '\0';
  return bytes;
}

/* The recording peer's last record: method, target, headers, body. */
static void show_peer_record(void) {
  /* The peer writes its line when the connection is done: a moment after
   * the client has its answer. */
  static char line[65536], last[65536];
  last[0] = '\0';
  for (int i = 0; i < 100 && last[0] == '\0'; i++) {
    FILE *p = popen("pbctl control httppeer log", "r");
    while (p != NULL && fgets(line, sizeof line, p) != NULL)
      if (strstr(line, "\"/events") != NULL) snprintf(last, sizeof last, "%s", line);
    if (p != NULL) pclose(p);
    if (last[0] == '\0') usleep(20000);
  }
  json_object *record = json_tokener_parse(last), *v = NULL;
  if (record == NULL) {
    SAY("   [peer] no record\n");
    return;
  }
  const char *method = json_object_object_get_ex(record, "method", &v) ? json_object_get_string(v) : "";
  const char *target = json_object_object_get_ex(record, "target", &v) ? json_object_get_string(v) : "";
  SAY("   [peer] recorded %s %s\n", method, target);
  json_object *headers = NULL;
  if (json_object_object_get_ex(record, "headers", &headers))
    for (size_t i = 0; i < json_object_array_length(headers); i++) {
      json_object *pair = json_object_array_get_idx(headers, i);
      SAY("   [peer]   %s: %s\n", json_object_get_string(json_object_array_get_idx(pair, 0)),
          json_object_get_string(json_object_array_get_idx(pair, 1)));
    }
  SAY("   [peer] body %s\n", json_object_object_get_ex(record, "body", &v) ? json_object_get_string(v) : "");
  json_object_put(record);
}

int main(void) {
  SAY("== Action URL: default/function.cfg's \"FeatureActionURL\" holds a template for \"AUIncomingCall\"\n");
  if (set_templates() != 0) {
    SAY("   the features file can't be written\n");
    return 1;
  }
  update_all_action_arrary(action_event_url);
  SAY("   template: %s\n", WEB "/index.html?ev=AUIncomingCall&mac=$mac&remote=$remote&ip=$ip");
  fflush(stdout);
  const int fired = action_Incoming_Call("sip:1001@127.0.0.1", "1001", "127.0.0.1", "1001", "1002", "Desk 1001", "Bob",
                                         "c-42", "1002", "1001");
  fflush(stdout);
  SAY("   a call from 1002 comes in; the user interface calls action_Incoming_Call: %d\n", fired);
  SAY("   the box's web server (lighttpd, 127.0.0.1:8080) logged:\n");
  show_access_log("ev=AUIncomingCall");

  SAY("== The Action URI server (TCP 8335) starts on a thread of this process; a listener (bus id 1251) hears "
      "broadcasts\n");
  MessageClient *listener = request_pc_connect(1251, 1, on_packet, "remote-demo");
  if (listener == NULL) SAY("   no session with the message server\n");
  pthread_t server;
  if (pthread_create(&server, NULL, http_server, NULL) != 0) {
    SAY("   no thread for the server\n");
    return 1;
  }
  for (int i = 0; i < 500 && !listening(ACTION_URI_PORT); i++) usleep(10000);
  SAY("   listening on 8335: %s\n", listening(ACTION_URI_PORT) ? "yes" : "no");

  char dnd[32];
  feature("FeatureForwardDND", "DndStatus", dnd, sizeof dnd);
  SAY("== A PC presses DND on (the curl tool, like any program on the network); DndStatus before: %s\n", dnd);
  run_shown("curl", "curl -s '" PHONE "/servlet?key=DNDOn'");
  feature("FeatureForwardDND", "DndStatus", dnd, sizeof dnd);
  SAY("   DndStatus in default/function.cfg after: %s\n", dnd);
  show_broadcasts(300);

  SAY("== Any host may do this: no password is asked, and \"AURILimitIP\" (set to 10.9.8.7) is only logged;\n"
      "   a PC reads account 1's settings, its password in clear\n");
  run_shown("curl", "curl -s -g '" PHONE "/servlet?phonecfg=get[accounts=1][Account1.AccountPassword]'");

  SAY("== A post of the HTTP client (http_curl_post_*) to the box's recording HTTP peer (TCP 18080)\n");
  run_shown("pbctl", "pbctl control httppeer clear");
  struct curl_slist *headers = NULL;
  char reply[256] = "";
  fflush(stdout);
  CURL *post = http_curl_post_init_header(&headers, PEER "/events?phone=1001", 1, "Content-Type: application/json");
  http_curl_post_add_header(post, &headers, "X-Phone", "QP-100", 1);
  const int posted = http_curl_post_send(post, "{\"event\":\"incoming\",\"remote\":\"1002\"}", 0, 0, keep_reply, reply);
  http_curl_post_release(post, headers);
  fflush(stdout);
  SAY("   http_curl_post_send: %d, the peer answered: %s", posted, reply);
  if (reply[0] == '\0' || reply[strlen(reply) - 1] != '\n') SAY("\n");
  show_peer_record();

  if (listener != NULL) request_pc_disconnect(listener);
  return fired == 0 && posted == 0 ? 0 : 1;
}

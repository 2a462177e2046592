/* The foundation tools of a phone process, narrated: a phone book searched
 * by the pinyin initials that a number keypad gives, the xl2tpd profile
 * file of the VPN page, the time zone that the settings pages store and
 * announce, a command broadcast decoded, and the peers found by name. */
#include <phonecore/profile.h>
#include <phonecore/syscmd.h>
#include <phonecore/text.h>
#include <phonecore/timezone.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* The library traces to standard output as on the phone; the narration
 * goes to standard error so that the two can be told apart. */
#define SAY(...) fprintf(stderr, __VA_ARGS__)

static void on_reboot(void) { SAY("   [cmd] the reboot callback runs\n"); }

static void show_local_time(const char *what) {
  time_t now = time(NULL);
  struct tm local;
  char text[32];
  localtime_r(&now, &local);
  strftime(text, sizeof text, "%H:%M", &local);
  SAY("   [tz] %s: local time %s, %ld s from UTC\n", what, text, (long)local.tm_gmtoff);
}

int main(void) {
  static const char *book[] = {"\xe5\xbc\xa0\xe4\xb8\x89" /* 张三 */, "\xe6\x9d\x8e\xe5\x9b\x9b" /* 李四 */,
                               "Tom\xe5\xbc\xa0" /* Tom张 */, "\xe7\x8e\x8b\xe4\xba\x94" /* 王五 */};
  for (size_t i = 0; i < sizeof book / sizeof book[0]; ++i)
    SAY("   [book] %-10s initials \"%s\"%s\n", book[i], getpystring(book[i]),
        name_match(book[i], "zs") ? "  <- matches \"zs\"" : "");

  const char *vpn = "/tmp/xl2tpd.conf";
  remove(vpn);
  write_profile_string("global", "port", "1701", vpn);
  write_profile_string("lns default", "name", "phone vpn", vpn);
  write_profile_string("lns default", "ip range", "10.0.0.2-10.0.0.20", vpn);
  char name[64];
  read_profile_string("lns default", "name", name, sizeof name, "", vpn);
  SAY("   [ini] %s: port %d, name \"%s\"\n", vpn, read_profile_int("global", "port", 0, vpn), name);

  load_time_zone();
  show_local_time("the stored zone");
  set_time_zone("+8");
  show_local_time("zone +8 (TZ CST-8)");

  int r = system_cmd_decode("{\"cmd\":\"reboot\"}", on_reboot, NULL, NULL);
  SAY("   [cmd] decoded, result %d (the result tells nothing)\n", r);

  pid_t pids[FIND_PID_MAX];
  int count = 0;
  if (find_pid_by_name("configd", pids, &count) == 0)
    SAY("   [proc] the configuration service runs as process %d\n", (int)pids[0]);
  char version[SYSTEM_VERSION_SIZE];
  SystemGetVersion(version);
  SAY("   [ver] firmware version %s\n", version);
  return 0;
}

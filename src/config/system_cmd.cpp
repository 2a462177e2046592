// Process lookup, the starter's mailbox and small readings of the system.

#include <dirent.h>
#include <json-c/json.h>
#include <sys/time.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/json_msg.h"
#include "phonecore/profile.h"
#include "phonecore/syscmd.h"

namespace json = phonecore::json;

namespace phonecore::bus {
namespace {

constexpr const char* kStartMailbox = "/tmp/start_excu";
constexpr useconds_t kMailboxPollUs = 100000;

// The second word of the first line of /proc/<pid>/status: the name as
// the kernel keeps it.
bool process_name(const char* pid, char* name, size_t size) {
  char path[300];
  std::snprintf(path, sizeof path, "/proc/%s/status", pid);
  FILE* file = std::fopen(path, "r");
  if (file == nullptr) return false;
  char line[512];
  const bool got = std::fgets(line, sizeof line, file) != nullptr;
  std::fclose(file);
  if (!got || size < 2) return false;
  char format[32];
  std::snprintf(format, sizeof format, "%%*s %%%zus", size - 1);
  return std::sscanf(line, format, name) == 1;
}

}  // namespace
}  // namespace phonecore::bus

using namespace phonecore::bus;

extern "C" {

int find_pid_by_name(const char* name, pid_t* pids, int* count) noexcept {
  DIR* proc = opendir("/proc");
  if (proc == nullptr) return -1;
  // *count is an output only; the array's room is FIND_PID_MAX.
  const int room = pids != nullptr ? FIND_PID_MAX : 0;
  int found = 0;
  while (const dirent* entry = readdir(proc)) {
    if (std::strcmp(entry->d_name, "..") == 0 || !std::isdigit(static_cast<unsigned char>(entry->d_name[0]))) continue;
    char process[512];
    if (name == nullptr || !process_name(entry->d_name, process, sizeof process)) continue;
    if (std::strcmp(process, name) != 0) continue;
    if (found < room) pids[found++] = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
  }
  closedir(proc);
  if (count != nullptr) *count = found;
  return found != 0 ? 0 : -1;
}

int system_send_start_cmd(const char* command) noexcept {
  // One command at a time: the starter deletes the file once it has read
  // it.
  while (check_if_fileexit(kStartMailbox)) usleep(kMailboxPollUs);
  creat_write(kStartMailbox, command != nullptr ? command : "");
  return 0;
}

int SystemGetVersion(char* destination) noexcept {
  if (destination == nullptr) return 0;
  json_object* root = read_gnl_config_json("quorbit_ota.cfg");
  const char* version = root != nullptr ? json::text(root, "QuorbitOta", "sw_version") : nullptr;
  std::snprintf(destination, SYSTEM_VERSION_SIZE, "%s", version != nullptr ? version : "000000");
  if (root != nullptr) json_object_put(root);
  return 0;
}

int get_web_lang(char* destination) noexcept {
  if (destination == nullptr) return 0;
  if (read_profile_string("system_info", "lang", destination, WEB_LANG_SIZE, "", "/appconfigs/etc/webauth.cfg") == 0)
    std::snprintf(destination, WEB_LANG_SIZE, "%s", "es-us");
  return 0;
}

int zklog_times(const char* file, int line, const char* text) noexcept {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::printf("-%s-%d-%s-%ld-%ld\n", file != nullptr ? file : "(null)", line, text != nullptr ? text : "(null)",
              static_cast<long>(now.tv_sec), static_cast<long>(now.tv_usec / 1000));
  return 0;
}

}  // extern "C"

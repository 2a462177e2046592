// The file log: "time:<stamp>...<text>\n" lines appended to one file that
// is removed and started anew when it reaches its size limit. The switch,
// the limit and the path are process-wide and have no lock; they are set
// at start by the process's control thread.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "phonecore/zklog.h"

namespace phonecore::base {
namespace {

constexpr int kMessageSize = ZKLOG_TEXT_SIZE;  // a message keeps 511 bytes
constexpr int kLineSize = 561;                 // stamp, marks, message, line end
constexpr int kPlainLineSize = 512;            // log_write cuts its line at 511 bytes

int g_switch = 1;
int g_limit = 1048576;
char g_path[ZKLOG_PATH_SIZE] = "/tmp/zk_log.tmp";

void stamp(char* out, size_t size) {
  const time_t now = time(nullptr);
  struct tm local {};
  localtime_r(&now, &local);
  strftime(out, size, "%Y%m%d-%H%M%S", &local);
}

// The small formatter: %d, %ld, %c and %s; any other conversion is dropped
// with its two characters (and takes no argument), and so is "%l" without
// "d". No width, no precision; the message keeps 511 bytes.
void format_message(char* message, const char* format, va_list args) {
  message[0] = '\0';
  if (format == nullptr) return;
  for (const char* p = format; *p != '\0'; ++p) {
    if (*p != '%') {
      safe_strncat(message, p, 1);
      continue;
    }
    char number[32];
    switch (p[1]) {
      case 'd':
        std::snprintf(number, sizeof number, "%d", va_arg(args, int));
        safe_strcat(message, number);
        ++p;
        break;
      case 'l':
        if (p[2] == 'd') {
          std::snprintf(number, sizeof number, "%ld", va_arg(args, long));
          safe_strcat(message, number);
          p += 2;
        } else {
          ++p;
        }
        break;
      case 'c': {
        const char c = static_cast<char>(va_arg(args, int));
        safe_strncat(message, &c, 1);
        ++p;
        break;
      }
      case 's': {
        const char* text = va_arg(args, const char*);
        safe_strcat(message, text != nullptr ? text : "(null)");
        ++p;
        break;
      }
      case '\0':
        return;
      default:
        ++p;
        break;
    }
  }
}

// Stamps a message into a line of at most line_size - 1 bytes and appends
// it to path (null: the log file).
int write_line(const char* path, const char* message, size_t line_size) noexcept {
  char time_text[32];
  stamp(time_text, sizeof time_text);
  char line[kLineSize];
  if (line_size > sizeof line) line_size = sizeof line;
  const int length = std::snprintf(line, line_size, "time:%s...%s\n", time_text, message);
  const int limit = static_cast<int>(line_size) - 1;
  return writemyfile(path, line, length < limit ? length : limit);
}

int write_formatted(const char* path, const char* format, va_list args) {
  char message[kMessageSize];
  format_message(message, format, args);
  return write_line(path, message, kLineSize);
}

}  // namespace
}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

int log_switch_set(int value) noexcept {
  g_switch = value != 0 ? 1 : 0;
  return 0;
}

int log_size_set(int bytes) noexcept {
  if (bytes < 1) return -1;
  g_limit = bytes;
  return 0;
}

int log_path_set(const char* path) noexcept {
  // The folder is what stands before the last "/"; a path whose only "/"
  // is its first byte, or that has none, names no folder of its own.
  if (path == nullptr) return 0;
  const char* slash = std::strrchr(path, '/');
  if (slash == nullptr || slash == path) return 0;
  std::snprintf(g_path, sizeof g_path, "%s", path);
  char folder[ZKLOG_PATH_SIZE];
  const size_t folder_length = static_cast<size_t>(slash - path);
  std::snprintf(folder, sizeof folder, "%.*s", static_cast<int>(folder_length), path);
  log_dir_create(folder);
  return 0;
}

int log_dir_create(const char* directory) noexcept {
  if (directory == nullptr) return 1;
  if (DIR* existing = opendir(directory)) {
    closedir(existing);
    return 0;
  }
  // Every missing level from the second byte on, each opened to all.
  char path[ZKLOG_PATH_SIZE];
  std::snprintf(path, sizeof path - 1, "%s", directory);
  const size_t length = std::strlen(path);
  if (length == 0 || path[length - 1] != '/') std::strcat(path, "/");
  for (size_t i = 1; path[i] != '\0'; ++i) {
    if (path[i] != '/') continue;
    path[i] = '\0';
    if (access(path, F_OK) != 0) {
      if (mkdir(path, 0777) != 0) {
        std::printf("mkdir error:%s\n", path);
        return 2;
      }
      chmod(path, 0777);
    }
    path[i] = '/';
  }
  return 0;
}

int writemyfile(const char* path, const char* buffer, int length) noexcept {
  const char* file = path != nullptr ? path : g_path;
  int fd;
  struct stat info {};
  if (access(file, F_OK) != 0) {
    fd = open(file, O_WRONLY | O_APPEND | O_CREAT, 0777);
  } else if (stat(file, &info) == 0 && info.st_size < g_limit) {
    fd = open(file, O_WRONLY | O_APPEND);
  } else {
    // One generation only: the full file goes.
    remove(file);
    fd = open(file, O_WRONLY | O_APPEND | O_CREAT, 0777);
  }
  if (fd < 0) {
    perror("open fail-->\n");
    std::exit(1);
  }
  if (buffer != nullptr && length > 0) {
    const ssize_t written = write(fd, buffer, static_cast<size_t>(length));
    (void)written;  // a lost line is not reported
  }
  close(fd);
  return 0;
}

int log_write(const char* text) noexcept {
  if (g_switch == 0) return 0;
  return write_line(nullptr, text != nullptr ? text : "(null)", kPlainLineSize);
}

int log_write_fm(const char* format, ...) noexcept {
  if (g_switch == 0) return 0;
  va_list args;
  va_start(args, format);
  const int result = write_formatted(nullptr, format, args);
  va_end(args);
  return result;
}

int log_write_fm_path(const char* path, const char* format, ...) noexcept {
  if (g_switch == 0) return 0;
  va_list args;
  va_start(args, format);
  const int result = write_formatted(path, format, args);
  va_end(args);
  return result;
}

int log_write_curtime(const char* a, const char* b, int number, const char* extra, const char* path) noexcept {
  if (g_switch == 0) return 0;
  struct timeval now {};
  gettimeofday(&now, nullptr);
  const long seconds = static_cast<long>(now.tv_sec);
  const int micro = static_cast<int>(now.tv_usec);
  if (path != nullptr) {
    return extra != nullptr
               ? log_write_fm_path(path, "%s---%s_[%d]. sec=%ld, microsec=%d, %s", a, b, number, seconds, micro, extra)
               : log_write_fm_path(path, "%s---%s_[%d]. sec=%ld, microsec=%d", a, b, number, seconds, micro);
  }
  return extra != nullptr ? log_write_fm("%s---%s_[%d]. sec=%ld, microsec=%d, %s", a, b, number, seconds, micro, extra)
                          : log_write_fm("%s---%s_[%d]. sec=%ld, microsec=%d", a, b, number, seconds, micro);
}

int safe_strcat(char* target, const char* text) noexcept {
  return safe_strncat(target, text, text != nullptr ? static_cast<int>(std::strlen(text)) : 0);
}

int safe_strncat(char* target, const char* text, int length) noexcept {
  if (target == nullptr) return -1;
  const size_t used = strnlen(target, ZKLOG_TEXT_SIZE);
  if (used > ZKLOG_TEXT_SIZE - 2) return -1;
  if (text == nullptr || length <= 0) return 0;
  const size_t wanted = strnlen(text, static_cast<size_t>(length));
  const size_t room = ZKLOG_TEXT_SIZE - 1 - used;
  const size_t copied = wanted < room ? wanted : room;
  std::memcpy(target + used, text, copied);
  target[used + copied] = '\0';
  return wanted > room ? -2 : 0;
}

}  // extern "C"

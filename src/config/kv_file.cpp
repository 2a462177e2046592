// Plain key=value files, edited directly (not through the service). A line
// is read into 256 bytes; it holds a key when it has at least 3 characters,
// line end included, and a "=". Every change rewrites the whole file, and
// not atomically: the file is removed before it is written anew.

#include <cstdio>
#include <cstring>
#include <string>

#include "base/c_boundary.h"

#include "phonecore/config.h"

namespace {

constexpr int kLineSize = 256;
constexpr size_t kMinKeyLine = 3;

// The key of a line after delete_space; false for a line without "=". The
// caller has checked the line's length.
bool line_key(const char* line, std::string* key) {
  const char* eq = std::strchr(line, '=');
  if (eq == nullptr) return false;
  char work[kLineSize] = {};
  std::memcpy(work, line, static_cast<size_t>(eq - line));
  delete_space(work);
  *key = work;
  return true;
}

enum class Edit { kReplace, kDelete };

// Walks the file's lines, replacing or leaving out those with the key, and
// rewrites it. 0; 0 when it can't be opened; 2 when it can't be written.
int rewrite(const char* path, const char* key, const char* value, Edit edit) {
  FILE* f = fopen(path, "r+");
  if (f == nullptr) return 0;
  std::string out;
  bool matched = false;
  char line[kLineSize];
  std::string line_key_text;
  // The new image is gathered in memory first; without the memory for it
  // the file stays as it was.
  const bool gathered = phonecore::base::or_failure(false, [&] {
    while (fgets(line, sizeof line, f) != nullptr) {
      if (std::strlen(line) >= kMinKeyLine && line_key(line, &line_key_text) && line_key_text == key) {
        matched = true;
        if (edit == Edit::kReplace) out.append(key).append("=").append(value).append("\n");
        continue;
      }
      out.append(line);
    }
    if (!matched && edit == Edit::kReplace) out.append(key).append("=").append(value).append("\n");
    return true;
  });
  if (!gathered) {
    fclose(f);
    return 2;
  }
  remove(path);
  fclose(f);
  f = fopen(path, "w+");
  if (f == nullptr) return 2;
  fputs(out.c_str(), f);
  fclose(f);
  return 0;
}

}  // namespace

extern "C" {

void delete_space(char* text) noexcept {
  if (text == nullptr) return;
  const char* start = text;
  while (*start == ' ') ++start;
  size_t n = 0;
  while (start[n] != 0 && start[n] != ' ') ++n;
  std::memmove(text, start, n);
  text[n] = 0;
}

int ReadConfig(const char* path, const char* key, char* destination) noexcept {
  if (path == nullptr || key == nullptr || destination == nullptr) return 0;
  FILE* f = fopen(path, "r");
  if (f == nullptr) return 0;
  char line[kLineSize];
  std::string found_key;
  phonecore::base::or_failure(0, [&] {
    while (fgets(line, sizeof line, f) != nullptr) {
      const size_t n = std::strlen(line);
      if (n < kMinKeyLine) continue;
      if (line[n - 1] == '\n') line[n - 1] = 0;
      if (!line_key(line, &found_key) || found_key != key) continue;
      // The value without a terminator: the caller gives a cleared buffer.
      const char* value = std::strchr(line, '=') + 1;
      std::memcpy(destination, value, std::strlen(value));
      delete_space(destination);
      break;
    }
    return 0;
  });
  fclose(f);
  return 0;
}

int AddOrAltConfig(const char* path, const char* key, const char* value) noexcept {
  if (path == nullptr || key == nullptr) return 0;
  return rewrite(path, key, value != nullptr ? value : "", Edit::kReplace);
}

int DeleteConfig(const char* path, const char* key) noexcept {
  if (path == nullptr || key == nullptr) return 0;
  return rewrite(path, key, "", Edit::kDelete);
}

}  // extern "C"

// Profile (INI) files: the sectioned reader and writer on a 65536-byte image
// of the file, and the plain line reader IniRead.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "base/c_boundary.h"
#include "base/profile_internal.h"
#include "phonecore/profile.h"

namespace phonecore::base {
namespace {

bool is_line_end(char c) { return c == '\n' || c == '\r'; }
bool is_white(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

size_t line_end(std::string_view image, size_t from) {
  while (from < image.size() && !is_line_end(image[from])) ++from;
  return from;
}

size_t next_line(std::string_view image, size_t from) {
  const size_t end = image.find('\n', from);
  return end == std::string_view::npos ? image.size() : end + 1;
}

bool is_line_start(std::string_view image, size_t at) { return at == 0 || is_line_end(image[at - 1]); }

// Content start of the section, or npos. The name must be of the exact
// length: "[net]" is not "[network]".
size_t find_section(std::string_view image, std::string_view section) {
  for (size_t at = image.find('['); at != std::string_view::npos; at = image.find('[', at + 1)) {
    if (!is_line_start(image, at)) continue;
    const size_t close = image.find(']', at + 1);
    if (close == std::string_view::npos) return std::string_view::npos;
    if (image.substr(at + 1, close - at - 1) != section) continue;
    size_t content = close + 1;
    while (content < image.size() && is_white(image[content])) ++content;
    return content;
  }
  return std::string_view::npos;
}

bool write_image(const char* path, const std::string& image) {
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) {
    std::perror(path);
    return false;
  }
  const bool ok = std::fputs(image.c_str(), file) >= 0;
  return std::fclose(file) == 0 && ok;
}

}  // namespace

ProfileLoad load_profile(const char* path, std::string& image) {
  image.clear();
  FILE* file = std::fopen(path, "r");
  if (file == nullptr) {
    std::perror(path);
    return ProfileLoad::kMissing;
  }
  for (int c = std::fgetc(file); c != EOF && c != 0xFF; c = std::fgetc(file)) {
    if (image.size() + 1 >= PROFILE_FILE_MAX) {
      std::fclose(file);
      image.clear();
      return ProfileLoad::kTooLarge;
    }
    image.push_back(static_cast<char>(c));
  }
  std::fclose(file);
  // The image is a text: it ends at the first zero byte.
  image.resize(std::strlen(image.c_str()));
  return ProfileLoad::kOk;
}

ProfileHit find_profile_key(std::string_view image, std::string_view section, std::string_view key) {
  ProfileHit hit;
  const size_t content = find_section(image, section);
  if (content == std::string_view::npos) return hit;
  hit.section_found = true;
  hit.content_start = content;
  for (size_t line = content; line < image.size(); line = next_line(image, line)) {
    if (image[line] == '[') break;
    if (image[line] == ';') continue;
    const size_t end = line_end(image, line);
    const size_t equals = image.substr(line, end - line).find('=');
    if (equals == std::string_view::npos) continue;
    size_t key_end = line;
    while (key_end < line + equals && !is_white(image[key_end])) ++key_end;
    if (image.substr(line, key_end - line) != key) continue;
    size_t value = line + equals + 1;
    while (value < end && (image[value] == ' ' || image[value] == '\t')) ++value;
    hit.key_found = true;
    hit.value_start = value;
    hit.value_end = end;
    return hit;
  }
  return hit;
}

}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

int read_profile_string(const char* section, const char* key, char* out, int size, const char* default_value,
                        const char* path) noexcept {
  if (section == nullptr || *section == '\0' || key == nullptr || *key == '\0' || path == nullptr || out == nullptr ||
      size <= 0)
    return 0;
  return or_failure(0, [&] {
    std::string image;
    if (load_profile(path, image) == ProfileLoad::kOk) {
      const ProfileHit hit = find_profile_key(image, section, key);
      if (hit.key_found) {
        const size_t n = std::min(hit.value_end - hit.value_start, static_cast<size_t>(size) - 1);
        std::memcpy(out, image.data() + hit.value_start, n);
        out[n] = '\0';
        return 1;
      }
    }
    if (default_value != nullptr) {
      std::strncpy(out, default_value, static_cast<size_t>(size));
      out[size - 1] = '\0';
    }
    return 0;
  });
}

int read_profile_int(const char* section, const char* key, int default_value, const char* path) noexcept {
  char value[32];
  if (read_profile_string(section, key, value, sizeof value, nullptr, path) == 0) return default_value;
  return std::atoi(value);
}

int write_profile_string(const char* section, const char* key, const char* value, const char* path) noexcept {
  if (section == nullptr || *section == '\0' || key == nullptr || *key == '\0' || path == nullptr) return 0;
  if (value == nullptr) value = "";
  return or_failure(0, [&] {
    std::string image;
    if (load_profile(path, image) == ProfileLoad::kTooLarge) return 0;
    const ProfileHit hit = find_profile_key(image, section, key);
    if (hit.key_found) {
      image.replace(hit.value_start, hit.value_end - hit.value_start, value);
    } else if (hit.section_found) {
      image.insert(hit.content_start, std::string(key) + "=" + value + "\n");
    } else {
      image += (image.empty() ? "[" : "\n[") + std::string(section) + "]\n" + key + "=" + value + "\n";
    }
    // The work buffer is of the file's size limit.
    if (image.size() >= PROFILE_FILE_MAX) return 0;
    return write_image(path, image) ? 1 : 0;
  });
}

char* IniRead(const char* path, const char* key, char* out) noexcept {
  if (path == nullptr || key == nullptr || out == nullptr) return nullptr;
  FILE* file = std::fopen(path, "r");
  if (file == nullptr) return nullptr;
  char line[INI_LINE_SIZE];
  char* found = nullptr;
  while (found == nullptr && std::fgets(line, sizeof line, file) != nullptr) {
    char name[INI_LINE_SIZE];
    if (std::sscanf(line, "%255[^=]=%255s", name, out) == 2 && std::strcmp(name, key) == 0) found = out;
  }
  std::fclose(file);
  return found;
}

int readcfg(const char* key, char* out, const char* path) noexcept {
  if (IniRead(path, key, out) == nullptr) {
    std::printf("readcfg: %s not found in %s\n", key != nullptr ? key : "(null)", path != nullptr ? path : "(null)");
    return 0;
  }
  std::printf("readcfg: %s=%s\n", key, out);
  return 1;
}

int getoprdirpath(const char* path, char* out) noexcept {
  if (out == nullptr) return 0;
  IniRead(path, "Original_OPR_DIR", out);
  return 1;
}

int creat_write(const char* path, const char* text) noexcept {
  if (path == nullptr || text == nullptr) return -1;
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) return -1;
  const bool ok = std::fputs(text, file) >= 0;
  return std::fclose(file) == 0 && ok ? 0 : -1;
}

int IniWrite(const char* path, const char* key, const char* value) noexcept {
  if (path == nullptr || key == nullptr || value == nullptr) return -1;
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) return -1;
  const bool ok = std::fprintf(file, "%s=%s\n", key, value) >= 0;
  return std::fclose(file) == 0 && ok ? 0 : -1;
}

}  // extern "C"

// File tools: existence and size, copies of files and trees, patches of
// binary files, raw descriptor reads and writes, and the whole-file buffers
// of the configuration partition.

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/c_boundary.h"
#include "phonecore/fileutil.h"

namespace phonecore::base {
namespace {

constexpr size_t kCopyBlock = 16384;
constexpr size_t kDirPathSize = 512;

// A descriptor that closes itself.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  bool ok() const { return fd_ >= 0; }

 private:
  int fd_;
};

bool write_all(int fd, const char* data, size_t length) {
  while (length > 0) {
    const ssize_t n = write(fd, data, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

bool read_whole(const char* path, std::string& bytes) {
  Fd fd(open(path, O_RDONLY));
  if (!fd.ok()) return false;
  bytes.clear();
  char block[4096];
  for (;;) {
    const ssize_t n = read(fd.get(), block, sizeof block);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    // No memory for the whole file counts as a file that can't be read.
    if (!phonecore::base::or_failure(false, [&] {
          bytes.append(block, static_cast<size_t>(n));
          return true;
        }))
      return false;
  }
}

// "/appconfigs/<name>", cut at PATH_MAX.
struct AppconfigsPath {
  explicit AppconfigsPath(const char* name) { std::snprintf(text, sizeof text, "/appconfigs/%s", name); }
  const char* c_str() const { return text; }
  char text[PATH_MAX];
};
AppconfigsPath appconfigs_path(const char* name) { return AppconfigsPath(name); }

// Both paths end in "/" and keep 512 bytes, as one level of the walk does.
bool level_path(char (&out)[kDirPathSize], const char* base, const char* name) {
  const size_t base_length = std::strlen(base);
  const char* slash = base_length > 0 && base[base_length - 1] == '/' ? "" : "/";
  const int n = std::snprintf(out, sizeof out, "%s%s%s", base, slash, name);
  return n >= 0 && static_cast<size_t>(n) < sizeof out;
}

}  // namespace
}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

int check_if_fileexit(const char* path) noexcept { return path != nullptr && access(path, F_OK) == 0 ? 1 : 0; }

int is_dir(const char* path) noexcept {
  struct stat st {};
  return path != nullptr && stat(path, &st) == 0 && S_ISDIR(st.st_mode) ? 1 : 0;
}

long get_file_size(const char* path) noexcept {
  struct stat st {};
  if (path == nullptr || stat(path, &st) != 0) return -1;
  return static_cast<long>(st.st_size);
}

int copy_file(const char* target, const char* source) noexcept {
  std::unique_ptr<char, decltype(&std::free)> block(static_cast<char*>(std::malloc(kCopyBlock)), &std::free);
  if (!block) return -1;
  if (source == nullptr) return 2;
  Fd in(open(source, O_RDONLY));
  if (!in.ok()) return 2;
  if (target == nullptr) return 3;
  Fd out(open(target, O_WRONLY | O_CREAT | O_TRUNC, 0644));
  if (!out.ok()) return 3;
  for (;;) {
    const ssize_t n = read(in.get(), block.get(), kCopyBlock);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return 2;
    if (n == 0) break;
    if (!write_all(out.get(), block.get(), static_cast<size_t>(n))) {
      std::perror("Fatal write error.\n");
      return 4;
    }
  }
  fsync(in.get());
  fsync(out.get());
  return 0;
}

int copy_dir(const char* source, const char* target) noexcept {
  if (source == nullptr || target == nullptr) return -1;
  char from[kDirPathSize];
  char to[kDirPathSize];
  if (!level_path(from, source, "") || !level_path(to, target, "")) return -1;
  if (mkdir(to, 0755) != 0 && errno != EEXIST) return -1;
  DIR* dir = opendir(from);
  if (dir == nullptr) return -1;
  int result = 0;
  while (const dirent* entry = readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    char source_entry[kDirPathSize];
    char target_entry[kDirPathSize];
    if (!level_path(source_entry, from, entry->d_name) || !level_path(target_entry, to, entry->d_name)) {
      result = -1;
      break;
    }
    if (is_dir(source_entry)) {
      if (mkdir(target_entry, 0755) != 0 && errno != EEXIST) {
        result = -1;
        break;
      }
      if (copy_dir(source_entry, target_entry) != 0) {
        result = -1;
        break;
      }
      continue;
    }
    // A file that is there already is kept as it is.
    if (check_if_fileexit(target_entry)) {
      std::printf("file %s has exists!\n", target_entry);
      continue;
    }
    if (copy_file(target_entry, source_entry) != 0) {
      std::printf("copy file %s --> %s failed!\n", source_entry, target_entry);
      result = -1;
      break;
    }
  }
  closedir(dir);
  return result;
}

int modify_binfile(const char* path, long offset, const void* bytes, int count) noexcept {
  std::string image;
  if (path == nullptr || bytes == nullptr || offset < 0 || count < 0 || !read_whole(path, image)) return 0;
  const size_t end = static_cast<size_t>(offset) + static_cast<size_t>(count);
  if (image.size() < end && !phonecore::base::or_failure(false, [&] {
        image.resize(end, '\0');
        return true;
      }))
    return 0;
  std::memcpy(image.data() + offset, bytes, static_cast<size_t>(count));
  Fd out(open(path, O_WRONLY | O_TRUNC));
  if (!out.ok() || !write_all(out.get(), image.data(), image.size())) return 0;
  fsync(out.get());
  std::printf("------------->modify ok\n\r");
  return 0;
}

int write_proc(const char* path, const char* text) noexcept {
  if (path == nullptr || text == nullptr) return 2;
  Fd fd(open(path, O_WRONLY));
  if (!fd.ok()) return 2;
  if (!write_all(fd.get(), text, std::strlen(text))) return 2;
  fsync(fd.get());
  return 0;
}

int proc_read(int fd, void* buffer, int length) noexcept {
  if (fd < 1 || buffer == nullptr || length < 0) return -1;
  return read(fd, buffer, static_cast<size_t>(length)) < 0 ? -1 : 0;
}

int proc_write(int fd, const void* buffer, int length) noexcept {
  if (fd < 1 || buffer == nullptr || length < 0) return -1;
  return write(fd, buffer, static_cast<size_t>(length)) < 0 ? -1 : 0;
}

int write_line(const char* path, const char* text) noexcept {
  if (path == nullptr || text == nullptr) return -1;
  Fd fd(open(path, O_WRONLY | O_CREAT | O_APPEND, 0644));
  return fd.ok() && write_all(fd.get(), text, std::strlen(text)) ? 0 : -1;
}

int readFileToBuf(const char* name, char** buffer, int* size) noexcept {
  if (name == nullptr || buffer == nullptr || size == nullptr) return -1;
  std::free(*buffer);
  *buffer = nullptr;
  *size = 0;
  std::string bytes;
  if (!read_whole(appconfigs_path(name).c_str(), bytes)) return -1;
  *buffer = static_cast<char*>(std::malloc(bytes.size() + 1));
  if (*buffer == nullptr) return -1;
  std::memcpy(*buffer, bytes.data(), bytes.size());
  (*buffer)[bytes.size()] = '\0';
  *size = static_cast<int>(bytes.size());
  return 0;
}

int readFileToBuf2(const char* name, char* buffer, int* size) noexcept {
  if (size == nullptr) return -1;
  // *size is an output only; the buffer's room is READFILE_BUF2_MAX, one
  // byte of it kept for the terminator.
  constexpr int room = READFILE_BUF2_MAX - 1;
  *size = 0;
  if (name == nullptr || buffer == nullptr) return -1;
  Fd fd(open(appconfigs_path(name).c_str(), O_RDONLY));
  if (!fd.ok()) return -1;
  int n = 0;
  while (n < room) {
    const ssize_t got = read(fd.get(), buffer + n, static_cast<size_t>(room - n));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    n += static_cast<int>(got);
  }
  buffer[n] = '\0';
  *size = n;
  return 0;
}

int writeFileToBuf(const char* name, const char* buffer, int size) noexcept {
  if (name == nullptr || buffer == nullptr || size < 0) return -1;
  Fd fd(open(appconfigs_path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  if (!fd.ok() || !write_all(fd.get(), buffer, static_cast<size_t>(size))) return -1;
  fsync(fd.get());
  return 0;
}

}  // extern "C"

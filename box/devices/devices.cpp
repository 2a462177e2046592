// The board's devices in the phone box. Preloaded into a program by
// "phonebox run --devices", this library answers what the kernel's drivers
// answer on the phone, on plain files the box lays out:
//
//   /dev/mtd2        NOR flash: MEMGETINFO, MEMUNLOCK, MEMERASE (0xFF, whole
//                    aligned blocks, else EINVAL); a write only clears bits.
//                    Geometry from /run/phonebox/mtd2.geometry ("size N",
//                    "erasesize N"); failures from /run/phonebox/mtd2.fail,
//                    one word a line: "info", "erase N" (block N), "short"
//                    (writes stop half way), "cut" (the process dies once the
//                    last block is erased, as in a power cut).
//   /tmp/fake_disk   a disk that answers HDIO_GET_IDENTITY.
//
// Each act is one line of /run/phonebox/devices.log. Everything else goes
// to the C library untouched.

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/hdreg.h>
#include <mtd/mtd-user.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr const char* kLog = "/run/phonebox/devices.log";
constexpr const char* kGeometry = "/run/phonebox/mtd2.geometry";
constexpr const char* kFailures = "/run/phonebox/mtd2.fail";

enum class Kind : unsigned char { kNone, kFlash, kDisk };

struct Device {
  const char* path;
  Kind kind;
  const char* name;  // in the log
};

constexpr Device kDevices[] = {
    {"/dev/mtd2", Kind::kFlash, "mtd2"},
    {"/tmp/fake_disk", Kind::kDisk, "fake_disk"},
};

constexpr int kMaxFd = 4096;
std::atomic<Kind> g_kind[kMaxFd];

template <typename F>
F real(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

using OpenFn = int (*)(const char*, int, ...);
using OpenatFn = int (*)(int, const char*, int, ...);
using CloseFn = int (*)(int);
using IoctlFn = int (*)(int, unsigned long, ...);
using WriteFn = ssize_t (*)(int, const void*, size_t);
using PwriteFn = ssize_t (*)(int, const void*, size_t, off_t);
using PreadFn = ssize_t (*)(int, void*, size_t, off_t);

ssize_t real_write(int fd, const void* data, size_t n) {
  static WriteFn fn = real<WriteFn>("write");
  return fn(fd, data, n);
}
ssize_t real_pwrite(int fd, const void* data, size_t n, off_t at) {
  static PwriteFn fn = real<PwriteFn>("pwrite");
  return fn(fd, data, n, at);
}
ssize_t real_pread(int fd, void* data, size_t n, off_t at) {
  static PreadFn fn = real<PreadFn>("pread");
  return fn(fd, data, n, at);
}

void log_act(const char* format, ...) {
  char line[256];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(line, sizeof line - 1, format, args);
  va_end(args);
  if (n < 0) return;
  if (n > static_cast<int>(sizeof line) - 2) n = sizeof line - 2;
  line[n++] = '\n';
  static OpenFn open_fn = real<OpenFn>("open");
  const int fd = open_fn(kLog, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return;
  real_write(fd, line, static_cast<size_t>(n));
  static CloseFn close_fn = real<CloseFn>("close");
  close_fn(fd);
}

// A small box file read whole; empty when absent.
std::vector<char> slurp(const char* path) {
  std::vector<char> text;
  FILE* f = std::fopen(path, "re");
  if (f == nullptr) return text;
  char chunk[256];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) text.insert(text.end(), chunk, chunk + n);
  std::fclose(f);
  text.push_back('\0');
  return text;
}

struct Geometry {
  uint32_t size = 128 * 1024;
  uint32_t erasesize = 64 * 1024;
};

Geometry geometry() {
  Geometry g;
  std::vector<char> text = slurp(kGeometry);
  if (text.empty()) return g;
  for (char *rest = nullptr, *line = strtok_r(text.data(), "\n", &rest); line != nullptr;
       line = strtok_r(nullptr, "\n", &rest)) {
    unsigned long value = 0;
    if (std::sscanf(line, "size %lu", &value) == 1) g.size = static_cast<uint32_t>(value);
    if (std::sscanf(line, "erasesize %lu", &value) == 1) g.erasesize = static_cast<uint32_t>(value);
  }
  return g;
}

// The failure the box asks for: word, and its number for "erase N".
bool failure(const char* word, long* number = nullptr) {
  std::vector<char> text = slurp(kFailures);
  if (text.empty()) return false;
  const size_t length = std::strlen(word);
  for (char *rest = nullptr, *line = strtok_r(text.data(), "\n", &rest); line != nullptr;
       line = strtok_r(nullptr, "\n", &rest)) {
    if (std::strncmp(line, word, length) != 0) continue;
    if (line[length] != '\0' && line[length] != ' ') continue;
    if (number != nullptr) *number = std::strtol(line + length, nullptr, 0);
    return true;
  }
  return false;
}

const Device* device_of(int fd) {
  if (fd < 0 || fd >= kMaxFd) return nullptr;
  const Kind kind = g_kind[fd].load(std::memory_order_relaxed);
  for (const Device& d : kDevices)
    if (d.kind == kind) return &d;
  return nullptr;
}

void opened(int fd, const char* path) {
  if (fd < 0 || fd >= kMaxFd) return;
  Kind kind = Kind::kNone;
  for (const Device& d : kDevices)
    if (path != nullptr && std::strcmp(path, d.path) == 0) kind = d.kind;
  g_kind[fd].store(kind, std::memory_order_relaxed);
  if (kind != Kind::kNone) log_act("%s open", device_of(fd)->name);
}

int fail(int error) {
  errno = error;
  return -1;
}

int flash_ioctl(int fd, unsigned long request, void* argument) {
  const Geometry g = geometry();
  if (request == MEMGETINFO) {
    log_act("mtd2 MEMGETINFO");
    if (failure("info")) return fail(EIO);
    auto* info = static_cast<mtd_info_user*>(argument);
    std::memset(info, 0, sizeof *info);
    info->type = MTD_NORFLASH;
    info->flags = MTD_CAP_NORFLASH;
    info->size = g.size;
    info->erasesize = g.erasesize;
    info->writesize = 1;
    return 0;
  }
  if (request == MEMUNLOCK || request == MEMERASE) {
    const auto* range = static_cast<const erase_info_user*>(argument);
    const bool erase = request == MEMERASE;
    log_act("mtd2 %s 0x%x 0x%x", erase ? "MEMERASE" : "MEMUNLOCK", range->start, range->length);
    if (range->length == 0 || range->start % g.erasesize != 0 || range->length % g.erasesize != 0 ||
        static_cast<uint64_t>(range->start) + range->length > g.size)
      return fail(EINVAL);
    if (!erase) return 0;
    long block = -1;
    if (failure("erase", &block) && block >= range->start / g.erasesize &&
        block < (range->start + range->length) / g.erasesize)
      return fail(EIO);
    std::vector<unsigned char> blank(range->length, 0xFF);
    if (real_pwrite(fd, blank.data(), blank.size(), range->start) != static_cast<ssize_t>(blank.size()))
      return fail(EIO);
    if (failure("cut") && range->start + range->length == g.size) {
      log_act("mtd2 power cut");
      raise(SIGKILL);
    }
    return 0;
  }
  return fail(ENOTTY);
}

// NOR: programming can only turn ones into zeros.
ssize_t flash_write(int fd, const void* data, size_t n, off_t at, bool advance) {
  const Geometry g = geometry();
  if (at < 0 || static_cast<uint64_t>(at) >= g.size) return fail(ENOSPC);
  if (n > g.size - static_cast<uint64_t>(at)) n = g.size - static_cast<size_t>(at);
  if (failure("short")) n /= 2;
  std::vector<unsigned char> cells(n, 0xFF);
  const ssize_t got = real_pread(fd, cells.data(), n, at);
  if (got < 0) return -1;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (size_t i = 0; i < n; ++i) cells[i] &= bytes[i];
  const ssize_t done = real_pwrite(fd, cells.data(), n, at);
  log_act("mtd2 write 0x%lx %zd", static_cast<long>(at), done);
  if (done > 0 && advance) lseek(fd, at + done, SEEK_SET);
  return done;
}

int disk_ioctl(unsigned long request, void* argument) {
  if (request != HDIO_GET_IDENTITY) return fail(ENOTTY);
  log_act("fake_disk HDIO_GET_IDENTITY");
  auto* id = static_cast<hd_driveid*>(argument);
  std::memset(id, 0, sizeof *id);
  std::memcpy(id->serial_no, "SN0123456789ABCDEFGH", sizeof id->serial_no);  // 20 bytes, no terminator
  return 0;
}

bool takes_mode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

}  // namespace

extern "C" {

// The mode argument exists only for O_CREAT and O_TMPFILE.
#define DEVICE_MODE_ARGUMENT(flags)     \
  mode_t mode = 0;                      \
  if (takes_mode(flags)) {              \
    va_list args;                       \
    va_start(args, flags);              \
    mode = va_arg(args, mode_t);        \
    va_end(args);                       \
  }

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  DEVICE_MODE_ARGUMENT(flags)
  static OpenFn fn = real<OpenFn>("open");
  const int fd = fn(path, flags, mode);
  opened(fd, path);
  return fd;
}

__attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  DEVICE_MODE_ARGUMENT(flags)
  static OpenFn fn = real<OpenFn>("open64");
  const int fd = fn(path, flags, mode);
  opened(fd, path);
  return fd;
}

__attribute__((visibility("default"))) int openat(int dir, const char* path, int flags, ...) {
  DEVICE_MODE_ARGUMENT(flags)
  static OpenatFn fn = real<OpenatFn>("openat");
  const int fd = fn(dir, path, flags, mode);
  opened(fd, path);
  return fd;
}

__attribute__((visibility("default"))) int close(int fd) {
  if (fd >= 0 && fd < kMaxFd) g_kind[fd].store(Kind::kNone, std::memory_order_relaxed);
  static CloseFn fn = real<CloseFn>("close");
  return fn(fd);
}

__attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list args;
  va_start(args, request);
  void* argument = va_arg(args, void*);
  va_end(args);
  if (const Device* d = device_of(fd)) {
    if (d->kind == Kind::kFlash) return flash_ioctl(fd, request, argument);
    if (d->kind == Kind::kDisk) return disk_ioctl(request, argument);
  }
  static IoctlFn fn = real<IoctlFn>("ioctl");
  return fn(fd, request, argument);
}

__attribute__((visibility("default"))) ssize_t write(int fd, const void* data, size_t n) {
  const Device* d = device_of(fd);
  if (d != nullptr && d->kind == Kind::kFlash) return flash_write(fd, data, n, lseek(fd, 0, SEEK_CUR), true);
  return real_write(fd, data, n);
}

__attribute__((visibility("default"))) ssize_t pwrite(int fd, const void* data, size_t n, off_t at) {
  const Device* d = device_of(fd);
  if (d != nullptr && d->kind == Kind::kFlash) return flash_write(fd, data, n, at, false);
  return real_pwrite(fd, data, n, at);
}

}  // extern "C"

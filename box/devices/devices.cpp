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
//   /dev/zlt_led     the LED driver: records each 16-byte request.
//   /dev/watchdog    one opener (a second open: EBUSY); records its ioctls.
//   /mnt/NAME        volumes: statfs and statfs64 of any path below /mnt
//                    (relative ones from the working directory) answer
//                    from /run/phonebox/volumes, lines "NAME TOTAL_KB
//                    FREE_KB"; an unlisted NAME is a 1 GiB card. umount of
//                    a listed volume empties it; of anything else, EINVAL.
//   /sys/class/gpio, /sys/class/pwm/pwmchip0
//                    as sysfs: a write replaces the value; export makes
//                    gpioN/ (direction, value) or pwm0/ (period, duty_cycle,
//                    enable), a second export is EBUSY, unexport removes;
//                    "high"/"low" set the value; a duty above the period
//                    is EINVAL.
//
// Each act is one line of /run/phonebox/devices.log. Everything else goes
// to the C library untouched.

#include <dlfcn.h>
#include <fcntl.h>
#include <ftw.h>
#include <linux/hdreg.h>
#include <linux/watchdog.h>
#include <mtd/mtd-user.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* kLog = "/run/phonebox/devices.log";
constexpr const char* kGeometry = "/run/phonebox/mtd2.geometry";
constexpr const char* kFailures = "/run/phonebox/mtd2.fail";

enum class Kind : unsigned char { kNone, kFlash, kDisk, kLed, kWatchdog, kSysfs };

struct Device {
  const char* path;
  Kind kind;
  const char* name;  // in the log
};

constexpr Device kDevices[] = {
    {"/dev/mtd2", Kind::kFlash, "mtd2"},
    {"/tmp/fake_disk", Kind::kDisk, "fake_disk"},
    {"/dev/zlt_led", Kind::kLed, "zlt_led"},
    {"/dev/watchdog", Kind::kWatchdog, "watchdog"},
};

constexpr const char* kGpioDir = "/sys/class/gpio/";
constexpr const char* kPwmDir = "/sys/class/pwm/pwmchip0/";

constexpr int kMaxFd = 4096;
constexpr size_t kPathRoom = 96;
std::atomic<Kind> g_kind[kMaxFd];
char g_sysfs_path[kMaxFd][kPathRoom];  // the control behind a sysfs descriptor
std::atomic<int> g_watchdog_opens{0};

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
  if (kind == Kind::kNone && path != nullptr && std::strlen(path) < kPathRoom &&
      (std::strncmp(path, kGpioDir, std::strlen(kGpioDir)) == 0 ||
       std::strncmp(path, kPwmDir, std::strlen(kPwmDir)) == 0)) {
    std::strcpy(g_sysfs_path[fd], path);
    kind = Kind::kSysfs;
  }
  if (kind == Kind::kWatchdog) g_watchdog_opens.fetch_add(1);
  g_kind[fd].store(kind, std::memory_order_relaxed);
  if (kind != Kind::kNone && kind != Kind::kSysfs) log_act("%s open", device_of(fd)->name);
}

// The watchdog driver admits one opener at a time.
bool refused(const char* path) {
  if (path == nullptr || std::strcmp(path, "/dev/watchdog") != 0 || g_watchdog_opens.load() == 0) return false;
  log_act("watchdog open EBUSY");
  errno = EBUSY;
  return true;
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

int led_ioctl(unsigned long request, const void* argument) {
  if (request != 0x4004A9F4ul) return fail(ENOTTY);
  int32_t field[4];
  std::memcpy(field, argument, sizeof field);  // the driver copies 16 bytes
  log_act("zlt_led %d %d %d %d", field[0], field[1], field[2], field[3]);
  return 0;
}

int watchdog_ioctl(unsigned long request, const void* argument) {
  int value = 0;
  std::memcpy(&value, argument, sizeof value);
  if (request == WDIOC_SETTIMEOUT) log_act("watchdog WDIOC_SETTIMEOUT %d", value);
  else if (request == WDIOC_KEEPALIVE) log_act("watchdog WDIOC_KEEPALIVE");
  else if (request == WDIOC_SETOPTIONS) log_act("watchdog WDIOC_SETOPTIONS %d", value);
  else return fail(ENOTTY);
  return 0;
}

bool exists(const char* path) {
  struct stat st;
  return stat(path, &st) == 0;
}

// A control file with its first value, as the kernel makes it.
void make_control(const std::string& path, const char* value) {
  FILE* f = std::fopen(path.c_str(), "we");
  if (f == nullptr) return;
  std::fputs(value, f);
  std::fclose(f);
}

std::string read_control(const std::string& path) {
  std::vector<char> text = slurp(path.c_str());
  return text.empty() ? std::string() : std::string(text.data());
}

void replace_value(int fd, const std::string& text) {
  if (ftruncate(fd, 0) != 0) return;
  real_pwrite(fd, text.data(), text.size(), 0);
}

// One write to a sysfs control: the value written, without its line end.
ssize_t sysfs_write(int fd, const void* data, size_t n) {
  const std::string path = g_sysfs_path[fd];
  std::string value(static_cast<const char*>(data), n);
  while (!value.empty() && (value.back() == '\n' || value.back() == '\0')) value.pop_back();
  const std::string gpio(kGpioDir), pwm(kPwmDir);
  if (path == gpio + "export" || path == gpio + "unexport") {
    const bool add = path == gpio + "export";
    const std::string dir = gpio + "gpio" + std::to_string(std::atoi(value.c_str()));
    log_act("gpio %s %s", add ? "export" : "unexport", value.c_str());
    if (value.empty() || value.find_first_not_of("0123456789") != std::string::npos) return fail(EINVAL);
    if (add) {
      if (exists(dir.c_str())) return fail(EBUSY);
      mkdir(dir.c_str(), 0755);
      make_control(dir + "/direction", "in");
      make_control(dir + "/value", "0");
    } else {
      if (!exists(dir.c_str())) return fail(EINVAL);
      unlink((dir + "/direction").c_str());
      unlink((dir + "/value").c_str());
      rmdir(dir.c_str());
    }
    return static_cast<ssize_t>(n);
  }
  if (path == pwm + "export" || path == pwm + "unexport") {
    const bool add = path == pwm + "export";
    const std::string dir = pwm + "pwm" + value;
    log_act("pwm %s %s", add ? "export" : "unexport", value.c_str());
    if (value != "0") return fail(EINVAL);
    if (add) {
      if (exists(dir.c_str())) return fail(EBUSY);
      mkdir(dir.c_str(), 0755);
      make_control(dir + "/period", "0");
      make_control(dir + "/duty_cycle", "0");
      make_control(dir + "/enable", "0");
    } else {
      if (!exists(dir.c_str())) return fail(EINVAL);
      for (const char* f : {"/period", "/duty_cycle", "/enable"}) unlink((dir + f).c_str());
      rmdir(dir.c_str());
    }
    return static_cast<ssize_t>(n);
  }
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string dir = path.substr(0, path.rfind('/'));
  const std::string owner = dir.substr(dir.rfind('/') + 1);
  log_act("%s %s %s", owner.c_str(), name.c_str(), value.c_str());
  if (name == "direction") {
    if (value == "high" || value == "low") {
      make_control(dir + "/value", value == "high" ? "1" : "0");
      replace_value(fd, "out");
    } else if (value == "in" || value == "out") {
      replace_value(fd, value);
    } else {
      return fail(EINVAL);
    }
    return static_cast<ssize_t>(n);
  }
  if (name == "duty_cycle" && std::atol(value.c_str()) > std::atol(read_control(dir + "/period").c_str()))
    return fail(EINVAL);
  replace_value(fd, value);
  return static_cast<ssize_t>(n);
}

constexpr const char* kVolumes = "/run/phonebox/volumes";
constexpr unsigned long long kCardKb = 1024 * 1024;

// The volume a path lies on: the first name below /mnt, or empty.
std::string volume_of(const char* path) {
  if (path == nullptr) return {};
  std::string full = path;
  if (full.empty()) return {};
  if (full[0] != '/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) == nullptr) return {};
    full = std::string(cwd) + "/" + full;
  }
  if (full.rfind("/mnt/", 0) != 0) return {};
  std::string rest = full.substr(5);
  while (!rest.empty() && rest[0] == '/') rest.erase(0, 1);
  rest = rest.substr(0, rest.find('/'));
  return rest == "." || rest == ".." ? std::string() : rest;
}

// Total and free kilobytes of a listed volume; false when unlisted.
bool listed_volume(const std::string& name, unsigned long long* total, unsigned long long* free) {
  std::vector<char> text = slurp(kVolumes);
  if (text.empty()) return false;
  for (char *rest = nullptr, *line = strtok_r(text.data(), "\n", &rest); line != nullptr;
       line = strtok_r(nullptr, "\n", &rest)) {
    char listed[256];
    unsigned long long t = 0, f = 0;
    if (std::sscanf(line, "%255s %llu %llu", listed, &t, &f) == 3 && name == listed) {
      *total = t;
      *free = f;
      return true;
    }
  }
  return false;
}

template <typename Statfs>
void fill_volume(const std::string& name, Statfs* out) {
  unsigned long long total = kCardKb, free = kCardKb / 2;
  listed_volume(name, &total, &free);
  std::memset(out, 0, sizeof *out);
  out->f_type = 0x4d44;  // FAT
  out->f_bsize = 1024;
  out->f_frsize = 1024;
  out->f_blocks = total;
  out->f_bfree = free;
  out->f_bavail = free;
  out->f_namelen = 255;
}

int remove_entry(const char* path, const struct stat*, int, FTW*) { return std::remove(path); }

bool takes_mode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

// A sanitizer's runtime comes first in LD_PRELOAD for a sanitized command;
// the programs it starts (sh, cp, ...) are not sanitized and would report
// their own leaks, so they inherit the devices alone.
__attribute__((constructor)) void keep_sanitizers_to_this_process() {
  const char* preload = getenv("LD_PRELOAD");
  if (preload == nullptr) return;
  std::string kept;
  std::string all = preload;
  for (size_t start = 0; start <= all.size();) {
    size_t end = all.find_first_of(": ", start);
    if (end == std::string::npos) end = all.size();
    const std::string entry = all.substr(start, end - start);
    const bool runtime = entry.find("libasan") != std::string::npos || entry.find("libubsan") != std::string::npos ||
                         entry.find("libtsan") != std::string::npos;
    if (!entry.empty() && !runtime) kept += (kept.empty() ? "" : ":") + entry;
    start = end + 1;
  }
  setenv("LD_PRELOAD", kept.c_str(), 1);
}

}  // namespace

extern "C" {

// The mode argument exists only for O_CREAT and O_TMPFILE.
#define DEVICE_MODE_ARGUMENT(flags) \
  mode_t mode = 0;                  \
  if (takes_mode(flags)) {          \
    va_list args;                   \
    va_start(args, flags);          \
    mode = va_arg(args, mode_t);    \
    va_end(args);                   \
  }

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  DEVICE_MODE_ARGUMENT(flags)
  if (refused(path)) return -1;
  static OpenFn fn = real<OpenFn>("open");
  const int fd = fn(path, flags, mode);
  opened(fd, path);
  return fd;
}

__attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  DEVICE_MODE_ARGUMENT(flags)
  if (refused(path)) return -1;
  static OpenFn fn = real<OpenFn>("open64");
  const int fd = fn(path, flags, mode);
  opened(fd, path);
  return fd;
}

__attribute__((visibility("default"))) int openat(int dir, const char* path, int flags, ...) {
  DEVICE_MODE_ARGUMENT(flags)
  if (refused(path)) return -1;
  static OpenatFn fn = real<OpenatFn>("openat");
  const int fd = fn(dir, path, flags, mode);
  opened(fd, path);
  return fd;
}

__attribute__((visibility("default"))) int close(int fd) {
  if (fd >= 0 && fd < kMaxFd && g_kind[fd].exchange(Kind::kNone) == Kind::kWatchdog) {
    g_watchdog_opens.fetch_sub(1);
    log_act("watchdog close");
  }
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
    if (d->kind == Kind::kLed) return led_ioctl(request, argument);
    if (d->kind == Kind::kWatchdog) return watchdog_ioctl(request, argument);
  }
  static IoctlFn fn = real<IoctlFn>("ioctl");
  return fn(fd, request, argument);
}

__attribute__((visibility("default"))) int statfs(const char* path, struct statfs* out) noexcept {
  const std::string volume = volume_of(path);
  if (!volume.empty()) {
    fill_volume(volume, out);
    return 0;
  }
  using Fn = int (*)(const char*, struct statfs*);
  static Fn fn = real<Fn>("statfs");
  return fn(path, out);
}

__attribute__((visibility("default"))) int statfs64(const char* path, struct statfs64* out) noexcept {
  const std::string volume = volume_of(path);
  if (!volume.empty()) {
    fill_volume(volume, out);
    return 0;
  }
  using Fn = int (*)(const char*, struct statfs64*);
  static Fn fn = real<Fn>("statfs64");
  return fn(path, out);
}

// Unmounting a listed volume leaves its mount point empty.
__attribute__((visibility("default"))) int umount2(const char* target, int) noexcept {
  const std::string volume = volume_of(target);
  unsigned long long total = 0, free = 0;
  log_act("umount %s", volume.c_str());
  if (volume.empty() || !listed_volume(volume, &total, &free)) return fail(EINVAL);
  const std::string root = "/mnt/" + volume;
  nftw(root.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
  mkdir(root.c_str(), 0755);
  return 0;
}

__attribute__((visibility("default"))) int umount(const char* target) noexcept { return umount2(target, 0); }

__attribute__((visibility("default"))) ssize_t write(int fd, const void* data, size_t n) {
  const Device* d = device_of(fd);
  if (d != nullptr && d->kind == Kind::kFlash) return flash_write(fd, data, n, lseek(fd, 0, SEEK_CUR), true);
  if (fd >= 0 && fd < kMaxFd && g_kind[fd].load(std::memory_order_relaxed) == Kind::kSysfs)
    return sysfs_write(fd, data, n);
  return real_write(fd, data, n);
}

__attribute__((visibility("default"))) ssize_t pwrite(int fd, const void* data, size_t n, off_t at) {
  const Device* d = device_of(fd);
  if (d != nullptr && d->kind == Kind::kFlash) return flash_write(fd, data, n, at, false);
  return real_pwrite(fd, data, n, at);
}

}  // extern "C"

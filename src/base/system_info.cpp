// Shell helpers, disk information, the ARP table and host names: what a
// process learns of the board through the shell, statfs, the kernel's
// tables and the resolver.

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/hdreg.h>
#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/system_info_internal.h"
#include "phonecore/fileutil.h"

namespace phonecore::base {
namespace {

struct FsType {
  long magic;
  const char* name;
};

constexpr std::array<FsType, 5> kFsTypes{{
    {0xEF53, "EXT2"},
    {0xEF51, "EXT2"},
    {0x4D44, "FAT"},
    {0x5346544E, "NTFS"},
    {0x65735546, "NTFS"},
}};

const char* fs_type_name(long magic) {
  for (const FsType& type : kFsTypes)
    if (type.magic == magic) return type.name;
  return "unknown";
}

unsigned long long kilobytes(unsigned long long block_size, unsigned long long blocks) {
  return (block_size * blocks + 512) / 1024;
}

// The first line of a command's output without its line end; false when
// there is none or it is empty.
bool first_line(const char* command, char* out, size_t size) {
  if (command == nullptr || out == nullptr || size == 0) return false;
  FILE* pipe = popen(command, "r");
  if (pipe == nullptr) return false;
  char line[POPEN_LINE_SIZE];
  const bool got = std::fgets(line, sizeof line, pipe) != nullptr;
  // Read the rest so that the command doesn't die of a broken pipe.
  char rest[256];
  while (std::fgets(rest, sizeof rest, pipe) != nullptr) {
  }
  pclose(pipe);
  if (!got || line[0] == '\n') return false;
  line[std::strcspn(line, "\r\n")] = '\0';
  std::snprintf(out, size, "%s", line);
  return true;
}

}  // namespace

void format_disk_size(char (&out)[11], unsigned long long kb) {
  if (kb >= 1024ULL * 1024ULL) std::snprintf(out, sizeof out, "%0.2fGB", static_cast<double>(kb) / (1024.0 * 1024.0));
  else if (kb >= 1024ULL) std::snprintf(out, sizeof out, "%0.2fMB", static_cast<double>(kb) / 1024.0);
  else std::snprintf(out, sizeof out, "%0.2fKB", static_cast<double>(kb));
}

int parse_arp_rows(const char* text, ArpRecord* out, int max) {
  if (text == nullptr || out == nullptr) return 0;
  const char* line = std::strchr(text, '\n');  // past the header
  int rows = 0;
  while (line != nullptr && rows < max) {
    ++line;
    ArpRecord record{};
    if (std::sscanf(line, "%15s 0x%x 0x%x %19s %7s %15s", record.ip, &record.hw_type, &record.flags, record.hw_address,
                    record.mask, record.device) == 6)
      out[rows++] = record;
    line = std::strchr(line, '\n');
  }
  return rows;
}

}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

void system_cmd(const char* command) noexcept {
  if (command == nullptr) return;
  [[maybe_unused]] const int ignored = system(command);
}

void popen_cmd(const char* command) noexcept {
  if (command == nullptr) return;
  // The board's C library takes "rw"; glibc refuses a pipe both ways, and
  // the command is started for reading there.
  FILE* pipe = popen(command, "rw");
  if (pipe == nullptr && errno == EINVAL) pipe = popen(command, "r");
  if (pipe != nullptr) pclose(pipe);
}

int popen_get_parm(const char* command, char* out) noexcept {
  return first_line(command, out, POPEN_LINE_SIZE) ? 0 : -1;
}

int popen_cmd_getstr(const char* command, char* out) noexcept {
  if (out == nullptr) return -1;
  std::memset(out, 0, POPEN_CMD_GETSTR_SIZE);
  return first_line(command, out, POPEN_CMD_GETSTR_SIZE) ? 0 : -1;
}

unsigned long long GetDiskSize(const char* path, int which) noexcept {
  struct statfs fs {};
  if (path == nullptr || statfs(path, &fs) != 0) return 0;
  unsigned long long size = 0;
  if (which == 0) size = kilobytes(static_cast<unsigned long long>(fs.f_bsize), fs.f_blocks);
  else if (which == 1) size = kilobytes(static_cast<unsigned long long>(fs.f_bsize), fs.f_bfree);
  else return 0;
  std::printf("======>size %llu \n\r", size);
  return size;
}

int get_disk_info(const char* path, DiskInfo* out) noexcept {
  if (out == nullptr) return -1;
  struct statfs fs {};
  if (path == nullptr || statfs(path, &fs) != 0) {
    std::printf("get disk infomation faild\n");
    return -1;
  }
  std::memset(out, 0, sizeof *out);
  std::snprintf(out->type, sizeof out->type, "%s", fs_type_name(static_cast<long>(fs.f_type)));
  format_disk_size(out->total, kilobytes(static_cast<unsigned long long>(fs.f_bsize), fs.f_blocks));
  format_disk_size(out->free, kilobytes(static_cast<unsigned long long>(fs.f_bsize), fs.f_bfree));
  std::memcpy(out->permissions, "rw\n", sizeof out->permissions);
  return 0;
}

int get_disk_id(const char* device) noexcept {
  if (device == nullptr) return 1;
  const int fd = open(device, O_RDONLY | O_NONBLOCK);
  if (fd < 0) return 1;
  struct hd_driveid id {};
  if (ioctl(fd, HDIO_GET_IDENTITY, &id) == 0) {
    char serial[sizeof id.serial_no + 1] = {};
    std::memcpy(serial, id.serial_no, sizeof id.serial_no);
    std::printf("Serial Number=%s\n", serial);
  } else {
    std::printf("connot find sn \n\r");
  }
  close(fd);
  return 0;
}

int check_unmount_device(const char*) noexcept { return 0; }

static_assert(sizeof(DiskInfo) == 33);
static_assert(offsetof(DiskInfo, total) == 8 && offsetof(DiskInfo, free) == 19 &&
              offsetof(DiskInfo, permissions) == 30);
static_assert(sizeof(ArpRecord) == 68);
static_assert(offsetof(ArpRecord, hw_type) == 16 && offsetof(ArpRecord, flags) == 20 &&
              offsetof(ArpRecord, hw_address) == 24 && offsetof(ArpRecord, mask) == 44 &&
              offsetof(ArpRecord, device) == 52);

int read_arp_table(ArpRecord* out, int max, int* count) noexcept {
  const int fd = open("/proc/net/arp", O_RDONLY);
  if (fd < 0) return -1;
  char text[8192];
  size_t n = 0;
  // The kernel hands the table out in pieces; it is gathered in 128-byte
  // steps up to the buffer's end.
  while (n + 128 < sizeof text) {
    const ssize_t got = read(fd, text + n, 128);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    n += static_cast<size_t>(got);
  }
  close(fd);
  text[n] = '\0';
  const int rows = parse_arp_rows(text, out, max);
  if (count != nullptr) *count = rows;
  return 0;
}

int gethostnamebyip(const char* ip, char* out) noexcept {
  if (ip == nullptr || out == nullptr) return -1;
  in_addr address{};
  if (inet_aton(ip, &address) == 0) return -1;
  const hostent* host = gethostbyaddr(&address, sizeof address, AF_INET);
  if (host == nullptr || host->h_name == nullptr) return -1;
  std::snprintf(out, PHONECORE_HOSTNAME_MAX, "%s", host->h_name);
  return 0;
}

}  // extern "C"

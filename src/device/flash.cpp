// Factory storage on "/dev/mtd2" through the MTD interface. The partition
// is NOR flash: a write can only clear bits, so every change erases the
// whole partition and writes its first erase block back. Nothing here is
// journalled; the fields are few and written at the factory.

#include <dlfcn.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "device/flash_internal.h"
#include "phonecore/text.h"

#ifndef PHONECORE_MI_SYS_LIBRARY
#define PHONECORE_MI_SYS_LIBRARY "libmi_sys.so"
#endif

namespace phonecore::device {
namespace {

// Every field lies in the first erase block and the last one ends at 0x7400.
constexpr bool layout_holds() {
  int32_t end = 0;
  for (size_t i = 0; i < std::size(kLayout); ++i) {
    if (static_cast<size_t>(kLayout[i].field) != i) return false;  // rows in the order of Field
    if (kLayout[i].offset < end) return false;                     // ascending, no overlap
    end = kLayout[i].offset + kLayout[i].size;
  }
  return end <= kMinEraseBlock;
}
static_assert(layout_holds());
static_assert(std::size(kLayout) == 15);
static_assert(field(Field::kKey3).offset + field(Field::kKey3).size == 0x7400);
static_assert(field(Field::kEnv).offset == 8192 && field(Field::kEnv).size == UBOOTENV_SIZE);
static_assert(field(Field::kMac1).offset == 16396);
static_assert(field(Field::kQQ3).size == QQ_INFO_MAX);
static_assert(field(Field::kKey1).size == FLASH_KEY_SIZE);
static_assert(field(Field::kMacText).size == FACTORY_TEXT_SIZE && field(Field::kSerial).size == FACTORY_TEXT_SIZE &&
              field(Field::kTime).size == FACTORY_TEXT_SIZE);

constexpr useconds_t kMs = 1000;

// MAC index 0, 1, 2 and where each lies.
constexpr Field kMacFields[] = {Field::kMac0, Field::kMac1, Field::kMac2};

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  ~Fd() { reset(); }
  int get() const { return fd_; }
  bool ok() const { return fd_ >= 0; }
  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

bool read_full(int fd, void* buf, size_t length, ssize_t* got) {
  size_t done = 0;
  while (done < length) {
    const ssize_t n = ::read(fd, static_cast<char*>(buf) + done, length - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  if (got != nullptr) *got = static_cast<ssize_t>(done);
  return done == length;
}

int do_mtd_write(const char* path, const void* data, int offset, int length) {
  Fd fd(::open(path, O_RDWR | O_SYNC));
  if (!fd.ok()) {
    std::printf("Could not open mtd device: %s\n", path);
    return -1;
  }
  mtd_info_user info{};
  if (::ioctl(fd.get(), MEMGETINFO, &info) < 0 || info.erasesize == 0) {
    std::printf("Could not get MTD device info from %s\n", path);
    return -1;
  }
  const uint32_t block = info.erasesize;
  // Only the first erase block is written back: data reaching beyond it
  // would be erased and lost, so it is refused while the flash is intact.
  if (offset < 0 || length < 0 || static_cast<uint64_t>(offset) + static_cast<uint64_t>(length) > block) {
    std::printf("mtd_write: %d bytes at 0x%x leave the first erase block of %s\n", length, offset, path);
    return -1;
  }
  std::unique_ptr<uint8_t[]> image(new (std::nothrow) uint8_t[block]);
  if (!image) return -1;
  if (::lseek(fd.get(), 0, SEEK_SET) != 0 || !read_full(fd.get(), image.get(), block, nullptr)) {
    std::printf("read() %s failed\n", path);
    return -1;
  }
  usleep(100 * kMs);
  for (uint32_t at = 0; at < info.size; at += block) {
    erase_info_user erase{at, block};
    ::ioctl(fd.get(), MEMUNLOCK, &erase);  // NOR parts without locking refuse this; harmless
    usleep(10 * kMs);
    if (::ioctl(fd.get(), MEMERASE, &erase) < 0) {
      std::printf("Failed to erase block on %s at 0x%x\n", path, at);
      return -1;
    }
  }
  usleep(10 * kMs);
  fd.reset();
  if (length > 0) std::memcpy(image.get() + offset, data, static_cast<size_t>(length));
  usleep(100 * kMs);
  fd.reset(::open(path, O_RDWR | O_SYNC));
  if (!fd.ok()) {
    std::printf("Could not open mtd device: %s\n", path);
    return -1;
  }
  if (::lseek(fd.get(), 0, SEEK_SET) != 0 || ::write(fd.get(), image.get(), block) != static_cast<ssize_t>(block)) {
    std::printf("write() %s failed\n", path);
    return -1;
  }
  usleep(100 * kMs);
  // The read-back proves the length only; the bytes are not compared.
  ssize_t got = 0;
  if (::lseek(fd.get(), 0, SEEK_SET) != 0 || !read_full(fd.get(), image.get(), block, &got)) {
    std::printf("read() %s failed len=%d\n", path, static_cast<int>(got));
    return -1;
  }
  usleep(100 * kMs);
  return 0;
}

int write_field(Field f, const void* data) { return do_mtd_write(kFlashDevice, data, field(f).offset, field(f).size); }

// A text into its 64-byte field: cut at 63 characters, the rest zero.
int write_text_field(Field f, const char* text) {
  char room[FACTORY_TEXT_SIZE] = {};
  if (text != nullptr) std::strncpy(room, text, sizeof room - 1);
  return write_field(f, room);
}

int read_text_field(Field f, char* out) {
  if (out == nullptr) return -1;
  const int r = mtd_read(kFlashDevice, out, field(f).offset, field(f).size);
  out[FACTORY_TEXT_SIZE - 1] = '\0';
  return r;
}

const QQInfoRow* qq_row(int index) {
  if (index < 0 || index >= QQ_INFO_COUNT) return nullptr;
  return &qq_info_list[index];
}

using ReadUuid = int (*)(unsigned long long*);

}  // namespace

bool rewrite_env(std::span<const uint8_t> old_block, const char* key, const char* value, std::span<uint8_t> out) {
  std::fill(out.begin(), out.end(), 0);
  size_t at = 0;
  char scratch[UBOOTENV_VALUE_SIZE];
  for_each_env_entry(old_block, [&](const char* entry) {
    if (findval(entry, key, scratch) != 0) return false;  // the key's own entry, or not name=value
    const size_t n = std::strlen(entry) + 1;
    if (at + n > out.size()) return true;
    std::memcpy(out.data() + at, entry, n);
    at += n;
    return false;
  });
  if (value == nullptr || value[0] == '\0') return true;
  const size_t need = std::strlen(key) + 1 + std::strlen(value) + 1;
  if (at + need > out.size()) return false;
  std::snprintf(reinterpret_cast<char*>(out.data() + at), need, "%s=%s", key, value);
  return true;
}

void format_chip_id(uint64_t id, char* out) {
  uint8_t b[8];
  for (int i = 0; i < 8; ++i) b[i] = static_cast<uint8_t>(id >> (56 - 8 * i));
  std::snprintf(out, CHIP_ID_TEXT_SIZE, "%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x", b[0], b[1], b[2], b[3], b[4], b[5],
                b[6], b[7]);
}

int read_chip_id(uint64_t* id) {
  // Not linked: the SDK exists only on the board. A process that has it
  // loaded already offers it; else its library is opened for this call.
  void* handle = nullptr;
  auto read = reinterpret_cast<ReadUuid>(dlsym(RTLD_DEFAULT, "MI_SYS_ReadUuid"));
  if (read == nullptr) {
    handle = dlopen(PHONECORE_MI_SYS_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (handle != nullptr) read = reinterpret_cast<ReadUuid>(dlsym(handle, "MI_SYS_ReadUuid"));
  }
  int result = -1;
  unsigned long long value = 0;
  if (read != nullptr && read(&value) == 0) {
    *id = value;
    result = 0;
  }
  if (handle != nullptr) dlclose(handle);
  return result;
}

}  // namespace phonecore::device

namespace dev = phonecore::device;
using dev::Field;

QQInfoRow qq_info_list[QQ_INFO_COUNT] = {
    {dev::kFlashDevice, dev::field(Field::kQQ0).offset, dev::field(Field::kQQ0).size},
    {dev::kFlashDevice, dev::field(Field::kQQ1).offset, dev::field(Field::kQQ1).size},
    {dev::kFlashDevice, dev::field(Field::kQQ2).offset, dev::field(Field::kQQ2).size},
    {dev::kFlashDevice, dev::field(Field::kQQ3).offset, dev::field(Field::kQQ3).size},
    {dev::kFlashDevice, dev::field(Field::kQQ4).offset, dev::field(Field::kQQ4).size},
};
static_assert(offsetof(QQInfoRow, offset) == sizeof(void*) && offsetof(QQInfoRow, size) == sizeof(void*) + 4);
static_assert(sizeof(QQInfoRow) == sizeof(void*) + 8);

extern "C" {

int mtd_read(const char* path, void* buf, int offset, int length) noexcept {
  if (path == nullptr || buf == nullptr || offset < 0 || length < 0) return -1;
  const int fd = ::open(path, O_RDWR | O_SYNC);
  if (fd < 0) return -1;
  const bool ok =
      ::lseek(fd, offset, SEEK_SET) == offset && dev::read_full(fd, buf, static_cast<size_t>(length), nullptr);
  ::close(fd);
  usleep(50 * 1000);
  return ok ? 0 : -1;
}

int mtd_write(const char* path, const void* data, int offset, int length) noexcept {
  if (path == nullptr || (data == nullptr && length > 0)) return -1;
  return dev::do_mtd_write(path, data, offset, length);
}

int mac_read(int index, unsigned char* buf) noexcept {
  if (buf == nullptr) return -1;
  const int offset = index >= 0 && index < 3 ? dev::field(dev::kMacFields[index]).offset : 0;
  return mtd_read(dev::kFlashDevice, buf, offset, MAC_BYTES);
}

int mac_readstring(int index, char* out) noexcept {
  unsigned char m[MAC_BYTES];
  if (out == nullptr || mac_read(index, m) != 0) return -1;
  std::snprintf(out, MAC_TEXT_SIZE, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4], m[5]);
  return 0;
}

int mac_readstring2(int index, char* out) noexcept {
  unsigned char m[MAC_BYTES];
  if (out == nullptr || mac_read(index, m) != 0) return -1;
  std::snprintf(out, MAC_TEXT2_SIZE, "%02x%02x%02x%02x%02x%02x", m[0], m[1], m[2], m[3], m[4], m[5]);
  return 0;
}

int read_ubootenv(char* block) noexcept {
  if (block == nullptr) return -1;
  const int r = mtd_read(dev::kFlashDevice, block, dev::field(Field::kEnv).offset, UBOOTENV_SIZE);
  if (r != 0) return r;
  return static_cast<uint8_t>(block[0]) == 0xFF ? -1 : 0;
}

int write_ubootenv(const char* block) noexcept {
  if (block == nullptr) return -1;
  return dev::write_field(Field::kEnv, block);
}

int findval(const char* entry, const char* key, char* out) noexcept {
  if (entry == nullptr || key == nullptr) return -1;
  alignas(StringArray) unsigned char room[STRING_ARRAY_BYTES(SPLIT_STRING_MAX)];
  auto* parts = reinterpret_cast<StringArray*>(room);
  if (split_string(entry, '=', parts) != 2) return -1;
  if (std::strcmp(parts->slot[0].text, key) != 0) return 0;
  if (out != nullptr) std::memcpy(out, parts->slot[1].text, static_cast<size_t>(parts->slot[1].length) + 1);
  return 1;
}

int findubootenv(const char* block, const char* key, char* out) noexcept {
  if (block == nullptr || key == nullptr) return -1;
  int result = -1;
  dev::for_each_env_entry(std::span(reinterpret_cast<const uint8_t*>(block), UBOOTENV_SIZE), [&](const char* entry) {
    if (findval(entry, key, out) != 1) return false;
    result = 0;
    return true;
  });
  return result;
}

int changeubootenv(const char* key, const char* value) noexcept {
  if (key == nullptr) return -1;
  uint8_t old_block[UBOOTENV_SIZE];
  if (mtd_read(dev::kFlashDevice, old_block, dev::field(Field::kEnv).offset, UBOOTENV_SIZE) != 0) return -1;
  uint8_t new_block[UBOOTENV_SIZE];
  if (!dev::rewrite_env(old_block, key, value, new_block)) {
    std::printf("changeubootenv: no room for %s\n", key);
    return -1;
  }
  return write_ubootenv(reinterpret_cast<const char*>(new_block));
}

int set_ubootparam_bykey(const char* key, const char* value) noexcept { return changeubootenv(key, value); }

int get_ubootparam_bykey(const char* key, char* out, int size) noexcept {
  if (out != nullptr && size > 0) std::memset(out, 0, static_cast<size_t>(size));
  char block[UBOOTENV_SIZE];
  if (read_ubootenv(block) != 0) return -1;
  char value[UBOOTENV_VALUE_SIZE];
  if (key == nullptr || findubootenv(block, key, value) != 0) return -2;
  if (out != nullptr && size > 0) {
    const size_t n = std::min(std::strlen(value), static_cast<size_t>(size) - 1);
    std::memcpy(out, value, n);
  }
  return 0;
}

int ReadQQIotInfo(int index, void* buf, int* len) noexcept {
  const QQInfoRow* row = dev::qq_row(index);
  if (row == nullptr || buf == nullptr) return -1;
  if (len != nullptr) *len = row->size;
  return mtd_read(row->dev, buf, row->offset, row->size);
}

int WriteQQIotInfo(int index, const void* data, int* len) noexcept {
  const QQInfoRow* row = dev::qq_row(index);
  if (row == nullptr || data == nullptr || len == nullptr || *len < 0) return -1;
  const int r = mtd_write(row->dev, data, row->offset, std::min(*len, row->size));
  *len = row->size;
  return r;
}

int charToData(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

int StrToMac(const char* text, unsigned char* out) noexcept {
  if (text == nullptr || out == nullptr) return -1;
  size_t i = 0;
  for (int pair = 0; pair < MAC_BYTES && text[i] != '\0';) {
    if (!std::isxdigit(static_cast<unsigned char>(text[i]))) {
      ++i;
      continue;
    }
    const char low = text[i + 1];
    out[pair++] = static_cast<unsigned char>(charToData(text[i]) << 4 | charToData(low));
    if (low == '\0' || text[i + 2] == '\0') break;  // the pair ends the text
    i += 3;
  }
  return 0;
}

int write_mac_sn_times(const char* time, const char* mac, const char* serial) noexcept {
  unsigned char binary[MAC_BYTES] = {};
  StrToMac(mac != nullptr ? mac : "", binary);
  dev::write_field(Field::kMac1, binary);
  char command[FACTORY_TEXT_SIZE + 32];
  std::snprintf(command, sizeof command, "fw_setenv ethaddr %.63s", mac != nullptr ? mac : "");
  std::system(command);
  dev::write_text_field(Field::kMacText, mac);
  dev::write_text_field(Field::kSerial, serial);
  dev::write_text_field(Field::kTime, time);
  return 0;
}

int write_all_key(const void* key1, const void* key2, const void* key3) noexcept {
  const void* keys[] = {key1, key2, key3};
  constexpr Field kKeys[] = {Field::kKey1, Field::kKey2, Field::kKey3};
  for (size_t i = 0; i < std::size(keys); ++i)
    if (keys[i] != nullptr) dev::write_field(kKeys[i], keys[i]);
  return 0;
}

int read_time_mac_sn_uuid(char* time, char* mac, char* serial, char* uuid) noexcept {
  dev::read_text_field(Field::kTime, time);
  dev::read_text_field(Field::kMacText, mac);
  dev::read_text_field(Field::kSerial, serial);
  uint64_t id = 0;
  if (dev::read_chip_id(&id) != 0) return -1;
  char text[CHIP_ID_TEXT_SIZE];
  dev::format_chip_id(id, text);
  if (uuid != nullptr) std::memcpy(uuid, text, sizeof text);
  std::printf("uuid: %s\n", text);
  return 0;
}

}  // extern "C"

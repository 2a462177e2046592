// Backup of camera cards to the largest disk. The lists are the caller's
// scan of /mnt; everything runs on the caller's one thread. As on the
// phone, scans leave the working directory where they looked: their stat
// calls use bare names.

#include "phonecore/usb_backup.h"

#include <dirent.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "phonecore/fileutil.h"
#include "phonecore/profile.h"

static_assert(sizeof(UsbFoldList) == 1028);
static_assert(offsetof(BackupDevice, ready) == 0 && offsetof(BackupDevice, found) == 1 &&
              offsetof(BackupDevice, path) == 2);
static_assert(offsetof(BackupDevice, total_kb) == 264 && offsetof(BackupDevice, free_kb) == 272);
static_assert(sizeof(BackupDevice) == 280);

UsbFoldList usb_plist_cur;
UsbFoldList usb_plist_pre;
UsbFoldList usb_plist_new;
UsbFoldList usb_plist_bigthan50g;
UsbFoldList usb_plist_unmount;
BackupDevice backup_device;
const char* ph_path = "DCIM";

namespace phonecore::device {
namespace {

constexpr const char* kMnt = "/mnt";
constexpr const char* kMap = "/etc/quorbit/configinfo.conf";
constexpr const char* kMark = "quorbit_mark.conf";
constexpr unsigned long long kBigDiskKb = 50000000ull;
constexpr size_t kIdMax = 15;
constexpr const char* kKeptEntries[] = {"sd", "mp3"};

// A count the caller filled, held to the list's room.
int count_of(const UsbFoldList& list) { return std::clamp(list.count, 0, USB_FOLD_MAX); }

std::string_view name_at(const UsbFoldList& list, int i) {
  return {list.name[i], strnlen(list.name[i], USB_FOLD_NAME_SIZE - 1)};
}

void add_name(UsbFoldList& list, std::string_view name) {
  char* slot = list.name[list.count++];
  const size_t n = std::min(name.size(), static_cast<size_t>(USB_FOLD_NAME_SIZE - 1));
  std::memcpy(slot, name.data(), n);
  slot[n] = '\0';
}

bool is_dir(const char* path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

// Whether folder holds a folder of that name; the working directory stays
// in folder.
bool holds_folder(const std::string& folder, const char* name) {
  if (chdir(folder.c_str()) != 0) return false;
  return is_dir(name);
}

bool folder_opens(const std::string& path) {
  DIR* d = opendir(path.c_str());
  if (d == nullptr) return false;
  closedir(d);
  return true;
}

// The first line of the mark, its id: at most 15 characters, line end cut.
bool read_mark(const std::string& path, char* id /* kIdMax + 1 */) {
  FILE* f = std::fopen(path.c_str(), "re");
  if (f == nullptr) {
    std::printf("fopen failed");
    return false;
  }
  char line[INI_LINE_SIZE] = {};
  if (std::fgets(line, sizeof line, f) == nullptr) line[0] = '\0';
  std::fclose(f);
  line[std::strcspn(line, "\r\n")] = '\0';
  const size_t n = std::min(std::strlen(line), kIdMax);
  std::memcpy(id, line, n);
  id[n] = '\0';
  return true;
}

bool write_mark(const std::string& path, const char* id) {
  FILE* f = std::fopen(path.c_str(), "we");
  if (f == nullptr) return false;
  std::fputs(id, f);
  return std::fclose(f) == 0;
}

// A fresh id that the map does not hold.
void new_id(char* id /* kIdMax + 1 */) {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::srand(static_cast<unsigned>(now.tv_usec));
  char found[INI_LINE_SIZE];
  do {
    std::snprintf(id, kIdMax + 1, "quorbit_%04x", static_cast<unsigned>(std::rand() & 0xffff));
  } while (IniRead(kMap, id, found) != nullptr);
}

void register_volume(const char* id, const std::string& volume) {
  IniWrite(kMap, id, (volume + "/" + ph_path).c_str());
}

}  // namespace
}  // namespace phonecore::device

namespace dev = phonecore::device;

extern "C" {

int trave_dir(const char* path, UsbFoldList* list) noexcept {
  if (path == nullptr || list == nullptr) return -1;
  DIR* d = opendir(path);
  if (d == nullptr || chdir(path) != 0) {
    if (d != nullptr) closedir(d);
    std::printf("error opendir %s!!!\n", path);
    return -1;
  }
  list->count = 0;
  while (const dirent* e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    struct stat st;
    if (stat(e->d_name, &st) != 0) continue;
    if (list->count >= USB_FOLD_MAX) {
      std::printf(">>>>too many fold");
      break;
    }
    dev::add_name(*list, e->d_name);
  }
  closedir(d);
  return 0;
}

int delete_unmount_fold(void) noexcept {
  usb_plist_unmount.count = 0;
  DIR* d = opendir(dev::kMnt);
  if (d == nullptr) return 0;
  if (chdir(dev::kMnt) != 0) {
    closedir(d);
    return 0;
  }
  while (const dirent* e = readdir(d)) {
    const char* name = e->d_name;
    if (name[0] == '.') continue;
    bool keep = false;
    for (const char* kept : dev::kKeptEntries) keep = keep || std::strcmp(name, kept) == 0;
    struct stat st;
    const bool known = stat(name, &st) == 0;
    if (keep || (known && check_if_fileexit(("/dev/" + std::string(name)).c_str()) == 1)) continue;
    umount(name);
    std::remove(name);
    if (usb_plist_unmount.count < USB_FOLD_MAX) dev::add_name(usb_plist_unmount, name);
  }
  closedir(d);
  return 0;
}

int find_new_fold(void) noexcept {
  usb_plist_new.count = 0;
  const int current = dev::count_of(usb_plist_cur);
  const int previous = dev::count_of(usb_plist_pre);
  for (int i = 0; i < current; ++i) {
    const std::string_view name = dev::name_at(usb_plist_cur, i);
    bool seen = false;
    for (int j = 0; j < previous && !seen; ++j) seen = dev::name_at(usb_plist_pre, j) == name;
    if (!seen) dev::add_name(usb_plist_new, name);
  }
  return usb_plist_new.count > 0 ? 1 : 0;
}

int find_fold_by_size(void) noexcept {
  UsbFoldList mounted{};
  usb_plist_bigthan50g.count = 0;
  if (trave_dir(dev::kMnt, &mounted) != 0) return 0;
  for (int i = 0; i < dev::count_of(mounted); ++i) {
    const std::string path = std::string(dev::kMnt) + "/" + std::string(dev::name_at(mounted, i));
    if (GetDiskSize(path.c_str(), 0) > dev::kBigDiskKb) dev::add_name(usb_plist_bigthan50g, dev::name_at(mounted, i));
  }
  return 0;
}

int find_back_up_device(void) noexcept {
  backup_device.total_kb = 0;
  backup_device.found = 0;
  UsbFoldList mounted{};
  if (trave_dir(dev::kMnt, &mounted) == 0) {
    for (int i = 0; i < dev::count_of(mounted); ++i) {
      const std::string path = std::string(dev::kMnt) + "/" + std::string(dev::name_at(mounted, i));
      const unsigned long long total = GetDiskSize(path.c_str(), 0);
      if (total <= dev::kBigDiskKb || total <= backup_device.total_kb) continue;  // equal: the first stays
      backup_device.total_kb = total;
      backup_device.free_kb = GetDiskSize(path.c_str(), 1);
      const size_t n = std::min(path.size(), sizeof backup_device.path - 1);
      std::memcpy(backup_device.path, path.data(), n);
      backup_device.path[n] = '\0';
      backup_device.ready = 1;
      backup_device.found = 1;
    }
  }
  if (backup_device.found != 0)
    std::printf("find back up disk :%s size: %llu \n\r", backup_device.path,
                static_cast<unsigned long long>(backup_device.total_kb));
  else std::printf("connot find back up disk ");
  return 0;
}

int process_img_backup(void) noexcept {
  const int count = dev::count_of(usb_plist_new);
  for (int i = 0; i < count; ++i) {
    const std::string volume = std::string(dev::kMnt) + "/" + std::string(dev::name_at(usb_plist_new, i));
    const std::string mark = volume + "/" + dev::kMark;
    char id[dev::kIdMax + 1] = {};
    if (check_if_fileexit(mark.c_str()) == 1) {
      if (!dev::read_mark(mark, id)) continue;
      char source[INI_LINE_SIZE];
      if (IniRead(dev::kMap, id, source) != nullptr) {
        std::printf("find old device id=%s\n\r", id);
        recvcmd(id, 1);
        continue;
      }
      std::printf("-->connot read config file \n\r");
      if (dev::holds_folder(volume, ph_path)) {
        dev::register_volume(id, volume);
        recvcmd(id, 1);
        continue;
      }
      std::remove(mark.c_str());
      recvcmd(id, 1);  // finds no source and fails quietly
      continue;
    }
    if (!dev::holds_folder(volume, ph_path)) continue;
    std::printf("---->find_new device \n\r");
    dev::new_id(id);
    dev::register_volume(id, volume);
    dev::write_mark(mark, id);  // no copy on the first insertion
  }
  return 0;
}

int recvcmd(const char* id, int operation) noexcept {
  std::printf("welcome to sebiozuste");
  if (id == nullptr) return -1;
  char source[INI_LINE_SIZE] = {};
  // A map without the id leaves no source (its out buffer may hold another
  // id's path: it is not used then).
  if (IniRead(dev::kMap, id, source) == nullptr || !dev::folder_opens(source)) {
    std::printf("Source ID path doesnot exists!");
    return -1;
  }
  if (backup_device.found == 0) return -2;
  const std::string target = std::string(backup_device.path) + "/" + id;
  if (operation == 1) {
    if (!dev::is_dir(target.c_str())) mkdir(target.c_str(), 0775);
    if (copy_dir(source, target.c_str()) != 0) {
      std::printf("Backup failed!");
      return -1;
    }
    std::printf("Backup successfully ");
  } else if (operation == 0) {
    if (!dev::is_dir(target.c_str())) {
      std::printf("no file existed by id to be restored!");
      std::printf("-->backup finish \n\r");
      return 0;
    }
    if (copy_dir(target.c_str(), source) != 0) {
      std::printf("Restore failed!");
      return -1;
    }
    std::printf("Restore successfully ");
  }
  std::printf("-->backup finish \n\r");
  return 0;
}

}  // extern "C"

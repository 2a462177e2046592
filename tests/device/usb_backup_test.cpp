// Camera-card backup in the box: volumes are folders of /mnt whose sizes
// come from /run/phonebox/volumes (box/devices); the map is
// /etc/quorbit/configinfo.conf.

#include <dirent.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "phonecore/usb_backup.h"
#include "support/files.h"
#include "support/printed.h"
#include "support/put_file.h"

namespace {

namespace fs = std::filesystem;
using phonecore::testing::printed_by;
using phonecore::testing::slurp;

constexpr const char* kMap = "/etc/quorbit/configinfo.conf";
constexpr unsigned long long kGb = 1024ull * 1024;  // in kilobytes

// Writes a file of a stick, its folders made first.
void put_file(const std::string& path, const std::string& bytes) {
  fs::create_directories(fs::path(path).parent_path());
  phonecore::testing::put_file(path, bytes);
}

void volumes(const std::string& table) { put_file("/run/phonebox/volumes", table); }

void disk(const std::string& name, unsigned long long gb) {
  fs::create_directories("/mnt/" + name);
  std::ofstream("/run/phonebox/volumes", std::ios::app) << name << ' ' << gb * kGb << ' ' << gb * kGb / 2 << '\n';
}

void card(const std::string& name, const std::vector<std::string>& photos) {
  fs::create_directories("/mnt/" + name + "/DCIM");
  for (const std::string& p : photos) put_file("/mnt/" + name + "/DCIM/" + p, "photo " + p);
}

std::vector<std::string> names(const UsbFoldList& list) {
  std::vector<std::string> out;
  for (int i = 0; i < list.count; ++i) out.emplace_back(list.name[i]);
  return out;
}

// A scan as a caller makes it: the last one becomes the previous.
int scan() {
  usb_plist_pre = usb_plist_cur;
  trave_dir("/mnt", &usb_plist_cur);
  const int news = find_new_fold();
  find_back_up_device();
  process_img_backup();
  return news;
}

class UsbBackup : public ::testing::Test {
 protected:
  void SetUp() override {
    chdir("/");
    for (const auto& e : fs::directory_iterator("/mnt")) fs::remove_all(e.path());
    fs::remove(kMap);
    volumes("");
    usb_plist_cur = UsbFoldList{};
    usb_plist_pre = UsbFoldList{};
    backup_device = BackupDevice{};
  }
  void TearDown() override { chdir("/"); }
};

TEST_F(UsbBackup, TraveDirListsUpTo32AndStaysInTheFolder) {
  for (int i = 0; i < 40; ++i) fs::create_directories("/mnt/v" + std::to_string(i));
  fs::create_directories("/mnt/.hidden");
  put_file("/mnt/" + std::string(255, 'n'), "");
  UsbFoldList list{};
  const std::string printed = printed_by([&] { EXPECT_EQ(trave_dir("/mnt", &list), 0); });
  EXPECT_EQ(list.count, 32);
  EXPECT_EQ(printed, ">>>>too many fold");
  for (const std::string& n : names(list)) {
    EXPECT_NE(n[0], '.');
    EXPECT_LE(n.size(), 31u);
  }
  EXPECT_EQ(fs::current_path(), "/mnt") << "the working directory stays where it looked";
  const std::string missing = printed_by([&] { EXPECT_EQ(trave_dir("/nope", &list), -1); });
  EXPECT_EQ(missing, "error opendir /nope!!!\n");
}

TEST_F(UsbBackup, TheLargestDiskAbove50GbIsChosen) {
  disk("disk60", 60);
  disk("disk80", 80);
  disk("disk40", 40);
  const std::string printed = printed_by([] { EXPECT_EQ(find_back_up_device(), 0); });
  EXPECT_STREQ(backup_device.path, "/mnt/disk80");
  EXPECT_EQ(backup_device.total_kb, 80 * kGb);
  EXPECT_EQ(backup_device.free_kb, 40 * kGb);
  EXPECT_EQ(backup_device.found, 1);
  EXPECT_EQ(backup_device.ready, 1);
  EXPECT_NE(printed.find("find back up disk :/mnt/disk80 size: " + std::to_string(80 * kGb) + " \n\r"),
            std::string::npos);
  EXPECT_EQ(find_fold_by_size(), 0);
  std::vector<std::string> big = names(usb_plist_bigthan50g);
  std::sort(big.begin(), big.end());
  EXPECT_EQ(big, (std::vector<std::string>{"disk60", "disk80"}));
}

TEST_F(UsbBackup, ASmallDiskIsNeverChosenAndReadyIsNotCleared) {
  disk("disk80", 80);
  find_back_up_device();
  fs::remove_all("/mnt/disk80");
  volumes("");
  disk("disk40", 40);
  const std::string printed = printed_by([] { find_back_up_device(); });
  EXPECT_NE(printed.find("connot find back up disk "), std::string::npos);
  EXPECT_EQ(backup_device.found, 0);
  EXPECT_EQ(backup_device.total_kb, 0u);
  EXPECT_EQ(backup_device.ready, 1) << "the search never clears ready";
}

TEST_F(UsbBackup, OnEqualSizesTheFirstInDirectoryOrderStays) {
  disk("alpha", 60);
  disk("beta", 60);
  UsbFoldList order{};
  trave_dir("/mnt", &order);
  find_back_up_device();
  EXPECT_EQ(std::string(backup_device.path), "/mnt/" + std::string(order.name[0]));
}

TEST_F(UsbBackup, ANewCardIsMarkedAndRegisteredButNotCopied) {
  disk("disk80", 80);
  card("cam", {"a.jpg"});
  std::string printed = printed_by([] { EXPECT_EQ(scan(), 1); });
  EXPECT_NE(printed.find("---->find_new device \n\r"), std::string::npos);
  const std::string id = slurp("/mnt/cam/quorbit_mark.conf");
  // "quorbit_" and four lower-case hexadecimal digits.
  const bool shaped = id.size() == 12 && id.rfind("quorbit_", 0) == 0 &&
                      id.find_first_not_of("0123456789abcdef", 8) == std::string::npos;
  EXPECT_TRUE(shaped) << id;
  EXPECT_EQ(slurp(kMap), id + "=/mnt/cam/DCIM\n");
  EXPECT_FALSE(fs::exists("/mnt/disk80/" + id)) << "no copy on the first insertion";
  // Out and in again: known, and copied.
  usb_plist_cur = UsbFoldList{};
  printed = printed_by([] { scan(); });
  EXPECT_NE(printed.find("find old device id=" + id + "\n\r"), std::string::npos);
  EXPECT_EQ(slurp("/mnt/disk80/" + id + "/a.jpg"), "photo a.jpg");
  // Later photos are added; what is there stays.
  put_file("/mnt/disk80/" + id + "/a.jpg", "kept");
  card("cam", {"b.jpg"});
  usb_plist_cur = UsbFoldList{};
  scan();
  EXPECT_EQ(slurp("/mnt/disk80/" + id + "/b.jpg"), "photo b.jpg");
  EXPECT_EQ(slurp("/mnt/disk80/" + id + "/a.jpg"), "kept");
}

TEST_F(UsbBackup, TheMapKeepsOnlyTheLastIdSoAnOlderCardRegistersAgain) {
  disk("disk80", 80);
  card("a", {"1.jpg"});
  scan();
  const std::string id_a = slurp("/mnt/a/quorbit_mark.conf");
  fs::remove_all("/mnt/a");
  card("b", {"2.jpg"});
  scan();
  const std::string id_b = slurp("/mnt/b/quorbit_mark.conf");
  EXPECT_EQ(slurp(kMap), id_b + "=/mnt/b/DCIM\n");
  fs::remove_all("/mnt/b");
  card("a", {"1.jpg"});
  put_file("/mnt/a/quorbit_mark.conf", id_a);
  const std::string printed = printed_by([] { scan(); });
  EXPECT_NE(printed.find("-->connot read config file \n\r"), std::string::npos);
  EXPECT_EQ(slurp(kMap), id_a + "=/mnt/a/DCIM\n");
  EXPECT_EQ(slurp("/mnt/disk80/" + id_a + "/1.jpg"), "photo 1.jpg") << "re-registered and copied";
}

TEST_F(UsbBackup, AVolumeWithoutDcimGetsNoMarkAndLosesAStaleOne) {
  disk("disk80", 80);
  fs::create_directories("/mnt/stick");
  put_file("/mnt/music/DCIM", "a file, not a folder");
  scan();
  EXPECT_FALSE(fs::exists("/mnt/stick/quorbit_mark.conf"));
  EXPECT_FALSE(fs::exists("/mnt/music/quorbit_mark.conf"));
  EXPECT_FALSE(fs::exists(kMap));
  // A mark the map doesn't know, on a volume without DCIM, is deleted.
  put_file("/mnt/old/quorbit_mark.conf", "quorbit_dead\r\n");
  usb_plist_cur = UsbFoldList{};
  const std::string printed = printed_by([] { scan(); });
  EXPECT_FALSE(fs::exists("/mnt/old/quorbit_mark.conf"));
  EXPECT_NE(printed.find("Source ID path doesnot exists!"), std::string::npos);
}

TEST_F(UsbBackup, RecvcmdResults) {
  EXPECT_EQ(recvcmd("quorbit_none", 1), -1);
  card("cam", {"a.jpg"});
  put_file(kMap, "quorbit_1234=/mnt/cam/DCIM\n");
  EXPECT_EQ(recvcmd("quorbit_1234", 1), -2) << "no backup disk";
  disk("disk80", 80);
  find_back_up_device();
  std::string printed = printed_by([] { EXPECT_EQ(recvcmd("quorbit_1234", 0), 0); });
  EXPECT_NE(printed.find("no file existed by id to be restored!"), std::string::npos);
  EXPECT_EQ(recvcmd("quorbit_1234", 1), 0);
  EXPECT_EQ(recvcmd("quorbit_1234", 7), 0) << "any other operation does nothing";
  // Restore puts back what the card lost.
  fs::remove("/mnt/cam/DCIM/a.jpg");
  printed = printed_by([] { EXPECT_EQ(recvcmd("quorbit_1234", 0), 0); });
  EXPECT_NE(printed.find("Restore successfully "), std::string::npos);
  EXPECT_EQ(slurp("/mnt/cam/DCIM/a.jpg"), "photo a.jpg");
}

TEST_F(UsbBackup, AThousandCallsLeaveNoDescriptorOpen) {
  disk("disk80", 80);
  card("cam", {"a.jpg"});
  put_file(kMap, "quorbit_1234=/mnt/cam/DCIM\n");
  find_back_up_device();
  auto open_fds = [] {
    int n = 0;
    for ([[maybe_unused]] const auto& e : fs::directory_iterator("/proc/self/fd")) ++n;
    return n;
  };
  const int before = open_fds();
  testing::internal::CaptureStdout();
  for (int i = 0; i < 1000; ++i) recvcmd("quorbit_1234", i % 2);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(open_fds(), before);
}

TEST_F(UsbBackup, UnmountedFoldersAreRemovedButSdMp3AndDevicesStay) {
  for (const char* kept : {"sd", "mp3", "null"}) fs::create_directories(std::string("/mnt/") + kept);
  disk("gone", 8);
  put_file("/mnt/gone/file", "x");
  fs::create_directories("/mnt/stale");
  EXPECT_EQ(delete_unmount_fold(), 0);
  EXPECT_TRUE(fs::exists("/mnt/sd"));
  EXPECT_TRUE(fs::exists("/mnt/mp3"));
  EXPECT_TRUE(fs::exists("/mnt/null")) << "/dev/null exists";
  EXPECT_FALSE(fs::exists("/mnt/gone"));
  EXPECT_FALSE(fs::exists("/mnt/stale"));
  std::vector<std::string> gone = names(usb_plist_unmount);
  std::sort(gone.begin(), gone.end());
  EXPECT_EQ(gone, (std::vector<std::string>{"gone", "stale"}));
  EXPECT_EQ(fs::current_path(), "/mnt");
}

TEST_F(UsbBackup, OddMarksAndASymlinkLoopInDcim) {
  disk("disk80", 80);
  card("empty", {"e.jpg"});
  put_file("/mnt/empty/quorbit_mark.conf", "");
  card("huge", {"h.jpg"});
  put_file("/mnt/huge/quorbit_mark.conf", std::string(1024 * 1024, 'm'));
  card("loop", {"l.jpg"});
  fs::create_directory_symlink(".", "/mnt/loop/DCIM/again");
  testing::internal::CaptureStdout();
  scan();
  testing::internal::GetCapturedStdout();
  // Marks were read, cut at 15 characters, and the volumes registered in
  // turn; the map holds the last one.
  const std::string map = slurp(kMap);
  EXPECT_NE(map.find("=/mnt/"), std::string::npos) << map;
  EXPECT_EQ(slurp("/mnt/huge/quorbit_mark.conf").size(), 1024u * 1024) << "a mark is not rewritten";
  // The loop card got its mark; its copy (next insertion) ends.
  const std::string id = slurp("/mnt/loop/quorbit_mark.conf");
  ASSERT_FALSE(id.empty());
  usb_plist_cur = UsbFoldList{};
  put_file(kMap, id + "=/mnt/loop/DCIM\n");
  testing::internal::CaptureStdout();
  scan();
  const std::string printed = testing::internal::GetCapturedStdout();
  // The loop is followed until a path grows past its room; that copy
  // fails, and the backup with it.
  EXPECT_NE(printed.find("find old device id=" + id), std::string::npos);
  EXPECT_NE(printed.find("Backup failed!"), std::string::npos) << printed.substr(0, 2000);
}

}  // namespace

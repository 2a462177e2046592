// The comparison of two scans of /mnt.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "phonecore/usb_backup.h"

namespace {

void fill(UsbFoldList& list, const std::vector<std::string>& names) {
  list = UsbFoldList{};
  for (const std::string& n : names) std::strncpy(list.name[list.count++], n.c_str(), USB_FOLD_NAME_SIZE - 1);
}

std::vector<std::string> new_names() {
  std::vector<std::string> out;
  for (int i = 0; i < usb_plist_new.count; ++i) out.emplace_back(usb_plist_new.name[i]);
  return out;
}

TEST(FindNewFold, NamesOfThisScanMissingFromTheLastInOrder) {
  fill(usb_plist_cur, {"a", "b", "c"});
  fill(usb_plist_pre, {"b"});
  EXPECT_EQ(find_new_fold(), 1);
  EXPECT_EQ(new_names(), (std::vector<std::string>{"a", "c"}));
  fill(usb_plist_pre, {"c", "a", "b"});
  EXPECT_EQ(find_new_fold(), 0);
  EXPECT_TRUE(new_names().empty());
  fill(usb_plist_pre, {"A", "b ", "c"});
  EXPECT_EQ(find_new_fold(), 1);
  EXPECT_EQ(new_names(), (std::vector<std::string>{"a", "b"})) << "exact match only";
}

TEST(FindNewFold, CountsAreHeldToTheListAndNamesTo31) {
  fill(usb_plist_pre, {});
  usb_plist_cur = UsbFoldList{};
  std::memset(usb_plist_cur.name, 'x', sizeof usb_plist_cur.name);  // no terminators at all
  usb_plist_cur.count = 1000;
  EXPECT_EQ(find_new_fold(), 1);
  ASSERT_EQ(usb_plist_new.count, USB_FOLD_MAX);
  EXPECT_EQ(std::string(usb_plist_new.name[31]), std::string(31, 'x'));
  usb_plist_cur.count = -5;
  EXPECT_EQ(find_new_fold(), 0);
}

TEST(UsbRecords, SizesOfTheShared) {
  EXPECT_EQ(sizeof(UsbFoldList), 1028u);
  EXPECT_EQ(sizeof(BackupDevice), 280u);
  EXPECT_STREQ(ph_path, "DCIM");
}

}  // namespace

// Contact groups: the file voipGroupList.bin through the box's
// configuration service, and the notice the directory service gets when a
// group goes (the test plays the service).

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "phonecore/contacts.h"
#include "support/directory_peer.h"
#include "support/files.h"
#include "support/put_file.h"
#include "wire_bytes.h"

using phonecore::testing::Datagram;
using phonecore::testing::DirectoryStandIn;
using phonecore::testing::put_file;
using phonecore::testing::slurp;
using phonecore::testing::WireBytes;

namespace {

const std::string kFile = "/appconfigs/voipGroupList.bin";

long file_size() {
  struct stat st;
  return stat(kFile.c_str(), &st) == 0 ? static_cast<long>(st.st_size) : -1;
}

GroupRecord group(int32_t id, const char* name, int32_t ring = 0) {
  GroupRecord g{};
  g.id = id;
  std::strncpy(g.name, name, sizeof g.name - 1);
  g.ring_id = ring;
  return g;
}

void put_groups(const std::vector<GroupRecord>& groups) {
  put_file(kFile, std::string(reinterpret_cast<const char*>(groups.data()), groups.size() * sizeof(GroupRecord)));
}

std::vector<GroupRecord> groups_in_file() {
  const std::string bytes = slurp(kFile);
  std::vector<GroupRecord> out(bytes.size() / sizeof(GroupRecord));
  std::memcpy(out.data(), bytes.data(), out.size() * sizeof(GroupRecord));
  return out;
}

class Groups : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(service_.bound()) << "30001 is taken";
    unlink(kFile.c_str());
  }
  void TearDown() override { unlink(kFile.c_str()); }

  // The notices heard, and the size of the group file when each came.
  std::vector<long> sizes_at_notice() {
    std::lock_guard lock(mutex_);
    return sizes_at_notice_;
  }
  std::mutex mutex_;
  std::vector<long> sizes_at_notice_;
  DirectoryStandIn service_{[this](const Datagram& r) {
    std::lock_guard lock(mutex_);
    sizes_at_notice_.push_back(file_size());
    return DirectoryStandIn::reply(r, {});
  }};
};

TEST_F(Groups, FirstGroupGetsId3AndTheNextId4) {
  ASSERT_EQ(local_cantacts_group_add("family", 1), 0);
  ASSERT_EQ(local_cantacts_group_add("work", 2), 0);
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 2u);
  EXPECT_EQ(g[0].id, 3);
  EXPECT_STREQ(g[0].name, "family");
  EXPECT_EQ(g[0].ring_id, 1);
  EXPECT_EQ(g[1].id, 4);
  EXPECT_STREQ(g[1].name, "work");
  EXPECT_EQ(g[1].ring_id, 2);
}

TEST_F(Groups, AfterDeletingTheLastGroupTheNextIdFollowsTheNewLast) {
  put_groups({group(3, "a"), group(9, "b"), group(12, "c")});
  ASSERT_EQ(del_cantacts_group_byid(12), 0);
  ASSERT_EQ(local_cantacts_group_add("d", 0), 0);
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 3u);
  EXPECT_EQ(g[2].id, 10);
}

TEST_F(Groups, TheNextIdAfterTheLargestStoredIdWraps) {
  put_groups({group(3, "a"), group(INT32_MAX, "b")});
  ASSERT_EQ(local_cantacts_group_add("c", 0), 0);
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 3u);
  EXPECT_EQ(g[2].id, INT32_MIN);
}

TEST_F(Groups, ReservedAndEmptyNamesAreRefusedWhenAdding) {
  for (const char* name : {static_cast<const char*>(nullptr), "", "all", "blacklist", "whitelist"})
    EXPECT_EQ(local_cantacts_group_add(name, 0), -4) << (name ? name : "(null)");
  EXPECT_EQ(file_size(), -1) << "nothing written";
}

TEST_F(Groups, ANameInUseGivesMinus3AndWritesNothing) {
  put_groups({group(3, "a"), group(4, "b")});
  EXPECT_EQ(local_cantacts_group_add("b", 0), -3);
  EXPECT_EQ(groups_in_file().size(), 2u);
}

TEST_F(Groups, The33rdGroupGivesMinus2AndLeavesTheFileAlone) {
  std::vector<GroupRecord> full;
  for (int i = 0; i < 32; ++i) full.push_back(group(3 + i, ("g" + std::to_string(i)).c_str()));
  put_groups(full);
  const std::string before = slurp(kFile);
  EXPECT_EQ(local_cantacts_group_add("one more", 0), -2);
  EXPECT_EQ(slurp(kFile), before);
}

TEST_F(Groups, AMalformedFileIsReplacedByOneGroupWithId3) {
  put_file(kFile, std::string(100, '\x07'));
  GroupRecord* list = nullptr;
  int count = 5;
  EXPECT_EQ(local_grouplist_get(&list, &count), -1);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(list, nullptr);
  ASSERT_EQ(local_cantacts_group_add("new", 6), 0);
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 1u);
  EXPECT_EQ(g[0].id, 3);
  EXPECT_STREQ(g[0].name, "new");
}

TEST_F(Groups, GroupListGetFreesTheOldBufferAndGivesTheRecords) {
  put_groups({group(3, "a", 1), group(5, "b", 2)});
  auto* old = static_cast<GroupRecord*>(std::malloc(10));
  GroupRecord* list = old;
  int count = 0;
  ASSERT_EQ(local_grouplist_get(&list, &count), 0);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(list[1].id, 5);
  EXPECT_STREQ(list[1].name, "b");
  EXPECT_EQ(list[1].ring_id, 2);
  std::free(list);
  unlink(kFile.c_str());
  list = nullptr;
  EXPECT_EQ(local_grouplist_get(&list, &count), -1);
  EXPECT_EQ(count, 0);
}

TEST_F(Groups, DeletingAnUnknownIdRemovesTheFirstGroup) {
  put_groups({group(3, "a"), group(4, "b"), group(5, "c")});
  EXPECT_EQ(del_cantacts_group_byid(77), 0);
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 2u);
  EXPECT_EQ(g[0].id, 4);
  EXPECT_EQ(g[1].id, 5);
}

TEST_F(Groups, DeletingOneGroupWritesFirstThenSendsTheNotice) {
  put_groups({group(3, "a"), group(4, "b"), group(5, "c")});
  EXPECT_EQ(del_cantacts_group_byid(4), 0);
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 2u);
  EXPECT_EQ(g[0].id, 3);
  EXPECT_EQ(g[1].id, 5);
  auto notices = service_.requests();
  ASSERT_EQ(notices.size(), 1u);
  WireBytes notice(0x1007, 8207, 160);
  notice.p32(0, 4).ptext(4, "null");
  EXPECT_EQ(notices[0], notice.bytes());
  ASSERT_EQ(sizes_at_notice().size(), 1u);
  EXPECT_EQ(sizes_at_notice()[0], 144) << "the file was already written when the notice came";
}

TEST_F(Groups, DeletingAllSendsTheNoticeFirstThenWritesAnEmptyFile) {
  put_groups({group(3, "a"), group(4, "b")});
  EXPECT_EQ(del_cantacts_group_byid(-1), 0);
  EXPECT_EQ(file_size(), 0);
  auto notices = service_.requests();
  ASSERT_EQ(notices.size(), 1u);
  WireBytes notice(0x1007, 8207, 160);
  notice.p32(0, -1).ptext(4, "null");
  EXPECT_EQ(notices[0], notice.bytes());
  ASSERT_EQ(sizes_at_notice().size(), 1u);
  EXPECT_EQ(sizes_at_notice()[0], 144) << "the notice came before the write";
}

TEST_F(Groups, RenamingToItsOwnNameSucceeds) {
  put_groups({group(3, "a", 1), group(4, "b", 1)});
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(chg_cantacts_group_byid(4, "b", 9), 0);
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("tolk_group modify group id:4 name:b ringId:9 index:1\n"), std::string::npos) << out;
  auto g = groups_in_file();
  ASSERT_EQ(g.size(), 2u);
  EXPECT_EQ(g[1].ring_id, 9);
}

TEST_F(Groups, RenamingToAnotherGroupsNameGivesMinus3) {
  put_groups({group(3, "a"), group(4, "b")});
  EXPECT_EQ(chg_cantacts_group_byid(4, "a", 0), -3);
  EXPECT_STREQ(groups_in_file()[1].name, "b");
}

TEST_F(Groups, RenameRefusesAllAndBlacklistButTakesWhitelist) {
  put_groups({group(3, "a")});
  EXPECT_EQ(chg_cantacts_group_byid(3, "all", 0), -4);
  EXPECT_EQ(chg_cantacts_group_byid(3, "blacklist", 0), -4);
  EXPECT_EQ(chg_cantacts_group_byid(3, "whitelist", 0), 0);
  EXPECT_STREQ(groups_in_file()[0].name, "whitelist");
}

TEST_F(Groups, RenamingAnUnknownIdRenamesTheFirstGroup) {
  put_groups({group(3, "a"), group(4, "b")});
  EXPECT_EQ(chg_cantacts_group_byid(50, "z", 2), 0);
  auto g = groups_in_file();
  EXPECT_STREQ(g[0].name, "z");
  EXPECT_EQ(g[0].id, 3);
  EXPECT_STREQ(g[1].name, "b");
}

TEST_F(Groups, RenameKeepsTheLastByteOfTheNameField) {
  GroupRecord g = group(3, "");
  std::memset(g.name, 'q', sizeof g.name);  // 64 bytes, no terminator
  put_groups({g});
  EXPECT_EQ(chg_cantacts_group_byid(3, "short", 0), 0);
  auto after = groups_in_file();
  ASSERT_EQ(after.size(), 1u);
  EXPECT_STREQ(after[0].name, "short");
  for (size_t i = 5; i < 63; ++i) EXPECT_EQ(after[0].name[i], '\0') << i;
  EXPECT_EQ(after[0].name[63], 'q');
}

TEST_F(Groups, RenameOfAMissingOrMalformedFileDoesNothing) {
  EXPECT_EQ(chg_cantacts_group_byid(3, "x", 0), 0);
  EXPECT_EQ(file_size(), -1);
  put_file(kFile, std::string(100, 'a'));
  EXPECT_EQ(chg_cantacts_group_byid(3, "x", 0), 0);
  EXPECT_EQ(slurp(kFile), std::string(100, 'a'));
}

TEST_F(Groups, GroupFileSizesAroundTheLimit) {
  // 2303 and 2305 bytes are malformed and replaced; 2304 is full.
  for (size_t size : {size_t{2303}, size_t{2305}}) {
    put_file(kFile, std::string(size, '\0'));
    EXPECT_EQ(local_cantacts_group_add("x", 0), 0) << size;
    EXPECT_EQ(file_size(), 72) << size;
  }
  put_file(kFile, std::string(2304, '\0'));
  EXPECT_EQ(local_cantacts_group_add("x", 0), -2);
  put_file(kFile, "");
  EXPECT_EQ(local_cantacts_group_add("x", 0), 0);
  EXPECT_EQ(groups_in_file().at(0).id, 3);
}

}  // namespace

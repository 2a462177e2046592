// Every request of the directory client, byte for byte, as the service on
// 30001 receives it. The test plays the service.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/directory_peer.h"
#include "wire_bytes.h"

using phonecore::testing::Datagram;
using phonecore::testing::DirectoryStandIn;
using phonecore::testing::WireBytes;

namespace {

constexpr uint16_t kContacts = 0x1007, kHistory = 0x1009, kBlock = 0x100A, kAllow = 0x100B;
constexpr uint16_t kGet = 0x2002, kAdd = 0x2003, kDelete = 0x2006, kChange = 0x2007, kFind = 0x2008, kFindName = 0x2009,
                   kMigrate = 0x200A;

// The one datagram that a call sent.
class Requests : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(service_.bound()) << "30001 is taken"; }
  Datagram only() {
    auto all = service_.requests();
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? Datagram{} : all.back();
  }
  DirectoryStandIn service_;
};

TEST_F(Requests, ContactAddIs441BytesWithOneRecord) {
  ASSERT_EQ(local_cantacts_add("Zhang Wei", "5550100", "5550101", "5550102", "note", 7, 8, 9), 0);
  const Datagram d = only();
  EXPECT_EQ(d.size(), 441u);
  EXPECT_EQ(
      d, WireBytes::record(kContacts, kAdd, 0, "Zhang Wei", "5550100", "5550101", "5550102", "note", 7, 8, 9).bytes());
}

TEST_F(Requests, ContactChangeCarriesTheId) {
  ASSERT_EQ(local_cantacts_chg(42, "A", "1", "2", "3", "x", -1, 0, 1), 0);
  EXPECT_EQ(only(), WireBytes::record(kContacts, kChange, 42, "A", "1", "2", "3", "x", -1, 0, 1).bytes());
}

TEST_F(Requests, NullTextsAreSentEmptyAndLongOnesCutAt63) {
  const std::string long_name(100, 'n');
  ASSERT_EQ(local_cantacts_add(long_name.c_str(), nullptr, nullptr, nullptr, nullptr, 0, 0, 0), 0);
  EXPECT_EQ(only(), WireBytes::record(kContacts, kAdd, 0, std::string(63, 'n')).bytes());
}

TEST_F(Requests, ContactFindPutsTheTextInTheNameField) {
  ContactRecord* records = nullptr;
  int count = -5;
  ASSERT_EQ(local_contactlist_find(&records, &count, "zhang"), 0);
  std::free(records);
  EXPECT_EQ(count, 0);
  const Datagram d = only();
  EXPECT_EQ(d.size(), 441u);
  EXPECT_EQ(d, WireBytes::record(kContacts, kFind, 0, "zhang").bytes());
}

TEST_F(Requests, FindNameByNumberIsCommand2009) {
  char name[CONTACT_NAME_ROOM] = "unchanged";
  EXPECT_EQ(local_contactlist_find_uname_by_number(name, "5550100"), -1);  // the stand-in has no record
  EXPECT_STREQ(name, "unchanged");
  EXPECT_EQ(only(), WireBytes::record(kContacts, kFindName, 0, "5550100").bytes());
}

TEST_F(Requests, ContactGetIs105BytesWithStartAndCount) {
  char* buffer = nullptr;
  ASSERT_EQ(local_cantacts_get(&buffer, 5, 97), 0);
  std::free(buffer);
  WireBytes w(kContacts, kGet, 28);
  w.p32(0, 28).p32(4, 5).p32(8, 97);
  const Datagram d = only();
  EXPECT_EQ(d.size(), 105u);
  EXPECT_EQ(d, w.bytes());
}

TEST_F(Requests, ContactGet2FillsTheGroupSelector) {
  char* buffer = nullptr;
  ASSERT_EQ(local_cantacts_get2(&buffer, 0, 10, 4), 0);
  std::free(buffer);
  WireBytes w(kContacts, kGet, 28);
  w.p32(0, 28).p32(4, 0).p32(8, 10).p32(20, 4);
  EXPECT_EQ(only(), w.bytes());
}

TEST_F(Requests, ContactDeleteCarriesIdAndKind) {
  ASSERT_EQ(local_cantacts_del_byid(17, 0), 0);
  WireBytes w(kContacts, kDelete, 28);
  w.p32(0, 28).p32(8, 1).p32(12, 17).p32(20, 0);
  EXPECT_EQ(only(), w.bytes());
}

TEST_F(Requests, ContactDeleteOfAnOtherKindCarriesIt) {
  ASSERT_EQ(local_cantacts_del_byid(17, 5), 0);
  WireBytes w(kContacts, kDelete, 28);
  w.p32(0, 28).p32(8, 1).p32(12, 17).p32(20, 5);
  EXPECT_EQ(only(), w.bytes());
}

TEST_F(Requests, ContactDeleteOfKind1And2GoesToTheBlockAndAllowLists) {
  ASSERT_EQ(local_cantacts_del_byid(3, 1), 0);
  ASSERT_EQ(local_cantacts_del_byid(4, 2), 0);
  auto all = service_.requests();
  ASSERT_EQ(all.size(), 2u);
  WireBytes block(kBlock, kDelete, 28), allow(kAllow, kDelete, 28);
  block.p32(0, 28).p32(8, 1).p32(12, 3);
  allow.p32(0, 28).p32(8, 1).p32(12, 4);
  EXPECT_EQ(all[0], block.bytes());
  EXPECT_EQ(all[1], allow.bytes());
}

TEST_F(Requests, ShortMessageIs237BytesUnderALengthWordOf160) {
  ASSERT_EQ(local_contactlist_short_msg(0x2010, "hello", 99), 0);
  WireBytes w(kContacts, 0x2010, 160);
  w.p32(0, 99).ptext(4, "hello");
  const Datagram d = only();
  EXPECT_EQ(d.size(), 237u);
  EXPECT_EQ(d, w.bytes());
}

TEST_F(Requests, ShortMessageTextStopsAt127Bytes) {
  const std::string text(200, 't');
  ASSERT_EQ(local_contactlist_short_msg(1, text.c_str(), 0), 0);
  WireBytes w(kContacts, 1, 160);
  w.ptext(4, std::string(127, 't'));
  EXPECT_EQ(only(), w.bytes());
}

TEST_F(Requests, MigrationsAre89BytesOnTheBlockAndAllowTypes) {
  ASSERT_EQ(local_book_migration(1, -2, 3), 0);
  ASSERT_EQ(local_book_migration1(4, 5, 6), 0);
  auto all = service_.requests();
  ASSERT_EQ(all.size(), 2u);
  WireBytes block(kBlock, kMigrate, 12), allow(kAllow, kMigrate, 12);
  block.p32(0, 1).p32(4, -2).p32(8, 3);
  allow.p32(0, 4).p32(4, 5).p32(8, 6);
  EXPECT_EQ(all[0].size(), 89u);
  EXPECT_EQ(all[0], block.bytes());
  EXPECT_EQ(all[1], allow.bytes());
}

// The block and allow lists: one family, the type tells them apart.
struct ListCase {
  const char* name;
  uint16_t type;
  int (*get)(char**, int, int);
  int (*find)(ContactRecord**, int*, const char*);
  int (*add)(const char*, const char*, const char*, const char*, const char*, int, int, int);
  int (*chg)(int, const char*, const char*, const char*, const char*, const char*, int, int, int);
  int (*del)(int);
};

const ListCase kLists[] = {
    {"block", kBlock, local_blacklist_get, local_blacklist_find, local_blacklist_add, local_blacklist_chg,
     local_blacklist_del_byid},
    {"allow", kAllow, local_whitelist_get, local_whitelist_find, local_whitelist_add, local_whitelist_chg,
     local_whitelist_del_byid},
};

TEST_F(Requests, BlockAndAllowListRequests) {
  for (const ListCase& l : kLists) {
    SCOPED_TRACE(l.name);
    DirectoryStandIn* s = &service_;
    const size_t before = s->requests().size();
    char* buffer = nullptr;
    ContactRecord* records = nullptr;
    int count = 0;
    ASSERT_EQ(l.get(&buffer, 2, 3), 0);
    std::free(buffer);
    ASSERT_EQ(l.find(&records, &count, "555"), 0);
    std::free(records);
    ASSERT_EQ(l.add("n", "1", "2", "3", "e", 1, 2, 3), 0);
    ASSERT_EQ(l.chg(9, "m", "4", "5", "6", "f", 4, 5, 6), 0);
    ASSERT_EQ(l.del(11), 0);
    auto all = s->requests();
    ASSERT_EQ(all.size(), before + 5);
    WireBytes get(l.type, kGet, 28), del(l.type, kDelete, 28);
    get.p32(0, 28).p32(4, 2).p32(8, 3);
    del.p32(0, 28).p32(8, 1).p32(12, 11);
    EXPECT_EQ(all[before].size(), 105u);
    EXPECT_EQ(all[before], get.bytes());
    EXPECT_EQ(all[before + 1], WireBytes::record(l.type, kFind, 0, "555").bytes());
    EXPECT_EQ(all[before + 2], WireBytes::record(l.type, kAdd, 0, "n", "1", "2", "3", "e", 1, 2, 3).bytes());
    EXPECT_EQ(all[before + 3], WireBytes::record(l.type, kChange, 9, "m", "4", "5", "6", "f", 4, 5, 6).bytes());
    EXPECT_EQ(all[before + 4].size(), 105u);
    EXPECT_EQ(all[before + 4], del.bytes());
  }
}

TEST_F(Requests, BlockListFindOfNullSendsAnEmptyName) {
  ContactRecord* records = nullptr;
  int count = -1;
  EXPECT_EQ(local_blacklist_find(&records, &count, nullptr), 0);
  std::free(records);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(only(), WireBytes::record(kBlock, kFind, 0, "").bytes());
}

TEST_F(Requests, ListedTestSendsAFindOfTheNumberOnTheListsType) {
  EXPECT_EQ(local_contactlist_number_is_in_blacklist("5550100"), -1);
  EXPECT_EQ(local_contactlist_number_is_in_whitelist("5550101"), -1);
  auto all = service_.requests();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0], WireBytes::record(kBlock, kFind, 0, "5550100").bytes());
  EXPECT_EQ(all[1], WireBytes::record(kAllow, kFind, 0, "5550101").bytes());
}

TEST_F(Requests, HistoryAddIs321BytesAndLeavesTheSecondArgumentOut) {
  ASSERT_EQ(local_history_list_add(1, 2, 3, 4, 5, 6, "first", "second", 9, "third", 11), 0);
  WireBytes w(kHistory, kAdd, 244);
  w.p32(0, 244).p32(4, 0).p32(8, 1);
  w.p32(24, 1).p32(28, 3).p32(32, 4).p32(36, 5).p32(40, 6);
  w.ptext(44, "first").ptext(108, "second").p32(172, 9).ptext(176, "third").p32(240, 11);
  const Datagram d = only();
  EXPECT_EQ(d.size(), 321u);
  EXPECT_EQ(d, w.bytes());
}

TEST_F(Requests, HistoryAddWithNullTextsSendsEmptyOnesAndSucceeds) {
  EXPECT_EQ(local_history_list_add(1, 2, 3, 4, 5, 6, nullptr, nullptr, 9, nullptr, 11), 0);
  WireBytes w(kHistory, kAdd, 244);
  w.p32(0, 244).p32(8, 1);
  w.p32(24, 1).p32(28, 3).p32(32, 4).p32(36, 5).p32(40, 6).p32(172, 9).p32(240, 11);
  EXPECT_EQ(only(), w.bytes());
}

TEST_F(Requests, HistoryGetAndDeleteAre97BytesUnderALengthWordOf20) {
  char* buffer = nullptr;
  ASSERT_EQ(history_list_get(&buffer, 3, 50), 0);
  std::free(buffer);
  ASSERT_EQ(history_list_del_byid(12), 0);
  auto all = service_.requests();
  ASSERT_EQ(all.size(), 2u);
  WireBytes get(kHistory, kGet, 20), del(kHistory, kDelete, 20);
  get.p32(0, 20).p32(4, 3).p32(8, 50);
  del.p32(0, 20).p32(8, 1).p32(12, 12);
  EXPECT_EQ(all[0].size(), 97u);
  EXPECT_EQ(all[0], get.bytes());
  EXPECT_EQ(all[1].size(), 97u);
  EXPECT_EQ(all[1], del.bytes());
}

TEST_F(Requests, ContactFindOfAnEmptyOrNullTextSendsNothing) {
  ContactRecord* records = nullptr;
  int count = 7;
  EXPECT_EQ(local_contactlist_find(&records, &count, ""), -1);
  EXPECT_EQ(count, 0);
  count = 7;
  EXPECT_EQ(local_contactlist_find(&records, &count, nullptr), -1);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(records, nullptr);
  char name[CONTACT_NAME_ROOM];
  EXPECT_EQ(local_contactlist_find_uname_by_number(name, ""), -1);
  EXPECT_EQ(local_contactlist_number_is_in_blacklist(""), -1);
  EXPECT_EQ(local_contactlist_number_is_in_whitelist(nullptr), -1);
  usleep(100 * 1000);
  EXPECT_TRUE(service_.requests().empty());
}

}  // namespace

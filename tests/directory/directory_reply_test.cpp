// How the directory client reads the service's replies: what passes, what
// is copied, and the listed-number test. The test plays the service.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/directory_peer.h"
#include "support/process_stats.h"

using Record = phonecore::config::ContactRecord;
using phonecore::config::ListPayloadHead;
using phonecore::testing::contact;
using phonecore::testing::Datagram;
using phonecore::testing::DirectoryStandIn;
using phonecore::testing::open_descriptors;
using phonecore::testing::resident_kib;

namespace {

// A service that answers every request with these records.
DirectoryStandIn::Answer records(std::vector<Record> list, int32_t count_word = -1) {
  return [list, count_word](const Datagram& r) { return DirectoryStandIn::list_reply(r, list, count_word); };
}

// A reply of the stand-in's, then changed at one offset.
DirectoryStandIn::Answer patched(size_t at, uint16_t value) {
  return [at, value](const Datagram& r) {
    Datagram out = DirectoryStandIn::list_reply(r, {contact(1, "A", "1")});
    std::memcpy(out.data() + at, &value, sizeof value);
    return out;
  };
}

std::string run_listed(int (*test)(const char*), const char* number, int* result) {
  ::testing::internal::CaptureStdout();
  *result = test(number);
  fflush(stdout);
  return ::testing::internal::GetCapturedStdout();
}

TEST(Replies, WrongMagicOrWrongListTypeFailsAndGivesNoBuffer) {
  for (size_t at : {size_t{0}, size_t{2}}) {
    DirectoryStandIn service(patched(at, 0x1234));
    ASSERT_TRUE(service.bound());
    char* buffer = nullptr;
    EXPECT_EQ(local_cantacts_get(&buffer, 0, 10), -1);
    EXPECT_EQ(buffer, nullptr);
    Record* found = nullptr;
    int count = 9;
    EXPECT_EQ(local_blacklist_find(reinterpret_cast<::ContactRecord**>(&found), &count, "1"), -1);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(count, 9) << "a failed block-list find leaves the count alone";
    EXPECT_EQ(local_cantacts_add("a", "1", "", "", "", 0, 0, 0), -1);
    EXPECT_EQ(history_list_del_byid(1), -1);
  }
}

TEST(Replies, AReplyPassesOnMagicAndListTypeAlone) {
  // Command and class of the reply are not looked at.
  for (size_t at : {size_t{4}, size_t{6}}) {
    DirectoryStandIn service(patched(at, 0x7777));
    ASSERT_TRUE(service.bound());
    EXPECT_EQ(local_cantacts_add("a", "1", "", "", "", 0, 0, 0), 0);
    EXPECT_EQ(local_blacklist_del_byid(1), 0);
  }
}

TEST(Replies, AReplyTooShortForMagicAndTypeFails) {
  DirectoryStandIn service([](const Datagram& r) { return Datagram(r.begin(), r.begin() + 3); });
  ASSERT_TRUE(service.bound());
  EXPECT_EQ(local_cantacts_add("a", "1", "", "", "", 0, 0, 0), -1);
}

TEST(Replies, GetCopiesTheWholePayloadHeadIncluded) {
  const std::vector<Record> list{contact(1, "A", "100"), contact(2, "B", "200", "", "", 4)};
  DirectoryStandIn service(records(list));
  ASSERT_TRUE(service.bound());
  char* buffer = nullptr;
  ASSERT_EQ(local_cantacts_get(&buffer, 0, 97), 0);
  ASSERT_NE(buffer, nullptr);
  ListPayloadHead head;
  std::memcpy(&head, buffer, sizeof head);
  EXPECT_EQ(head.count, 2);
  EXPECT_EQ(head.total_length, 28 + 2 * 336);
  EXPECT_EQ(std::memcmp(buffer + 28, list.data(), 2 * sizeof(Record)), 0);
  std::free(buffer);
}

TEST(Replies, AGetAnsweredWithLengthZeroSucceedsWithAnEmptyBlock) {
  DirectoryStandIn service([](const Datagram& r) { return DirectoryStandIn::reply(r, {}); });
  ASSERT_TRUE(service.bound());
  char* buffer = nullptr;
  EXPECT_EQ(history_list_get(&buffer, 0, 10), 0);
  std::free(buffer);
}

TEST(Replies, FindGivesTheRecordsWithoutTheHead) {
  const std::vector<Record> list{contact(5, "Zhang San", "5550100"), contact(6, "Zhang Wei", "5550200")};
  DirectoryStandIn service(records(list));
  ASSERT_TRUE(service.bound());
  ::ContactRecord* found = nullptr;
  int count = 0;
  ASSERT_EQ(local_contactlist_find(&found, &count, "zhang"), 0);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(found[0].id, 5);
  EXPECT_STREQ(found[1].name, "Zhang Wei");
  EXPECT_STREQ(found[1].first_number, "5550200");
  std::free(found);
}

TEST(Replies, ACountBeyondTheRecordsThatCameIsCutToThem) {
  DirectoryStandIn service(records({contact(1, "A", "1"), contact(2, "B", "2")}, 50));
  ASSERT_TRUE(service.bound());
  ::ContactRecord* found = nullptr;
  int count = 0;
  ASSERT_EQ(local_contactlist_find(&found, &count, "x"), 0);
  EXPECT_EQ(count, 2);
  std::free(found);
}

TEST(Replies, ALengthWordBeyondTheDatagramIsCutToIt) {
  // 3 records come, the length word claims 32000 bytes and the count 90.
  DirectoryStandIn service([](const Datagram& r) {
    Datagram out =
        DirectoryStandIn::list_reply(r, {contact(1, "A", "1"), contact(2, "B", "2"), contact(3, "C", "3")}, 90);
    const uint16_t claimed = 32000;
    std::memcpy(out.data() + 74, &claimed, sizeof claimed);
    return out;
  });
  ASSERT_TRUE(service.bound());
  ::ContactRecord* found = nullptr;
  int count = 0;
  ASSERT_EQ(local_whitelist_find(&found, &count, "x"), 0);
  EXPECT_EQ(count, 3);
  std::free(found);
}

TEST(Replies, NameByNumberCopiesTheFirstNameAndCutsAnUnterminatedOneAt63) {
  Record unterminated = contact(2, "", "1");
  std::memset(unterminated.name, 'u', sizeof unterminated.name);
  {
    DirectoryStandIn service(records({contact(1, "Zhang San", "5550100"), contact(2, "Other", "1")}));
    ASSERT_TRUE(service.bound());
    char name[CONTACT_NAME_ROOM];
    ASSERT_EQ(local_contactlist_find_uname_by_number(name, "5550100"), 0);
    EXPECT_STREQ(name, "Zhang San");
  }
  {
    DirectoryStandIn service(records({unterminated}));
    ASSERT_TRUE(service.bound());
    char name[CONTACT_NAME_ROOM + 8];
    std::memset(name, 'x', sizeof name);
    ASSERT_EQ(local_contactlist_find_uname_by_number(name, "1"), 0);
    EXPECT_EQ(std::string(name), std::string(63, 'u'));
    EXPECT_EQ(name[64], 'x') << "nothing past the room of 64";
  }
}

TEST(Replies, NameByNumberWithCountZeroFails) {
  DirectoryStandIn service;
  ASSERT_TRUE(service.bound());
  char name[CONTACT_NAME_ROOM];
  EXPECT_EQ(local_contactlist_find_uname_by_number(name, "5550100"), -1);
}

TEST(ListedNumber, EqualOnlyToTheNameIsNotListed) {
  DirectoryStandIn service(records({contact(1, "5550100", "111", "222", "333")}));
  ASSERT_TRUE(service.bound());
  int result = 0;
  run_listed(local_contactlist_number_is_in_blacklist, "5550100", &result);
  EXPECT_EQ(result, -1);
}

TEST(ListedNumber, OtherNumberOfTheThirdRecordIsListedAfterThreeLoggedRecords) {
  DirectoryStandIn service(records({contact(1, "a", "1", "2", "3"), contact(2, "b", "4", "5", "6"),
                                    contact(3, "c", "7", "8", "5550100"), contact(4, "d", "5550100")}));
  ASSERT_TRUE(service.bound());
  int result = -5;
  const std::string out = run_listed(local_contactlist_number_is_in_blacklist, "5550100", &result);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(out,
            "tolk_black local_contactlist_number_is_in_blacklist\n"
            "tolk_black contact len:4\n"
            "tolk_black foreach name:1 otherNum:3 phoneNum:2  FIND:5550100\n"
            "tolk_black foreach name:4 otherNum:6 phoneNum:5  FIND:5550100\n"
            "tolk_black foreach name:7 otherNum:5550100 phoneNum:8  FIND:5550100\n"
            "tolk_black local_contactlist_number_is_in_blacklist success\n");
}

TEST(ListedNumber, FirstAndPhoneNumberCountToo) {
  DirectoryStandIn service(records({contact(1, "a", "5550100"), contact(2, "b", "x", "5550101")}));
  ASSERT_TRUE(service.bound());
  int result = -5;
  run_listed(local_contactlist_number_is_in_whitelist, "5550100", &result);
  EXPECT_EQ(result, 0);
  run_listed(local_contactlist_number_is_in_whitelist, "5550101", &result);
  EXPECT_EQ(result, 0);
}

TEST(ListedNumber, ANearMatchTheServiceReturnedIsNotListed) {
  // The service finds by substring; the test is exact and case-sensitive.
  DirectoryStandIn service(records({contact(1, "a", "5550100", "55501000", "x5550100"), contact(2, "b", "ABC")}));
  ASSERT_TRUE(service.bound());
  int result = 0;
  const std::string out = run_listed(local_contactlist_number_is_in_blacklist, "555010", &result);
  EXPECT_EQ(result, -1);
  EXPECT_NE(out.find("tolk_black local_contactlist_number_is_in_blacklist fail\n"), std::string::npos);
  run_listed(local_contactlist_number_is_in_blacklist, "abc", &result);
  EXPECT_EQ(result, -1);
}

TEST(ListedNumber, ACountOfZeroIsNotListed) {
  DirectoryStandIn service;
  ASSERT_TRUE(service.bound());
  int result = 0;
  const std::string out = run_listed(local_contactlist_number_is_in_whitelist, "1", &result);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(out,
            "tolk_white local_contactlist_number_is_in_whitelist\n"
            "tolk_white contact len:0\n"
            "tolk_white local_contactlist_number_is_in_whitelist fail\n");
}

TEST(ListedNumber, ABadReplyFailsOpenWithItsTwoLines) {
  DirectoryStandIn service(patched(0, 0));
  ASSERT_TRUE(service.bound());
  int result = 0;
  const std::string out = run_listed(local_contactlist_number_is_in_blacklist, "5550100", &result);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(out,
            "tolk_black local_contactlist_number_is_in_blacklist\n"
            "tolk_black get contact list fail\n"
            "tolk_black local_contactlist_number_is_in_blacklist fail\n");
}

}  // namespace

namespace {

TEST(Replies, AThousandFailedCallsLeaveDescriptorsAndMemoryAsTheyWere) {
  DirectoryStandIn service(patched(0, 0x1234));
  ASSERT_TRUE(service.bound());
  auto round = [] {
    char* buffer = nullptr;
    ::ContactRecord* found = nullptr;
    int count = 0;
    EXPECT_EQ(local_cantacts_get(&buffer, 0, 97), -1);
    EXPECT_EQ(local_contactlist_find(&found, &count, "x"), -1);
    EXPECT_EQ(local_whitelist_add("a", "1", "", "", "", 0, 0, 0), -1);
  };
  for (int i = 0; i < 50; ++i) round();  // warmed up
  const int fds = open_descriptors();
  const long rss = resident_kib();
  ::testing::internal::CaptureStdout();
  for (int i = 0; i < 1000; ++i) round();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(open_descriptors(), fds);
  // 3000 packets of 32 KiB went through; none may stay. (Under the
  // sanitizers freed blocks sit in quarantine or grow shadow memory;
  // LeakSanitizer checks leaks itself at exit.)
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(resident_kib() - rss, 4096) << "KiB grown";
#else
  (void)rss;
#endif
}

}  // namespace

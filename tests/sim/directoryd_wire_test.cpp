// The directory-service peer (directoryd): round trips through the library,
// its storage across a restart, its control port, and input that must not
// stop it.

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "config/gnl_frame.h"
#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/directory_peer.h"
#include "support/files.h"
#include "support/udp_client.h"

using phonecore::testing::Datagram;
using phonecore::testing::DirectoryPeer;
using phonecore::testing::UdpClient;
using namespace phonecore::config;

namespace {

class Directoryd : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(peer_.reset()) << "directoryd does not answer on its control port";
    peer_.clear();
  }
  DirectoryPeer peer_;
};

std::vector<::ContactRecord> find(const char* text) {
  ::ContactRecord* records = nullptr;
  int count = 0;
  std::vector<::ContactRecord> out;
  if (local_contactlist_find(&records, &count, text) == 0) out.assign(records, records + count);
  std::free(records);
  return out;
}

std::vector<::ContactRecord> get(int start, int count, int group = 0) {
  char* buffer = nullptr;
  std::vector<::ContactRecord> out;
  if (local_cantacts_get2(&buffer, start, count, group) != 0) return out;
  ListPayloadHead head;
  std::memcpy(&head, buffer, sizeof head);
  auto* first = reinterpret_cast<::ContactRecord*>(buffer + sizeof head);
  out.assign(first, first + head.count);
  std::free(buffer);
  return out;
}

TEST_F(Directoryd, ContactsRoundTrip) {
  ASSERT_EQ(local_cantacts_add("Zhang San", "5550100", "", "", "", 4, 0, 0), 0);
  ASSERT_EQ(local_cantacts_add("Zhang Wei", "5550200", "6660200", "", "x", 5, 0, 0), 0);
  ASSERT_EQ(local_cantacts_add("Li Si", "7770300", "", "", "", 4, 0, 0), 0);
  auto all = get(0, 97);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_STREQ(all[1].name, "Zhang Wei");
  EXPECT_STREQ(all[1].phone_number, "6660200");
  EXPECT_EQ(all[1].value_a, 5);
  EXPECT_NE(all[0].id, all[1].id);
  // get2 by group (value A), paged by start.
  auto group4 = get(0, 97, 4);
  ASSERT_EQ(group4.size(), 2u);
  EXPECT_STREQ(group4[1].name, "Li Si");
  EXPECT_EQ(get(1, 97, 4).size(), 1u);
  // find: substrings of name and numbers, without case.
  EXPECT_EQ(find("zhang").size(), 2u);
  EXPECT_EQ(find("0200").size(), 1u);
  char name[CONTACT_NAME_ROOM];
  ASSERT_EQ(local_contactlist_find_uname_by_number(name, "7770300"), 0);
  EXPECT_STREQ(name, "Li Si");
  // change and delete by id.
  ASSERT_EQ(local_cantacts_chg(all[2].id, "Li Si Jr", "7770300", "", "", "", 4, 0, 0), 0);
  EXPECT_STREQ(get(0, 97)[2].name, "Li Si Jr");
  ASSERT_EQ(local_cantacts_del_byid(all[0].id, 0), 0);
  EXPECT_EQ(get(0, 97).size(), 2u);
}

TEST_F(Directoryd, AGetPages97Records) {
  for (int i = 0; i < 100; ++i)
    ASSERT_EQ(local_cantacts_add(("n" + std::to_string(i)).c_str(), std::to_string(i).c_str(), "", "", "", 0, 0, 0), 0);
  EXPECT_EQ(get(0, 200).size(), 97u);
  EXPECT_EQ(get(97, 200).size(), 3u);
}

TEST_F(Directoryd, TheBlockListTestIsExactThoughTheFindReturnsNearMatches) {
  ASSERT_EQ(local_blacklist_add("spam", "5550100", "", "", "", 0, 0, 0), 0);
  ::ContactRecord* records = nullptr;
  int count = 0;
  ASSERT_EQ(local_blacklist_find(&records, &count, "555010"), 0);
  std::free(records);
  EXPECT_EQ(count, 1) << "the service's find returns the near match";
  EXPECT_EQ(local_contactlist_number_is_in_blacklist("555010"), -1);
  EXPECT_EQ(local_contactlist_number_is_in_blacklist("5550100"), 0);
  EXPECT_EQ(local_contactlist_number_is_in_whitelist("5550100"), -1);
}

TEST_F(Directoryd, HistoryFieldsComeBackInPlace) {
  ASSERT_EQ(local_history_list_add(1, 2, 3, 4, 5, 6, "first", "second", 9, "third", 11), 0);
  char* buffer = nullptr;
  ASSERT_EQ(history_list_get(&buffer, 0, 10), 0);
  HistoryPayloadHead head;
  std::memcpy(&head, buffer, sizeof head);
  ASSERT_EQ(head.count, 1);
  ::HistoryRecord r;
  std::memcpy(&r, buffer + sizeof head, sizeof r);
  std::free(buffer);
  EXPECT_EQ(r.arg3, 3);
  EXPECT_EQ(r.arg6, 6);
  EXPECT_STREQ(r.text1, "first");
  EXPECT_STREQ(r.text2, "second");
  EXPECT_EQ(r.arg9, 9);
  EXPECT_STREQ(r.text3, "third");
  EXPECT_EQ(r.arg11, 11);
  ASSERT_EQ(history_list_del_byid(r.arg1), 0);
  EXPECT_TRUE(peer_.dump("history").empty());
}

TEST_F(Directoryd, TheGroupNoticeClearsThatGroupAndIsLoggedWithTheFileSize) {
  unlink("/appconfigs/voipGroupList.bin");
  ASSERT_EQ(local_cantacts_group_add("family", 0), 0);  // id 3
  ASSERT_EQ(local_cantacts_group_add("work", 0), 0);    // id 4
  ASSERT_EQ(local_cantacts_add("A", "1", "", "", "", 3, 0, 0), 0);
  ASSERT_EQ(local_cantacts_add("B", "2", "", "", "", 4, 0, 0), 0);
  ASSERT_EQ(del_cantacts_group_byid(3), 0);
  auto all = get(0, 97);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].value_a, 0);
  EXPECT_EQ(all[1].value_a, 4);
  ASSERT_EQ(del_cantacts_group_byid(-1), 0);
  EXPECT_EQ(get(0, 97)[1].value_a, 0);
  EXPECT_EQ(peer_.dump("notices"), (std::vector<std::string>{"3 72", "-1 72"}));
  unlink("/appconfigs/voipGroupList.bin");
}

TEST_F(Directoryd, ListsAreStoredBeforeTheAnswerAndKeptAcrossARestart) {
  ASSERT_EQ(local_cantacts_add("Kept", "123", "", "", "", 0, 0, 0), 0);
  EXPECT_EQ(phonecore::testing::slurp("/run/phonebox/directory/contacts.bin").size(), 336u);
  ASSERT_TRUE(DirectoryPeer::restart());
  auto all = get(0, 97);
  ASSERT_EQ(all.size(), 1u);
  EXPECT_STREQ(all[0].name, "Kept");
}

TEST_F(Directoryd, ControlRecordHoldsEachDatagramInHex) {
  ASSERT_EQ(local_book_migration(1, 2, 3), 0);
  auto heard = peer_.datagrams();
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].size(), 89u);
  EXPECT_EQ(heard[0][2], 0x0A);
  EXPECT_EQ(heard[0][3], 0x10);
}

TEST_F(Directoryd, LeaveFreesThePortAndJoinTakesItBack) {
  ASSERT_TRUE(peer_.leave());
  {
    UdpClient stand_in(kDirectoryPort);
    EXPECT_TRUE(stand_in.bound());
  }
  ASSERT_TRUE(peer_.join());
  EXPECT_EQ(local_book_migration1(1, 2, 3), 0);
}

TEST_F(Directoryd, OneShotFaultsOfTheNextReply) {
  ASSERT_EQ(local_cantacts_add("A", "1", "", "", "", 0, 0, 0), 0);
  ASSERT_TRUE(peer_.fault("magic"));
  EXPECT_EQ(find("a").size(), 0u);
  EXPECT_EQ(find("a").size(), 1u) << "one shot";
  ASSERT_TRUE(peer_.fault("type"));
  EXPECT_EQ(local_contactlist_number_is_in_blacklist("1"), -1);
  // Short (40 bytes, magic and type there), 64 KiB, or from another port:
  // the reply passes on magic and list type alone; what came is all there is.
  ASSERT_TRUE(peer_.fault("short"));
  ::ContactRecord* records = nullptr;
  int count = -1;
  EXPECT_EQ(local_contactlist_find(&records, &count, "a"), 0);
  EXPECT_EQ(count, 0);
  std::free(records);
  ASSERT_TRUE(peer_.fault("big"));
  EXPECT_EQ(find("a").size(), 1u);
  ASSERT_TRUE(peer_.fault("port"));
  EXPECT_EQ(find("a").size(), 1u);
  ASSERT_TRUE(peer_.fault("count"));
  EXPECT_EQ(find("a").size(), 1u) << "a count beyond the records is cut to them";
  ASSERT_TRUE(peer_.fault("twice"));
  EXPECT_EQ(find("a").size(), 1u);
  EXPECT_EQ(find("a").size(), 1u);
  EXPECT_FALSE(peer_.fault("nonsense"));
}

TEST_F(Directoryd, DelayIsWaitedOut) {
  ASSERT_TRUE(peer_.delay(300));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(local_book_migration(0, 0, 0), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  ASSERT_TRUE(peer_.delay(0));
}

TEST_F(Directoryd, BadInputNeverStopsIt) {
  UdpClient raw;
  const std::vector<Datagram> bad{
      Datagram(10, 0xFF),     // short
      Datagram(200, 0x00),    // wrong magic
      Datagram(40000, 0x05),  // over-long
  };
  for (const Datagram& d : bad) raw.send_to(kDirectoryPort, d);
  // Unknown type and command, and a record whose texts have no terminator.
  LocalListPacket p{};
  p.magic = kGnlMagic;
  p.command_class = 1;
  for (auto [type, command] : {std::pair<uint16_t, uint16_t>{0x1234, kListGet},
                               {kListContacts, 0x2999},
                               {kListContacts, kListAdd},
                               {kListContacts, kListFind}}) {
    p.list_type = type;
    p.command = command;
    p.payload_length = 364;
    std::memset(p.payload + 28, 'z', 336);
    auto* b = reinterpret_cast<const uint8_t*>(&p);
    auto reply = raw.exchange(kDirectoryPort, Datagram(b, b + gnl_datagram_size(364)));
    ASSERT_TRUE(reply) << std::hex << type << " " << command;
    EXPECT_EQ(reply->size(), gnl_datagram_size((*reply)[74] | ((*reply)[75] << 8)));
  }
  // A length word beyond the datagram.
  p.list_type = kListContacts;
  p.command = kListGet;
  p.payload_length = 30000;
  auto* b = reinterpret_cast<const uint8_t*>(&p);
  EXPECT_TRUE(raw.exchange(kDirectoryPort, Datagram(b, b + 100)));
  EXPECT_EQ(peer_.control("ping"), "pong");
  EXPECT_EQ(local_book_migration(0, 0, 0), 0);
}

}  // namespace

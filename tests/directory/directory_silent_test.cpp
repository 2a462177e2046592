// A directory service that hears and never answers: every call gives up
// after its wait (5 s; the short message 20 s) with -1, and the block list
// fails open.

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/config_peer.h"
#include "support/directory_peer.h"

using phonecore::testing::Datagram;
using phonecore::testing::DirectoryStandIn;

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

TEST(SilentService, CallsGiveUpAfterFiveSecondsWithMinus1) {
  DirectoryStandIn service([](const Datagram&) { return Datagram{}; });
  ASSERT_TRUE(service.bound());
  auto start = Clock::now();
  EXPECT_EQ(local_contactlist_number_is_in_blacklist("5550100"), -1);
  EXPECT_GE(seconds_since(start), 4.9);
  char* buffer = nullptr;
  start = Clock::now();
  EXPECT_EQ(local_cantacts_get(&buffer, 0, 10), -1);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_GE(seconds_since(start), 4.9);
  EXPECT_EQ(service.requests().size(), 2u);
}

TEST(SilentService, TheShortMessageWaitsTwentySeconds) {
  DirectoryStandIn service([](const Datagram&) { return Datagram{}; });
  ASSERT_TRUE(service.bound());
  const auto start = Clock::now();
  EXPECT_EQ(local_contactlist_short_msg(8207, "null", 3), -1);
  EXPECT_GE(seconds_since(start), 19.9);
}

}  // namespace

namespace {

TEST(SilentService, ServiceKilledMidCallGivesMinus1AndARestartedOneAnswers) {
  phonecore::testing::DirectoryPeer peer;
  ASSERT_TRUE(peer.reset());
  ASSERT_EQ(local_cantacts_add("Kept", "1", "", "", "", 0, 0, 0), 0);
  ASSERT_TRUE(peer.delay(1000));
  const int pid = phonecore::testing::DirectoryPeer::pid();
  ASSERT_GT(pid, 0);
  std::thread killer([pid] {
    usleep(300 * 1000);
    kill(pid, SIGKILL);
  });
  const auto start = Clock::now();
  EXPECT_EQ(local_cantacts_add("Lost", "2", "", "", "", 0, 0, 0), -1);
  EXPECT_GE(seconds_since(start), 4.9);
  killer.join();
  ASSERT_TRUE(phonecore::testing::DirectoryPeer::start_again());
  // The service stores before it answers: the add whose answer never
  // went is kept too.
  for (const char* name : {"kept", "lost"}) {
    ::ContactRecord* found = nullptr;
    int count = 0;
    ASSERT_EQ(local_contactlist_find(&found, &count, name), 0);
    EXPECT_EQ(count, 1) << name;
    std::free(found);
  }
}

TEST(SilentService, GroupsWithASilentConfigurationServiceStillAnswer0) {
  // The file can't be read (a missing file to the group code) nor written:
  // the add still reports 0, as only the negative codes are reported.
  phonecore::testing::ConfigPeer config;
  ASSERT_TRUE(config.silent(true));
  DirectoryStandIn service;
  EXPECT_EQ(local_cantacts_group_add("family", 0), 0);
  GroupRecord* list = nullptr;
  int count = 3;
  EXPECT_EQ(local_grouplist_get(&list, &count), -1);
  EXPECT_EQ(count, 0);
  ASSERT_TRUE(config.silent(false));
}

}  // namespace

// List calls from 8 threads at once against the box's directoryd: each call
// owns its packet, so none is lost and none sees another's reply.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/directory_peer.h"

namespace {

TEST(DirectoryThreads, EightThreadsAddFindAndTestAtOnce) {
  phonecore::testing::DirectoryPeer peer;
  ASSERT_TRUE(peer.reset());
  constexpr int kThreads = 8, kEach = 20;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &failures] {
      for (int i = 0; i < kEach; ++i) {
        const std::string number = "9" + std::to_string(t) + "0" + std::to_string(i);
        const std::string name = "thread" + std::to_string(t) + "-" + std::to_string(i);
        if (local_cantacts_add(name.c_str(), number.c_str(), "", "", "", t, 0, 0) != 0) ++failures;
        if (local_blacklist_add(name.c_str(), number.c_str(), "", "", "", 0, 0, 0) != 0) ++failures;
        ContactRecord* found = nullptr;
        int count = 0;
        if (local_contactlist_find(&found, &count, name.c_str()) != 0 || count < 1 ||
            std::strcmp(found[0].name, name.c_str()) != 0)
          ++failures;
        std::free(found);
        if (local_contactlist_number_is_in_blacklist(number.c_str()) != 0) ++failures;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(peer.count("contacts"), kThreads * kEach);
  EXPECT_EQ(peer.count("block"), kThreads * kEach);
}

}  // namespace

// The WAN name and its refresher thread against the box's network service:
// the first call returns after the first attempt even when it fails, the
// names follow the service within its refresh period, and a process that
// can't start the thread gets null.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "phonecore/net_info.h"
#include "support/net_peer.h"

using phonecore::testing::NetPeer;

namespace {

double mono() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// A cached name as it stands; the refresher may be writing it, so each
// byte is read atomically.
std::string read_name(char* name) {
  std::string out;
  for (size_t i = 0; i < PHONECORE_NIC_NAME_SIZE; ++i) {
    const char c = std::atomic_ref<char>(name[i]).load();
    if (c == '\0') break;
    out.push_back(c);
  }
  return out;
}

// Polls a cached name until it reads want, for up to limit_s seconds.
bool name_becomes(char* (*name)(), const std::string& want, double limit_s) {
  const double until = mono() + limit_s;
  while (mono() < until) {
    if (read_name(name()) == want) return true;
    usleep(50000);
  }
  return read_name(name()) == want;
}

long vm_size_kib() {
  std::ifstream in("/proc/self/status");
  for (std::string line; std::getline(in, line);)
    if (line.starts_with("VmSize:")) return std::stol(line.substr(7));
  return -1;
}

// Runs first, in a child, before this process has a refresher: an address
// space too small for a thread's stack makes the first call answer null.
TEST(WanName, NullWhenTheThreadCannotStart) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const long kib = vm_size_kib();
    const rlim_t limit = static_cast<rlim_t>(kib + 512) * 1024;
    rlimit r{limit, limit};
    if (kib < 0 || setrlimit(RLIMIT_AS, &r) != 0) _exit(2);
    _exit(client_getWANName() == nullptr ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

// The service is silent: the first call waits out the refresher's first
// attempt (the five-second frame wait) and returns the empty name.
TEST(WanName, FirstCallReturnsAfterAFailedFirstAttempt) {
  NetPeer peer;
  peer.reset();
  ASSERT_TRUE(peer.silent(true));
  const double start = mono();
  char* name = client_getWANName();
  const double took = mono() - start;
  ASSERT_TRUE(peer.silent(false));
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(read_name(name), "");
  EXPECT_GE(took, 4.5);
  EXPECT_EQ(peer.count(), 1);
  // The refresher asks again on its fifth pass: the names come.
  EXPECT_TRUE(name_becomes(client_getWANName_web, "eth0", 15));
  EXPECT_EQ(read_name(client_getLANName()), "eth1");
  EXPECT_EQ(read_name(client_getWifiName()), "wlan0");
  EXPECT_EQ(client_getWANName(), name);  // no second thread, the same text
}

// The service goes away and comes back with other names: the cache keeps
// the old ones meanwhile and follows within the refresh period.
TEST(WanName, FollowsARestartedService) {
  NetPeer peer;
  ASSERT_TRUE(name_becomes(client_getWANName_web, "eth0", 15));
  ASSERT_TRUE(peer.leave());
  sleep(6);
  EXPECT_EQ(read_name(client_getWANName_web()), "eth0");
  ASSERT_TRUE(peer.names("br0", "eth1", "wlan0"));
  ASSERT_TRUE(peer.join());
  EXPECT_TRUE(name_becomes(client_getWANName_web, "br0", 15));
  peer.reset();
}

}  // namespace

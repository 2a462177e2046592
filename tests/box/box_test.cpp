// The phone box itself: the phone's paths, its isolation and its recording
// stand-ins, as a process inside sees them.

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>
#include "support/calls_log.h"
#include "support/files.h"

namespace {

using phonecore::testing::calls_log;
using phonecore::testing::slurp;

std::string run(const std::string& cmd) {
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return out;
  char buf[256];
  while (fgets(buf, sizeof buf, p) != nullptr) out += buf;
  pclose(p);
  return out;
}

TEST(PhoneBox, AppconfigsStartsAsAFactoryReset) {
  EXPECT_EQ(slurp("/appconfigs/default/voiplist.cfg"), slurp("/customer/appconfigs/default/voiplist.cfg"));
  EXPECT_EQ(slurp("/appconfigs/hal.cfg"), slurp("/customer/appconfigs/hal.cfg"));
  EXPECT_EQ(slurp("/appconfigs/etc/webauth.cfg"), slurp("/customer/etc/webauth.cfg"));
  EXPECT_FALSE(slurp("/appconfigs/etc/webauth.cfg").empty());
}

TEST(PhoneBox, AppconfigsAndTmpAreWritable) {
  for (const char* path : {"/appconfigs/probe.txt", "/tmp/reloading", "/mnt/probe"}) {
    std::ofstream(path) << "1";
    EXPECT_EQ(slurp(path), "1") << path;
  }
}

TEST(PhoneBox, CustomerIsReadOnly) {
  int fd = open("/customer/appconfigs/hal.cfg", O_WRONLY);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(errno, EROFS);
  EXPECT_NE(mkdir("/customer/new", 0755), 0);
}

TEST(PhoneBox, CustomerOpensslIsTheRealTool) {
  std::string out = run("/customer/sbin/openssl version");
  EXPECT_NE(out.find("OpenSSL"), std::string::npos) << out;
}

TEST(PhoneBox, FlashPartitionIsBlankAndWritable) {
  std::string flash = slurp("/dev/mtd2");
  ASSERT_EQ(flash.size(), 131072u);  // two 64 KiB erase blocks
  EXPECT_EQ(flash.find_first_not_of('\xFF'), std::string::npos);
  int fd = open("/dev/mtd2", O_RDWR);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(pwrite(fd, "AB", 2, 0x4100), 2);
  close(fd);
  EXPECT_EQ(slurp("/dev/mtd2").substr(0x4100, 2), "AB");
}

TEST(PhoneBox, GpioAndPwmControlsAreWritable) {
  std::ofstream("/sys/class/gpio/export") << "59";
  EXPECT_EQ(slurp("/sys/class/gpio/export"), "59");
  std::ofstream("/sys/class/pwm/pwmchip0/pwm0/duty_cycle") << "40";
  EXPECT_EQ(slurp("/sys/class/pwm/pwmchip0/pwm0/duty_cycle"), "40");
}

// A network of its own: the loopback, the wired port eth0 (a veth pair
// with its far end) and wlan0, down.
TEST(PhoneBox, NetworkIsTheBoxsOwn) {
  ifaddrs* list = nullptr;
  ASSERT_EQ(getifaddrs(&list), 0);
  std::set<std::string> names;
  for (ifaddrs* i = list; i != nullptr; i = i->ifa_next) names.insert(i->ifa_name);
  freeifaddrs(list);
  EXPECT_EQ(names, (std::set<std::string>{"eth0", "eth0-far", "lo", "wlan0", "wlan0-far"}));
  EXPECT_NE(run("ip -o -4 addr show eth0").find("192.0.2.10/24"), std::string::npos);
  EXPECT_NE(run("ip -o link show wlan0").find("state DOWN"), std::string::npos);
  EXPECT_EQ(slurp("/sys/class/net/eth0/address"), "00:1a:2b:3c:4d:5e\n");
}

TEST(PhoneBox, ProcessesOfTheHostAreNotVisible) {
  std::set<std::string> seen;
  DIR* d = opendir("/proc");
  ASSERT_NE(d, nullptr);
  while (dirent* e = readdir(d)) {
    if (e->d_name[0] < '1' || e->d_name[0] > '9') continue;
    std::string comm = slurp(std::string("/proc/") + e->d_name + "/comm");
    if (!comm.empty()) comm.pop_back();
    seen.insert(comm);
  }
  closedir(d);
  // The box holds its launcher, its first shell, the peers of
  // sim/peers.list (seven today), the FTP and web servers and this test;
  // a host has hundreds.
  EXPECT_TRUE(seen.count("msgserver"));
  EXPECT_TRUE(seen.count("configd"));
  EXPECT_LT(seen.size(), 20u);
  // Numbered in the box's own namespace: the box's start (peers, servers,
  // certificates, the logged tools it runs) uses a hundred or so, where a
  // host's process numbers run into the thousands.
  EXPECT_LT(getpid(), 1000);
}

TEST(PhoneBox, RecordingStandInsLogTheirArgumentsAndDoNothing) {
  ASSERT_EQ(system("reboot"), 0);
  ASSERT_EQ(system("fw_setenv ethaddr 00:1A:2B:3C:4D:5E"), 0);
  ASSERT_EQ(system("vconfig rem br0.20 && firewall.sh"), 0);
  auto log = calls_log();
  ASSERT_GE(log.size(), 4u);
  log.erase(log.begin(), log.end() - 4);
  EXPECT_EQ(log[0], "reboot");
  EXPECT_EQ(log[1], "fw_setenv ethaddr 00:1A:2B:3C:4D:5E");
  EXPECT_EQ(log[2], "vconfig rem br0.20");
  EXPECT_EQ(log[3], "firewall.sh");
}

// The phone's web server is logged, then really run; the box booted one
// from its template, and its own far-side server runs under another name,
// out of reach of the phone's "killall -9 lighttpd".
TEST(PhoneBox, PhoneWebServerIsLoggedThenRun) {
  EXPECT_EQ(system("/customer/lighttpd -tt -f /customer/etc/lighttpd/lighttpd.conf"), 0);
  EXPECT_NE(system("/customer/lighttpd -tt -f /appconfigs/absent.conf 2>/dev/null"), 0);
  auto log = calls_log("lighttpd");
  ASSERT_GE(log.size(), 2u);
  EXPECT_EQ(log[log.size() - 2], "lighttpd -tt -f /customer/etc/lighttpd/lighttpd.conf");
  EXPECT_EQ(log[log.size() - 1], "lighttpd -tt -f /appconfigs/absent.conf");
  const std::string names = run("ps -eo comm=");
  EXPECT_NE(names.find("\nlighttpd\n"), std::string::npos) << names;
  EXPECT_NE(names.find("\nboxweb\n"), std::string::npos) << names;
  const std::string commands = run("ps -eo args=");
  EXPECT_NE(commands.find("/usr/sbin/lighttpd -f /customer/etc/lighttpd/lighttpd.conf\n"), std::string::npos)
      << commands;
}

TEST(PhoneBox, RealToolsActForReal) {
  const size_t calls_before = calls_log().size();
  ASSERT_EQ(system("touch /tmp/autoprovision_config_update && cp /appconfigs/hal.cfg /tmp/hal.copy && "
                   "mv /tmp/hal.copy /tmp/hal.moved"),
            0);
  EXPECT_TRUE(std::ifstream("/tmp/autoprovision_config_update").good());
  ASSERT_EQ(system("rm -rf /tmp/hal.copy"), 0);
  EXPECT_FALSE(std::ifstream("/tmp/hal.copy").good());
  EXPECT_EQ(calls_log().size(), calls_before);
}

// sed, ip, route and ifconfig are logged, then act for real (route and
// ifconfig are BusyBox's, as on the phone).
TEST(PhoneBox, NetworkToolsAreLoggedThenRun) {
  std::ofstream("/run/phonebox/calls.log", std::ios::trunc);
  ASSERT_EQ(system("cp /appconfigs/hal.cfg /tmp/hal.sed && sed -i 's/audio/AUDIO/' /tmp/hal.sed"), 0);
  EXPECT_NE(slurp("/tmp/hal.sed").find("AUDIO"), std::string::npos);
  EXPECT_NE(run("ip -o link").find("lo"), std::string::npos);
  EXPECT_NE(run("route -n").find("192.0.2.1"), std::string::npos);
  EXPECT_NE(run("ifconfig eth0").find("HWaddr 00:1A:2B:3C:4D:5E"), std::string::npos);
  EXPECT_EQ(calls_log(), (std::vector<std::string>{"sed -i s/audio/AUDIO/ /tmp/hal.sed", "ip -o link", "route -n",
                                                   "ifconfig eth0"}));
}

}  // namespace

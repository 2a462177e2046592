// Two hundred failed transfers of every kind, mixed, through the four
// transfer functions: each ends with its failure result, and afterwards the
// process holds the descriptors it held before. Under the address
// sanitizer the leak checker at exit sees every handle, stream and buffer
// of those early and late ends released.
#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "phonecore/net_transfer.h"
#include "support/http_peer.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::HttpPeer;
using phonecore::testing::put_file;

const char* const kLocal = "/tmp/faults.data";

// The entries of /proc/self/fd (the listing's own descriptor included,
// the same each time).
int descriptors() {
  DIR* dir = opendir("/proc/self/fd");
  if (dir == nullptr) return -1;
  int n = 0;
  while (readdir(dir) != nullptr) ++n;
  closedir(dir);
  return n;
}

int download(const std::string& url, const char* user = "", const char* password = "", int timeout = 10) {
  return vorn_net_download(url.c_str(), kLocal, user, password, timeout, 0, nullptr);
}

int download302(const std::string& url) {
  char target[256];
  return vorn_net_download302(url.c_str(), kLocal, "", "", 10, 0, nullptr, target, sizeof target);
}

struct Fault {
  const char* name;
  int count;     // how many of the 200
  int expected;  // the function's result
  int (*run)();
};

// The costly kinds (a resolver that waits, the FTP server's pause after a
// refused login, a stall) come a few times; the quick ones often.
constexpr Fault kFaults[] = {
    {"closed port", 30, 0, [] { return download("http://127.0.0.1:1/x"); }},
    {".invalid host", 4, 0, [] { return download("http://phone.invalid/x"); }},
    {"404", 25, 0, [] { return download(HttpPeer::url("/status/404")); }},
    {"401 Basic", 15, 0, [] { return download(HttpPeer::url("/auth"), "user", "wrong"); }},
    {"401 Digest", 10, 0, [] { return download("http://127.0.0.1:8080/digest/none.cfg", "user", "wrong"); }},
    {"500", 20, 0, [] { return download302(HttpPeer::url("/status/500")); }},
    {"redirect loop", 15, 302, [] { return download302("http://127.0.0.1:8080/again/x"); }},
    {"stall", 8, 0, [] { return download(HttpPeer::url("/stall/30"), "", "", 1); }},
    {"reset", 15, 0, [] { return download(HttpPeer::url("/reset/1000")); }},
    {"short body", 13, 0, [] { return download(HttpPeer::url("/short")); }},
    {"wrong FTP password", 4, 0, [] { return download("ftp://127.0.0.1:2121/none.cfg", "phone", "wrong"); }},
    {"wrong FTP password, upload", 2, 0,
     [] { return vorn_net_upload("ftp://127.0.0.1:2121/up.cfg", "/etc/hostname", "phone", "wrong", 10, 1, nullptr); }},
    {"upload to a closed port", 10, 0,
     [] { return vorn_net_upload("http://127.0.0.1:1/up.cfg", "/etc/hostname", "", "", 10, 2, nullptr); }},
    // the probe fails: the download ends before its transfer
    {"probe 404", 10, 0,
     [] {
       put_file(kLocal, "part");
       return vorn_net_download(HttpPeer::url("/status/404").c_str(), kLocal, "", "", 10, 1, nullptr);
     }},
    {"local path", 5, 0,
     [] { return vorn_net_download("http://127.0.0.1:1/x", "/no/such/dir/x", "", "", 10, 0, nullptr); }},
    {"checked, closed port", 10, -1, [] { return downloadFileFromServer("http://127.0.0.1:1/x", kLocal); }},
    {"checked, plain FTP", 4, -1, [] { return downloadFileFromServer("ftp://127.0.0.1:2121/none.cfg", kLocal); }},
};

constexpr int total() {
  int n = 0;
  for (const Fault& f : kFaults) n += f.count;
  return n;
}
static_assert(total() == 200);

TEST(TransferFaults, TwoHundredMixedFailuresLeaveNoDescriptorBehind) {
  HttpPeer peer;
  ASSERT_TRUE(peer.clear()) << "httppeer does not answer";
  const int before = descriptors();
  ASSERT_GT(before, 0);
  // Round by round, one of each kind that has some left, so the kinds mix.
  std::array<int, std::size(kFaults)> left{};
  for (size_t k = 0; k < left.size(); ++k) left[k] = kFaults[k].count;
  int done = 0;
  for (bool any = true; any;) {
    any = false;
    for (size_t k = 0; k < left.size(); ++k) {
      if (left[k] == 0) continue;
      any = true;
      --left[k];
      ::testing::internal::CaptureStdout();
      ::testing::internal::CaptureStderr();
      const int result = kFaults[k].run();
      ::testing::internal::GetCapturedStderr();
      ::testing::internal::GetCapturedStdout();
      EXPECT_EQ(result, kFaults[k].expected) << kFaults[k].name;
      ++done;
    }
  }
  EXPECT_EQ(done, 200);
  unlink(kLocal);
  EXPECT_EQ(descriptors(), before);
}

}  // namespace

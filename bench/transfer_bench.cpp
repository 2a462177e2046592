// Provisioning downloads in the box: 64 MiB into /tmp by vorn_net_download
// from the box's HTTP peer, its FTP server and lighttpd over HTTPS (the
// tool checks lighttpd's certificate against the box's CA, the library
// checks nothing), against the curl tool
// fetching the same URL in the same run (its own %{speed_download}),
// alternating, median of seven each. Throughput in MiB/s; the goal is at
// least 0.9 of the tool's.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/support/timing.h"
#include "phonecore/net_transfer.h"

namespace {

constexpr long kSize = 64L << 20;
constexpr int kRounds = 7;
constexpr double kMiB = 1024.0 * 1024.0;
const char* kTarget = "/tmp/transfer-bench.bin";

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

// MiB/s of one vorn_net_download, or 0 when it failed or came short.
double library_once(const std::string& url, const char* user, const char* password) {
  unlink(kTarget);
  const auto t0 = phonecore::bench::Clock::now();
  const int r = vorn_net_download(url.c_str(), kTarget, user, password, 30, 0, nullptr);
  const double seconds = phonecore::bench::since_us(t0) / 1e6;
  struct stat st {};
  if (r != 1 || stat(kTarget, &st) != 0 || st.st_size != kSize) return 0;
  return static_cast<double>(kSize) / kMiB / seconds;
}

// MiB/s of the curl tool, as it measures itself.
double tool_once(const std::string& url, const char* user, const char* password, const std::string& options) {
  unlink(kTarget);
  std::string command = "curl -s " + options + " -o " + std::string(kTarget) + " -w '%{speed_download}' ";
  if (user[0] != '\0') command += "-u " + std::string(user) + ":" + password + " ";
  command += "'" + url + "'";
  FILE* p = popen(command.c_str(), "r");
  if (p == nullptr) return 0;
  char buf[64] = {};
  const bool got = fgets(buf, sizeof buf, p) != nullptr;
  pclose(p);
  return got ? std::atof(buf) / kMiB : 0;
}

void compare(FILE* out, const char* name, const std::string& url, const char* user = "", const char* password = "",
             const std::string& tool_options = "") {
  std::vector<double> library, tool;
  for (int i = 0; i < kRounds; ++i) {
    library.push_back(library_once(url, user, password));
    tool.push_back(tool_once(url, user, password, tool_options));
  }
  const double l = median(library), t = median(tool);
  std::fprintf(out, "  %-8s vorn_net_download %8.1f MiB/s   curl tool %8.1f MiB/s   %.2fx the tool\n", name, l, t,
               t > 0 ? l / t : 0);
}

}  // namespace

int main() {
  // The library's traces go nowhere; the figures to standard error.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  FILE* out = stderr;
  std::FILE* ftp = std::fopen("/srv/ftp/bench.bin", "wb");
  if (ftp == nullptr) return 1;
  std::vector<char> block(1 << 20);
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 31);
  for (long done = 0; done < kSize; done += static_cast<long>(block.size()))
    std::fwrite(block.data(), 1, block.size(), ftp);
  std::fclose(ftp);

  std::fprintf(out, "64 MiB into /tmp, median of %d each, alternating (goal: at least 0.9x the tool)\n", kRounds);
  compare(out, "HTTP", "http://127.0.0.1:18080/file/" + std::to_string(kSize));
  compare(out, "FTP", "ftp://127.0.0.1:2121/bench.bin", "phone", "secret");
  // lighttpd serves the FTP folder under /prov/.
  compare(out, "HTTPS", "https://127.0.0.1:8443/prov/bench.bin", "", "", "--cacert /system/etc/cacert.pem");
  unlink(kTarget);
  unlink("/srv/ftp/bench.bin");
  return 0;
}

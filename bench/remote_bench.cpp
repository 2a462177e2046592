// Action URL send time to the box's real web server, beside the curl tool
// fetching the same URL in the same run: 500 transfers each, every one on
// a connection of its own ("Connection: close" for the tool; the library
// makes a handle per event). The tool's times are its own time_total per
// transfer. Traces go to /dev/null.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/support/timing.h"
#include "phonecore/action_url.h"

namespace bench = phonecore::bench;

namespace {

constexpr int kRounds = 500;
constexpr const char kUrl[] = "http://127.0.0.1:8080/books/placeholder.txt?ev=in&mac=00:1A:2B:3C:4D:5E&r=1002";
constexpr const char kTemplate[] = "http://127.0.0.1:8080/books/placeholder.txt?ev=in&mac=$mac&r=$remote";

// The tool's time_total of each transfer, in microseconds.
bench::Stats curl_tool() {
  const std::string config = "/tmp/remote_bench.curl";
  FILE* f = std::fopen(config.c_str(), "w");
  if (f == nullptr) return {};
  for (int i = 0; i < kRounds; ++i) std::fprintf(f, "url = \"%s\"\noutput = \"/dev/null\"\n", kUrl);
  std::fclose(f);
  const std::string command = "curl -s -H 'Connection: close' -w '%{time_total}\\n' -K " + config + " 2>/dev/null";
  FILE* p = popen(command.c_str(), "r");
  std::vector<double> us;
  if (p != nullptr) {
    double seconds = 0;
    while (std::fscanf(p, "%lf", &seconds) == 1) us.push_back(seconds * 1e6);
    pclose(p);
  }
  return bench::summarize(us, kRounds - static_cast<int>(us.size()));
}

}  // namespace

int main() {
  // The library's traces (libcurl's verbose lines, the bodies) go away.
  std::fflush(stdout);
  FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, STDOUT_FILENO);
  dup2(null, STDERR_FILENO);

  {
    FILE* cfg = std::fopen("/appconfigs/default/function.cfg", "w");
    if (cfg == nullptr) return 1;
    std::fprintf(cfg, "{\"FeatureActionURL\":{\"AUSetupCompleted\":\"\",\"AUIncomingCall\":\"%s\"}}", kTemplate);
    std::fclose(cfg);
  }
  update_all_action_arrary(action_event_url);
  // A first transfer of each, outside the timings.
  action_Incoming_Call(nullptr, nullptr, nullptr, nullptr, "1002", nullptr, nullptr, nullptr, nullptr, nullptr);

  const bench::Stats tool = curl_tool();
  const bench::Stats event = bench::measure(kRounds, [] {
    return action_Incoming_Call(nullptr, nullptr, nullptr, nullptr, "1002", nullptr, nullptr, nullptr, nullptr,
                                nullptr) == 0;
  });
  std::fprintf(out, "Action URL to lighttpd, %d transfers each, a connection each:\n", kRounds);
  bench::report(out, "curl tool (time_total)", tool);
  bench::report(out, "action_Incoming_Call", event, &tool);
  if (tool.p99_us > 0) std::fprintf(out, "  p99 ratio %.2fx\n", event.p99_us / tool.p99_us);
  std::fclose(out);
  return event.failed == 0 && tool.failed == 0 ? 0 : 1;
}

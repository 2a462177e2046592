// The Action URI server's requests per second: 10,000 "GET /" requests,
// a connection each, against the server on its thread in this process,
// beside a bare accept/recv/send/close loop on the same port in the same
// run plus one read of default/function.cfg (the server reads it for every
// connection): the server's own work on top of the socket's.
//
// Action URL send time to the box's real web server, beside the curl tool
// fetching the same URL in the same run: 500 transfers each, every one on
// a connection of its own ("Connection: close" for the tool; the library
// makes a handle per event). The tool's times are its own time_total per
// transfer. Traces go to /dev/null.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "base/json.h"
#include "bench/support/timing.h"
#include "phonecore/action_uri.h"
#include "phonecore/action_url.h"
#include "phonecore/config.h"

namespace bench = phonecore::bench;

namespace {

constexpr int kRequests = 10000;
constexpr int kWarmUp = 20;
constexpr const char kRequest[] = "GET / HTTP/1.1\r\n\r\n";
// The server's answer to it, with its terminating zero: 101 bytes.
constexpr const char kHello[] =
    "HTTP/1.1 200 OK\r\nConnection: close\r\nAccept-Ranges: bytes\r\nContent-Type: text/html\r\n\r\n<h1>Hello!</h1>";
static_assert(sizeof kHello == 101);

// One request as a PC sends it: a connection, the request, the answer
// read until the server closes. True when the whole answer came.
bool one_request() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return false;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(ACTION_URI_PORT);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  size_t got = 0;
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      send(fd, kRequest, sizeof kRequest - 1, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof kRequest - 1)) {
    char buffer[512];
    for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;) got += static_cast<size_t>(n);
  }
  close(fd);
  return got == sizeof kHello;
}

// The bare loop's socket, on the server's port with the server's options.
int bare_listener() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(ACTION_URI_PORT);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, ACTION_URI_BACKLOG) != 0) {
    close(listener);
    return -1;
  }
  return listener;
}

// The bare loop: `count` connections, each one recv and the same answer.
void bare_loop(int listener, int count) {
  char request[ACTION_URI_REQUEST_SIZE];
  for (int i = 0; i < count; ++i) {
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) continue;
    if (recv(fd, request, sizeof request - 1, 0) > 0) send(fd, kHello, sizeof kHello, MSG_NOSIGNAL);
    close(fd);
  }
}

double mean_us(const bench::Stats& s) { return s.per_second > 0 ? 1e6 / s.per_second : 0; }

bool read_features() {
  phonecore::json::Owned root(read_gnl_config_json("default/function.cfg"));
  return root != nullptr;
}

// The requests go in blocks; behind each block, reads of the features file,
// so that the reads see the machine as both the loop and the server did.
constexpr int kBlocks = 10;

// The Action URI half; false when a part could not run.
bool action_uri(FILE* out) {
  const int listener = bare_listener();
  if (listener < 0) {
    std::fprintf(out, "Action URI: port %d is taken\n", ACTION_URI_PORT);
    return false;
  }
  std::vector<double> loop_us, read_us, served_us;
  int loop_failed = 0, read_failed = 0, served_failed = 0;
  std::thread bare(bare_loop, listener, kWarmUp + kRequests);
  for (int i = 0; i < kWarmUp; ++i) one_request();
  for (int b = 0; b < kBlocks; ++b) {
    bench::time_calls(kRequests / kBlocks, one_request, loop_us, loop_failed);
    bench::time_calls(kRequests / kBlocks / 2, read_features, read_us, read_failed);
  }
  bare.join();
  close(listener);

  // The server's thread detaches itself and runs to the end of the process.
  pthread_t server;
  if (pthread_create(&server, nullptr, http_server, nullptr) != 0) return false;
  int ready = 0;
  for (int i = 0; i < 500 && ready < kWarmUp; ++i)
    if (one_request()) ++ready;
    else usleep(10000);
  for (int b = 0; b < kBlocks; ++b) {
    bench::time_calls(kRequests / kBlocks, one_request, served_us, served_failed);
    bench::time_calls(kRequests / kBlocks / 2, read_features, read_us, read_failed);
  }

  const bench::Stats loop = bench::summarize(std::move(loop_us), loop_failed);
  const bench::Stats read = bench::summarize(std::move(read_us), read_failed);
  const bench::Stats served = bench::summarize(std::move(served_us), served_failed);
  bench::Stats sum;
  sum.p50_us = loop.p50_us + read.p50_us;
  sum.p99_us = loop.p99_us + read.p99_us;
  sum.per_second = mean_us(loop) + mean_us(read) > 0 ? 1e6 / (mean_us(loop) + mean_us(read)) : 0;
  std::fprintf(out, "Action URI server on %d, %d requests \"GET /\", a connection each:\n", ACTION_URI_PORT, kRequests);
  bench::report(out, "bare accept/recv/send/close loop", loop);
  bench::report(out, "read_gnl_config_json(default/function.cfg)", read);
  bench::report(out, "sum: the loop plus one read", sum);
  bench::report(out, "http_server", served, &sum);
  if (sum.per_second > 0 && served.per_second > 0)
    std::fprintf(out, "  requests per second %.0f against %.0f: %.2fx the time of the sum (goal <= 1.3x)\n",
                 served.per_second, sum.per_second, sum.per_second / served.per_second);
  return loop.failed == 0 && read.failed == 0 && served.failed == 0 && ready == kWarmUp;
}

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

  // First, while default/function.cfg is the box's own.
  const bool uri_ok = action_uri(out);

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
  return uri_ok && event.failed == 0 && tool.failed == 0 ? 0 : 1;
}

// Round trips on the bus, measured in a phone box against a SIP process
// played by a thread of this program.
//
//   floor (socket)  plain loopback UDP ping-pong between two sockets
//   floor (server)  the same through the message server, two raw sessions
//   hook_wait       send_sjson_to_sip_hook_wait, peer answering at once
//   hook_wait+100us the same, peer answering after 100 microseconds
//   events          kind-2 events through ClientCallBack to a ClientOps slot

#include <json-c/json.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "bench/support/timing.h"
#include "phonecore/json_msg.h"
#include "support/raw_session.h"
#include "support/sip_peer.h"

using phonecore::bench::Clock;
using phonecore::bench::since_us;
using phonecore::bench::Stats;
using phonecore::bench::summarize;
using phonecore::testing::RawSession;
using phonecore::testing::UdpClient;

namespace {

constexpr int kRequests = 1000;

Stats socket_floor() {
  UdpClient a(46000), b(46001);
  std::vector<double> us;
  std::thread echo([&] {
    for (int i = 0; i < kRequests; ++i) {
      auto in = b.receive(1000);
      if (in) b.send_to(46000, *in);
    }
  });
  std::vector<uint8_t> ping(80, 'p');
  for (int i = 0; i < kRequests; ++i) {
    auto t0 = Clock::now();
    a.send_to(46001, ping);
    if (a.receive(1000)) us.push_back(since_us(t0));
  }
  echo.join();
  return summarize(us);
}

Stats server_floor() {
  RawSession a(5000), b(5001);
  std::vector<double> us;
  std::thread echo([&] {
    for (int i = 0; i < kRequests; ++i) {
      auto in = b.receive(1000);
      if (in) b.send(5000, 9, RawSession::payload(*in));
    }
  });
  for (int i = 0; i < kRequests; ++i) {
    auto t0 = Clock::now();
    a.send(5001, 9, R"({"msgtype":"phone_state_get"})");
    if (a.receive(1000)) us.push_back(since_us(t0));
  }
  echo.join();
  return summarize(us);
}

Stats hook_wait(MessageClient* client, useconds_t delay_us) {
  RawSession sip(4098);
  std::atomic<bool> stop{false};
  std::thread peer([&] {
    const std::string reply = R"({"msgtype":"phone_state_get_response","status":"0","data":{"state":"idle"}})";
    while (!stop) {
      auto in = sip.receive(50);
      if (!in) continue;
      if (delay_us > 0) usleep(delay_us);
      sip.send(RawSession::header(*in).source, 9, reply, RawSession::header(*in).seq);
    }
  });
  const Stats s = phonecore::bench::measure(kRequests, [&] {
    json_object* r = send_sjson_to_sip_hook_wait(client, "phone_state_get", nullptr, 100);
    json_object_put(r);
    return r != nullptr;
  });
  stop = true;
  peer.join();
  return s;
}

std::atomic<int> g_events{0};

void count_event(int, int) { g_events++; }

}  // namespace

int main() {
  // The 50 ms rule's lines would only disturb the report.
  freopen("/dev/null", "w", stdout);
  FILE* out = fdopen(dup(2), "w");

  // This program plays the SIP process itself: the box's one leaves the bus.
  phonecore::testing::release_sip_bus_id();
  Stats sock = socket_floor();
  Stats server = server_floor();

  MessageClient* client = request_pc_connect(1234, 1, nullptr, "bench");
  usleep(100000);
  Stats now = hook_wait(client, 0);
  Stats later = hook_wait(client, 100);

  // Events: bursts that fit the event queue (31), timed until the last
  // callback; then one burst of 100 to count what a full queue drops.
  ClientOps ops{};
  ops.on_reg_changed = count_event;
  add_callback_fun(&ops);
  RawSession sip(4098);
  const std::string event = R"({"msgtype":"reg_changed","data":{"acc_id":0,"bOnline":1}})";
  int delivered = 0;
  double event_seconds = 0;
  for (int burst = 0; burst < 5; ++burst) {
    g_events = 0;
    auto t0 = Clock::now();
    for (int i = 0; i < 31; ++i) sip.send(1234, 2, event);
    while (g_events < 31 && since_us(t0) < 2e6) usleep(1000);
    event_seconds += since_us(t0) / 1e6;
    delivered += g_events;
  }
  g_events = 0;
  for (int i = 0; i < 100; ++i) sip.send(1234, 2, event);
  usleep(1500000);
  const int of_hundred = g_events;
  request_pc_disconnect(client);

  fprintf(out, "bus round trips, %d requests each (microseconds)\n", kRequests);
  phonecore::bench::report(out, "floor: loopback socket ping-pong", sock);
  phonecore::bench::report(out, "floor: through the message server", server, &sock);
  phonecore::bench::report(out, "hook_wait, peer answers at once", now, &server);
  phonecore::bench::report(out, "hook_wait, peer answers after 100us", later, &server);
  // A wait polls every 5 ms, and removing its hook waits 5 ms more for the
  // listener to leave the slot: the expected figure is the floor plus both.
  const double expected = server.p99_us + 5000 + 5000;
  fprintf(out, "  expected p99: server floor + 5 ms poll + 5 ms hook removal = %.1f\n", expected);
  fprintf(out, "  p99 (100us peer) / expected: %.3f; over it by %.1f us (one poll is 5000)\n", later.p99_us / expected,
          later.p99_us - expected);
  fprintf(out, "events through ClientCallBack: %.0f per second (%d of %d in bursts of 31); %d of a burst of 100\n",
          delivered / event_seconds, delivered, 5 * 31, of_hundred);
  return 0;
}

// Cost of the call commands against the box's SIP process (sipd, answering
// at once), each against a baseline measured in the same run:
//
//   dial            voip_phone_dail round trip (request, reply, hook)
//   bare request    send_sjson_to_sip_hook_wait of "get_rec_history", the
//                   same exchange without the dial's data
//   floor (server)  a raw request and answer through the message server
//   DSS write       voip_func_Dsskey_data of a speed-dial key (both files
//                   read and written) and of a BLF key (plus the
//                   unsubscribe and subscribe requests)
//   file baseline   read_gnl_config_json and write_gnl_config_json of the
//                   two key files, the configuration traffic of one write

#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "bench/support/timing.h"
#include "phonecore/config.h"
#include "phonecore/dsskey.h"
#include "phonecore/json_msg.h"
#include "phonecore/voip.h"
#include "support/raw_session.h"
#include "support/sip_peer.h"

using phonecore::bench::measure;
using phonecore::bench::report;
using phonecore::bench::Stats;
using phonecore::testing::RawSession;
using phonecore::testing::SipPeer;

namespace {

// A raw request through the server to a second raw session that echoes it.
Stats server_floor(int n) {
  RawSession a(5100), b(5101);
  return measure(n, [&] {
    a.send(5101, 9, R"({"msgtype":"get_rec_history"})");
    auto in = b.receive(1000);
    if (!in) return false;
    b.send(5100, 9, R"({"msgtype":"get_rec_history_response","status":"0","data":{"enableFlag":0}})");
    return a.receive(1000).has_value();
  });
}

}  // namespace

int main() {
  freopen("/dev/null", "w", stdout);  // the library's traces
  FILE* out = fdopen(dup(2), "w");
  constexpr int kRounds = 500;
  SipPeer sip;
  sip.reset();
  sip.control("delay 0");
  sip.control("reg 1 1");
  sip.control("outcome ring");

  MessageClient* ui = request_pc_connect(1234, 1, nullptr, "bench");
  usleep(100000);

  const Stats floor = server_floor(kRounds);
  const Stats bare = measure(kRounds, [&] {
    json_object* r = send_sjson_to_sip_hook_wait(ui, "get_rec_history", nullptr, 100);
    json_object_put(r);
    return r != nullptr;
  });
  const Stats dial = measure(kRounds, [&] {
    char desc[64];
    const int id = voip_phone_dail(ui, 1, "1002", desc);
    sip.control("clear");
    return id > 0;
  });

  const Stats files = measure(kRounds / 5, [] {
    json_object* keys = read_gnl_config_json("default/programing_key.cfg");
    json_object* dss = read_gnl_config_json("default/dss.cfg");
    const bool ok = keys != nullptr && dss != nullptr;
    write_gnl_config_json("default/programing_key.cfg", keys);
    write_gnl_config_json("default/dss.cfg", dss);
    json_object_put(keys);
    json_object_put(dss);
    return ok;
  });
  const Stats speed = measure(kRounds / 5, [&] {
    DssKeyInfo k{};
    k.type = DSS_TYPE_SPEED_DIAL;
    k.accId = 1;
    snprintf(k.label, sizeof k.label, "Voice mail");
    snprintf(k.value, sizeof k.value, "*97");
    return voip_func_Dsskey_data(ui, 1, 4, &k) == 0;
  });
  const Stats blf = measure(kRounds / 5, [&] {
    DssKeyInfo k{};
    k.type = DSS_TYPE_BLF;
    k.accId = 1;
    snprintf(k.label, sizeof k.label, "Reception");
    snprintf(k.value, sizeof k.value, "1002");
    const bool ok = voip_func_Dsskey_data(ui, 1, 3, &k) == 0;
    sip.control("clear");
    return ok;
  });

  fprintf(out, "call control against sipd (%d rounds; key writes %d)\n", kRounds, kRounds / 5);
  report(out, "floor (server), raw exchange", floor);
  report(out, "bare request (hook_wait)", bare, &floor);
  report(out, "voip_phone_dail round trip", dial, &bare);
  report(out, "file baseline (2 reads, 2 writes)", files);
  report(out, "voip_func_Dsskey_data speed dial", speed, &files);
  report(out, "voip_func_Dsskey_data BLF", blf, &files);
  request_pc_disconnect(ui);
  return 0;
}

// Reading and writing a typical 4 KiB configuration file through the
// configuration-service peer, beside the floor measured in the same run:
// the raw datagram exchange of the same file plus json-c's parse (for a
// read) or print (for a write) of the same text.

#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/support/timing.h"
#include "config/gnl_frame.h"
#include "phonecore/config.h"
#include "support/udp_client.h"

using namespace phonecore::config;
using phonecore::bench::Stats;
using phonecore::testing::UdpClient;

namespace {

constexpr int kRounds = 2000;

// A settings file of about 4 KiB, like default/function.cfg.
json_object* typical_file() {
  json_object* root = json_object_new_object();
  for (int s = 0; s < 6; ++s) {
    json_object* section = json_object_new_object();
    for (int m = 0; m < 20; ++m)
      json_object_object_add(section, ("Member" + std::to_string(m) + "Switch").c_str(),
                             json_object_new_string(m % 3 == 0 ? "http://192.168.1.20/event?mac=$mac" : "1"));
    json_object_object_add(root, ("FeatureSection" + std::to_string(s)).c_str(), section);
  }
  return root;
}

}  // namespace

int main() {
  json_object* file = typical_file();
  const std::string text = json_object_to_json_string_ext(file, JSON_C_TO_STRING_PLAIN);
  write_gnl_config_json("bench.cfg", file);

  // The raw exchange: one read request out, the file back.
  static GnlConfigRecord request;
  request.magic = kGnlMagic;
  request.category = kCategoryFile;
  request.operation = kOperationRead;
  request.format = kFormatJson;
  std::strcpy(request.path, "bench.cfg");
  request.path_length = 9;
  std::vector<uint8_t> reply(kGnlBufferSize);
  UdpClient raw;
  Stats exchange = phonecore::bench::measure(kRounds, [&] {
    raw.send_to(kConfigPort, {reinterpret_cast<uint8_t*>(&request), gnl_datagram_size(0)});
    raw.receive(2000, kGnlBufferSize);
  });
  Stats parse = phonecore::bench::measure(kRounds, [&] { json_object_put(json_tokener_parse(text.c_str())); });
  Stats print_text = phonecore::bench::measure(kRounds, [&] { (void)json_object_to_json_string_ext(file, 0); });
  Stats read = phonecore::bench::measure(kRounds, [] { json_object_put(read_gnl_config_json("bench.cfg")); });
  Stats write = phonecore::bench::measure(kRounds, [&] { write_gnl_config_json("bench.cfg", file); });

  printf("configuration file of %zu bytes, %d rounds each (microseconds)\n", text.size(), kRounds);
  phonecore::bench::report(stdout, "floor: raw read exchange with the service", exchange);
  phonecore::bench::report(stdout, "floor: json-c parse of the text", parse);
  phonecore::bench::report(stdout, "floor: json-c print of the object", print_text);
  phonecore::bench::report(stdout, "read_gnl_config_json", read);
  phonecore::bench::report(stdout, "write_gnl_config_json", write);
  const double read_floor = exchange.p50_us + parse.p50_us;
  const double write_floor = exchange.p50_us + print_text.p50_us;
  printf("  read  p50 / (exchange + parse) = %.2f\n", read.p50_us / read_floor);
  printf("  write p50 / (exchange + print) = %.2f (the write also makes the service store the file)\n",
         write.p50_us / write_floor);
  json_object_put(file);
  return 0;
}

// The phone.cfg import and reload, each beside its floor measured in the
// same run (the export has phonecfg_export_bench):
//   - the import of all 245 keys without the reload, against the same
//     exchanges of the configuration service as its record holds them,
//     sent raw: each read's reply parsed by json-c, each write's text
//     printed by json-c from the object its file was read into;
//   - a reload without a network key, against its 360 ms of pauses.
// Runs in the box: box/phonebox run --bin BUILD/sim -- phonecfg_bench

#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/support/timing.h"
#include "config/gnl_frame.h"
#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "support/config_peer.h"
#include "support/factory_files.h"

using namespace phonecore::config;
namespace pc = phonecore::phonecfg;
using phonecore::bench::Stats;
using phonecore::testing::ConfigRequest;

namespace {

constexpr int kImportRounds = 20;
constexpr int kReloadRounds = 8;
// The reload's own pauses without a network key: five broadcasts' 260 ms
// and the 100 ms after "reload_account".
constexpr double kReloadPausesUs = 360e3;

// Valid values, one per key: the first choice or the lowest number.
std::vector<std::string> items() {
  std::vector<std::string> out;
  for (const pc::KeyRow& row : pc::kKeyTable) {
    std::string value = "1";
    switch (row.check) {
      case pc::Check::kIpv4:
        value = "10.0.0.2";
        break;
      case pc::Check::kOneOf:
        value = std::string(row.choices.substr(0, row.choices.find('|')));
        break;
      case pc::Check::kDigitsRange:
      case pc::Check::kDigitsClamp:
      case pc::Check::kAtoiRange:
        value = std::to_string(row.low == 0 ? 1 : row.low);
        break;
      default:
        break;
    }
    out.push_back(std::string(row.key) + "=" + value);
  }
  return out;
}

void import_all(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) my_dm_handle_value1(line.c_str());
}

// The recorded exchanges once more, raw: a read's reply parsed and kept by
// its store and path, a write's text printed from what was kept.
bool raw_exchanges(const std::vector<ConfigRequest>& record) {
  static GnlConfigRecord request;
  static GnlConfigRecord reply;
  std::map<std::pair<uint16_t, std::string>, json_object*> read;
  bool ok = true;
  for (const ConfigRequest& r : record) {
    std::memset(&request, 0, kGnlHeaderSize);
    request.magic = kGnlMagic;
    request.category = r.category;
    request.operation = r.operation;
    request.format = r.format;
    r.path.copy(request.path, kGnlPathSize - 1);
    request.path_length = static_cast<uint16_t>(r.path.size());
    json_object*& kept = read[{r.category, r.path}];
    if (r.operation == kOperationWrite && kept != nullptr) {
      const char* text = json_object_to_json_string_ext(kept, JSON_C_TO_STRING_SPACED);
      const size_t length = std::strlen(text);
      if (length >= kGnlDataSize) return false;
      std::memcpy(request.data, text, length + 1);
      request.data_length = static_cast<uint16_t>(length);
    }
    if (!frame_exchange(kConfigPort, request, reply)) {
      ok = false;
      continue;
    }
    if (r.operation == kOperationRead) {
      json_object_put(kept);
      reply.data[kGnlDataSize - 1] = 0;
      kept = json_tokener_parse(reinterpret_cast<const char*>(reply.data));
    }
  }
  for (auto& [where, o] : read) json_object_put(o);
  return ok;
}

}  // namespace

int main() {
  // The import's files, and the key file that a reload rebuilds.
  phonecore::testing::FactoryFiles files{std::span(phonecore::testing::kImportFiles)};
  phonecore::testing::FactoryFiles dss{"default/dss.cfg"};
  const std::vector<std::string> lines = items();

  // The record of one import, key by key (the peer's answer to "log"
  // holds a few thousand lines at most): the floor's exchanges.
  phonecore::testing::ConfigPeer config;
  files.restore();
  std::vector<ConfigRequest> record;
  for (const std::string& line : lines) {
    config.clear();
    my_dm_handle_value1(line.c_str());
    const std::vector<ConfigRequest> heard = config.requests();
    record.insert(record.end(), heard.begin(), heard.end());
  }

  std::vector<double> floor_us, import_us;
  int failed_floor = 0;
  for (int round = 0; round < kImportRounds; ++round) {
    // The record is kept short outside the timings.
    config.clear();
    auto t0 = phonecore::bench::Clock::now();
    if (raw_exchanges(record)) floor_us.push_back(phonecore::bench::since_us(t0));
    else ++failed_floor;
    t0 = phonecore::bench::Clock::now();
    import_all(lines);
    import_us.push_back(phonecore::bench::since_us(t0));
  }
  start_network_flag = 0;
  reload_something_flag = 0;

  std::vector<double> reload_us;
  for (int round = 0; round < kReloadRounds; ++round) {
    std::remove("/tmp/reloading");
    std::remove("/tmp/call_check.txt");
    reload_something_flag = 1;
    start_network_flag = 0;
    const auto t0 = phonecore::bench::Clock::now();
    reload_all_phonecfg();
    reload_us.push_back(phonecore::bench::since_us(t0));
  }
  files.restore();

  const Stats floor = phonecore::bench::summarize(floor_us, failed_floor);
  const Stats imported = phonecore::bench::summarize(import_us);
  const Stats reload = phonecore::bench::summarize(reload_us);
  const Stats pauses = phonecore::bench::summarize(std::vector<double>(kReloadRounds, kReloadPausesUs));

  std::printf(
      "phone.cfg import of %zu keys without the reload: %zu exchanges of the configuration service, %d rounds\n",
      lines.size(), record.size(), kImportRounds);
  phonecore::bench::report(stdout, "floor: the same exchanges raw, replies parsed, writes printed", floor);
  phonecore::bench::report(stdout, "import of every key", imported, &floor);
  std::printf("  %.0f keys per second, %.2f exchanges per key\n",
              1e6 * static_cast<double>(lines.size()) / imported.p50_us,
              static_cast<double>(record.size()) / static_cast<double>(lines.size()));
  std::printf("reload without a network key, %d rounds\n", kReloadRounds);
  phonecore::bench::report(stdout, "floor: its pauses, 360 ms", pauses);
  phonecore::bench::report(stdout, "reload", reload, &pauses);
  return 0;
}

// The phone.cfg export of every word (the answer of a request naming all
// 199), beside its floor measured in the same run: the same reads of the
// configuration service sent raw, in the same order, each reply parsed by
// json-c. The rest of the export is the answer's lines, two small files
// and the shell's "rm -rf" of the merge.

#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/support/timing.h"
#include "config/gnl_frame.h"
#include "phonecore/phonecfg_export.h"
#include "provision/phonecfg/export_lines.h"
#include "provision/phonecfg/export_table.h"

using namespace phonecore::config;
namespace pc = phonecore::phonecfg;
using phonecore::bench::Stats;

namespace {

constexpr int kRounds = 25;

// The files the export reads for these words, in its order.
std::vector<std::string> reads_of(const std::vector<std::string>& words) {
  std::vector<std::string> reads{"quorbit_ota.cfg"};
  for (const std::string& w : words) {
    if (const pc::SpecialWord* special = pc::find_special_word(w)) reads.emplace_back(pc::source_path(special->source));
    const pc::ExportRow* row = pc::find_export_word(w, nullptr);
    for (const pc::SourceFile& s : pc::kExportSources) {
      reads.emplace_back(s.path);
      if (row != nullptr && row->source == s.source && pc::ends_search(*row)) break;
    }
  }
  return reads;
}

bool raw_read_and_parse(const std::string& path) {
  static GnlConfigRecord request;
  static GnlConfigRecord reply;
  std::memset(&request, 0, kGnlHeaderSize);
  request.magic = kGnlMagic;
  request.category = kCategoryFile;
  request.operation = kOperationRead;
  request.format = kFormatJson;
  path.copy(request.path, kGnlPathSize - 1);
  request.path_length = static_cast<uint16_t>(path.size());
  if (!frame_exchange(kConfigPort, request, reply)) return false;
  json_object* o = json_tokener_parse(reinterpret_cast<const char*>(reply.data));
  const bool ok = o != nullptr;
  json_object_put(o);
  return ok;
}

bool export_all(const std::vector<std::string>& words) {
  if (set_cfg_header1("/tmp/phonecfg.ini") != 0) return false;
  for (const std::string& w : words) {
    char word[PHONECFG_EXPORT_WORD_SIZE] = {};
    w.copy(word, sizeof word - 1);
    strimp_shift_7(word);
    get_special_cfg(word);
    get_appoint_cfg(word);
  }
  return merge_phonecfg() == 0;
}

}  // namespace

int main() {
  const std::vector<std::string> words = pc::all_export_words();
  const std::vector<std::string> reads = reads_of(words);
  // Once each before timing: files in the service's page cache.
  export_all(words);
  // Rounds of the two alternate, so that a machine busy for a while
  // slows both alike.
  std::vector<double> floor_us, export_us;
  int failed_floor = 0, failed_export = 0;
  for (int round = 0; round < kRounds; ++round) {
    auto t0 = phonecore::bench::Clock::now();
    bool ok = true;
    for (const std::string& path : reads) ok = raw_read_and_parse(path) && ok;
    if (ok) floor_us.push_back(phonecore::bench::since_us(t0));
    else ++failed_floor;
    t0 = phonecore::bench::Clock::now();
    if (export_all(words)) export_us.push_back(phonecore::bench::since_us(t0));
    else ++failed_export;
  }
  const Stats floor = phonecore::bench::summarize(floor_us, failed_floor);
  const Stats exported = phonecore::bench::summarize(export_us, failed_export);

  std::printf("phone.cfg export of %zu words: %zu reads of the configuration service, %d rounds each\n", words.size(),
              reads.size(), kRounds);
  phonecore::bench::report(stdout, "floor: the same reads raw, each reply parsed", floor);
  phonecore::bench::report(stdout, "export of every word", exported, &floor);
  std::printf("  %.0f words per second, %.2f exchanges per word\n",
              1e6 * static_cast<double>(words.size()) / exported.p50_us,
              static_cast<double>(reads.size()) / static_cast<double>(words.size()));
  return 0;
}

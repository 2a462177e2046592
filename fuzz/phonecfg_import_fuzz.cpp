// The phone.cfg import on any text, in the box (it reads and writes the
// configuration files through the configuration service): the text is
// read as the file reader reads it (a line ends at LF, a NUL ends the
// item, a line of 64 bytes or more is skipped) and each item goes through
// my_dm_handle_value1. A line starting with '?' is an export word instead,
// so that requests run between the items. Afterwards every JSON file the
// two sides touch must still parse. The factory files come back every 500
// inputs, so that the files don't only grow.

#include <json-c/json.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "phonecore/phonecfg.h"
#include "phonecore/phonecfg_export.h"
#include "support/factory_files.h"
#include "support/files.h"

namespace {

constexpr size_t kLineLimit = 64;
constexpr int kRunsPerRestore = 500;

phonecore::testing::FactoryFiles& factory() {
  static phonecore::testing::FactoryFiles files{std::span(phonecore::testing::kImportFiles)};
  return files;
}

void export_word(const std::string& text) {
  char word[PHONECFG_EXPORT_WORD_SIZE] = {};
  std::strncpy(word, text.c_str(), sizeof word - 1);
  if (set_cfg_header1("/tmp/phonecfg.ini") != 0) std::abort();
  strimp_shift_7(word);
  get_special_cfg(word);
  get_appoint_cfg(word);
  merge_phonecfg();
}

// Every file that was there parses as a JSON object.
void files_parse() {
  for (std::string_view name : phonecore::testing::kImportFiles) {
    const std::string bytes = phonecore::testing::slurp("/appconfigs/" + std::string(name));
    if (bytes.empty()) continue;
    json_object* root = json_tokener_parse(bytes.c_str());
    if (root == nullptr || !json_object_is_type(root, json_type_object)) std::abort();
    json_object_put(root);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static int runs = 0;
  if (runs++ % kRunsPerRestore == 0 && !factory().restore()) std::abort();
  const char* text = reinterpret_cast<const char*>(data);
  for (size_t start = 0; start < size;) {
    const void* lf = std::memchr(text + start, '\n', size - start);
    const size_t end = lf != nullptr ? static_cast<size_t>(static_cast<const char*>(lf) - text) : size;
    // What the item holds up to its first NUL.
    const std::string line(text + start, end - start);
    start = end + 1;
    if (line.size() >= kLineLimit) continue;
    if (line.starts_with('?')) export_word(line.substr(1));
    else my_dm_handle_value1(line.c_str());
  }
  start_network_flag = 0;
  reload_something_flag = 0;
  files_parse();
  return 0;
}

// phone.cfg export: the answer file /tmp/phonecfg.ini, built word by word
// from the configuration files, with the scratch file that collects the
// "[Config]" lines until the end.

#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/phonecfg.h"
#include "phonecore/phonecfg_export.h"
#include "provision/phonecfg/export_lines.h"
#include "provision/phonecfg/export_table.h"

char test_tmp[PHONECFG_EXPORT_WORD_SIZE];
char acc_after_name[PHONECFG_ACC_NAME_SIZE];

namespace phonecore::phonecfg {

namespace {

constexpr const char* kAnswerFile = "/tmp/phonecfg.ini";
constexpr const char* kScratchFile = "/tmp/phonecfg_tmp.ini";
constexpr const char* kVersionFile = "quorbit_ota.cfg";
constexpr const char* kOpenError = "phone.cfg open error!\n";

// One of the two files, open for the call; null (after the error line)
// when it can't be opened.
struct Output {
  FILE* file;

  Output(const char* path, const char* mode) : file(std::fopen(path, mode)) {
    if (file == nullptr) {
      std::printf("%s", kOpenError);
      std::fflush(stdout);
    }
  }
  ~Output() {
    if (file != nullptr) std::fclose(file);
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void put(std::string_view text) const { std::fwrite(text.data(), 1, text.size(), file); }
};

int start_answer() {
  const Output answer(kAnswerFile, "w");
  if (answer.file == nullptr) return -1;
  answer.put("[Status]\n");
  const json::Owned ota(read_gnl_config_json(kVersionFile));
  if (const char* version = json::text(ota.get(), "QuorbitOta", "sw_version"); version != nullptr)
    answer.put(std::string("FirmwareVersion = ") + version + "\n");
  return 0;
}

int special_word(const char* word) {
  const SpecialWord* special = word != nullptr ? find_special_word(word) : nullptr;
  if (special == nullptr) return 0;
  const Output answer(kAnswerFile, "a");
  if (answer.file == nullptr) return -1;
  const json::Owned source(read_gnl_config_json(source_path(special->source)));
  if (source == nullptr) return -1;
  answer.put(special_lines(*special, source.get()));
  return 0;
}

int appoint_word(const char* word) {
  if (word == nullptr) return -1;
  const Output scratch(kScratchFile, "a");
  if (scratch.file == nullptr) return -1;
  get_acc_after_name(word);
  int index = 0;
  const ExportRow* row = find_export_word(word, &index);
  const GroupRow* group = row == nullptr ? find_group_word(word) : nullptr;
  // Every source is read anew for every word, known or not; a source that
  // can't be read prints nothing and the search goes on.
  for (const SourceFile& s : kExportSources) {
    const json::Owned source(read_gnl_config_json(s.path));
    if (source == nullptr) continue;
    if (row != nullptr && row->source == s.source) {
      scratch.put(word_lines(word, *row, index, acc_after_name, source.get()));
      if (ends_search(*row)) break;
    }
    if (group != nullptr && s.source == Source::kSettinglist) scratch.put(group_lines(*group, source.get()));
  }
  return 0;
}

int merge() {
  {
    const Output answer(kAnswerFile, "a");
    if (answer.file == nullptr) return -1;
    int length = 0;
    char* lines = getFileAll(kScratchFile, &length);
    answer.put("[Config]\n");
    if (lines != nullptr) answer.put(std::string_view(lines, static_cast<size_t>(length)));
    std::free(lines);
  }
  const std::string command = std::string("rm -rf ") + kScratchFile;
  return std::system(command.c_str());
}

}  // namespace

}  // namespace phonecore::phonecfg

using namespace phonecore::phonecfg;

extern "C" {

int set_cfg_header1(const char* /*path: the answer is always /tmp/phonecfg.ini*/) noexcept { return start_answer(); }

int strimp_shift_7(char* word) noexcept {
  if (word == nullptr) return -1;
  shift_word(word, test_tmp);
  return 0;
}

int get_special_cfg(const char* word) noexcept { return special_word(word); }

int get_appoint_cfg(const char* word) noexcept { return appoint_word(word); }

int get_acc_after_name(const char* key) noexcept {
  after_first_dot(key, acc_after_name);
  return 0;
}

int merge_phonecfg(void) noexcept { return merge(); }

}  // extern "C"

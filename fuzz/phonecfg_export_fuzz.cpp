// The pure parts of the phone.cfg export on any bytes: the input is a word
// (up to the first NUL) and a JSON text (the rest). The word buffers never
// pass their room and hold what a plain reading says; every word of the
// tables prints whole lines of its own from whatever object the text
// parses to.

#include <json-c/json.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "phonecore/phonecfg_export.h"
#include "provision/phonecfg/export_lines.h"
#include "provision/phonecfg/export_table.h"

namespace pc = phonecore::phonecfg;

namespace {

void ends_a_line(const std::string& text) {
  if (text.empty() || text.back() != '\n') std::abort();
}

void check_word_buffers(std::string_view word) {
  // A caller's buffer of 64 bytes, terminated or not, and a guard behind.
  char buffer[PHONECFG_EXPORT_WORD_SIZE + 1];
  std::memset(buffer, 0, sizeof buffer);
  std::memcpy(buffer, word.data(), std::min(word.size(), sizeof buffer - 1));
  buffer[PHONECFG_EXPORT_WORD_SIZE] = 'G';
  const std::string before(buffer, strnlen(buffer, PHONECFG_EXPORT_WORD_SIZE));
  if (strimp_shift_7(buffer) != 0) std::abort();
  if (buffer[PHONECFG_EXPORT_WORD_SIZE] != 'G') std::abort();
  std::string plain = before.starts_with('&') ? before.substr(1) : before;
  plain.resize(std::min<size_t>(plain.size(), PHONECFG_EXPORT_WORD_SIZE - 1));
  if (plain != buffer || plain != test_tmp) std::abort();

  const std::string key(word);
  if (get_acc_after_name(key.c_str()) != 0) std::abort();
  const size_t dot = std::string_view(key.c_str()).find('.');
  std::string tail = dot == std::string_view::npos ? "" : std::string(key.c_str() + dot + 1);
  tail.resize(std::min<size_t>(tail.size(), PHONECFG_ACC_NAME_SIZE - 1));
  if (tail != acc_after_name) std::abort();
}

// A value is printed as stored, line ends and all, so the checks look at
// how a word's text starts and ends, not at how many lines it holds.
void print_word(std::string_view word, json_object* object) {
  int index = 0;
  if (const pc::ExportRow* row = pc::find_export_word(word, &index)) {
    char member[PHONECFG_ACC_NAME_SIZE];
    pc::after_first_dot(std::string(word).c_str(), member);
    const std::string text = pc::word_lines(word, *row, index, member, object);
    ends_a_line(text);
    std::string_view line(text);
    if (row->print == pc::Print::kTwice) {
      if (text.size() % 2 != 0 || line.substr(0, text.size() / 2) != line.substr(text.size() / 2)) std::abort();
      line = line.substr(0, text.size() / 2);
    }
    if (!line.starts_with(std::string(word) + " = ")) std::abort();
    ends_a_line(std::string(line));
  }
  if (const pc::GroupRow* row = pc::find_group_word(word)) {
    const std::string text = pc::group_lines(*row, object);
    if (!text.empty() && !text.starts_with(std::string(row->word))) std::abort();
    if (row->kind == pc::GroupKind::kFixed && text.empty()) std::abort();
    if (!text.empty()) ends_a_line(text);
  }
  if (const pc::SpecialWord* special = pc::find_special_word(word)) {
    const std::string text = pc::special_lines(*special, object);
    const char* first = special->head != nullptr ? special->head : special->lines[0].head;
    if (!text.starts_with(std::string(first) + "\n")) std::abort();
    ends_a_line(text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t nul = input.find('\0');
  const std::string_view word = input.substr(0, nul);
  const std::string text(nul == std::string_view::npos ? std::string_view() : input.substr(nul + 1));

  check_word_buffers(word);

  json_object* object = json_tokener_parse(text.c_str());
  print_word(word, object);
  static const std::vector<std::string> kWords = pc::all_export_words();
  for (const std::string& w : kWords) print_word(w, object);
  json_object_put(object);
  return 0;
}

// The text of a phone.cfg export, word by word, from objects already read.

#include "provision/phonecfg/export_lines.h"

#include <cstring>

#include "base/json.h"
#include "provision/phonecfg/key_table.h"

namespace phonecore::phonecfg {

namespace {

// The member's text as stored (numbers as their decimal text), or the
// text a missing member prints.
std::string_view value_of(json_object* object, const char* member, Print print = Print::kPlain) {
  const char* text = json::text(object, member);
  if (text == nullptr) return print == Print::kZeroWhenMissing ? "0" : kMissing;
  if (print == Print::kLanguage) {
    if (std::strcmp(text, "es-us") == 0) return "English";
    if (std::strcmp(text, "zh-cn") == 0) return "Chinese";
  }
  return text;
}

void add_line(std::string& out, std::string_view name, std::string_view value) {
  out.append(name).append(" = ").append(value).append("\n");
}

}  // namespace

void shift_word(char* word, char* scratch) {
  std::memset(scratch, 0, kWordSize);
  if (word == nullptr) return;
  const char* from = word[0] == '&' ? word + 1 : word;
  const size_t length = strnlen(from, kWordSize - 1);
  std::memcpy(scratch, from, length);
  // The result is never longer than the word: it fits where the word was.
  std::memcpy(word, scratch, length + 1);
}

void after_first_dot(const char* key, char* out) {
  std::memset(out, 0, kAccNameSize);
  const char* dot = key != nullptr ? std::strchr(key, '.') : nullptr;
  if (dot == nullptr) return;
  std::memcpy(out, dot + 1, strnlen(dot + 1, kAccNameSize - 1));
}

const ExportRow* find_export_word(std::string_view word, int* index) {
  for (const ExportRow& row : kExportTable) {
    int i = 0;
    if (!key_matches(row.word, word, &i)) continue;
    if (indexed(row.word) && (i < 1 || i > kIndexedCount)) continue;
    if (index != nullptr) *index = i;
    return &row;
  }
  return nullptr;
}

const GroupRow* find_group_word(std::string_view word) {
  for (const GroupRow& row : kGroupTable)
    if (row.word == word) return &row;
  return nullptr;
}

const SpecialWord* find_special_word(std::string_view word) {
  if (word.starts_with('&')) word.remove_prefix(1);
  for (const SpecialWord& special : kSpecialTable)
    if (special.word == word) return &special;
  return nullptr;
}

std::string word_lines(std::string_view word, const ExportRow& row, int index, const char* member,
                       json_object* source) {
  json_object* holder = nullptr;
  switch (row.place) {
    case ExportPlace::kMember:
      holder = json::at(source, row.section);
      break;
    case ExportPlace::kAccount:
      holder = json::element(json::array(source, row.section), static_cast<size_t>(index - 1));
      break;
    case ExportPlace::kKey:
      holder = json::element(json::array(source, row.section, "data"), static_cast<size_t>(index - 1));
      break;
  }
  std::string out;
  const std::string_view value = value_of(holder, row.member != nullptr ? row.member : member, row.print);
  add_line(out, word, value);
  if (row.print == Print::kTwice) add_line(out, word, value);
  return out;
}

std::string group_lines(const GroupRow& row, json_object* settinglist) {
  json_object* section = json::at(settinglist, row.section);
  const std::span<const GroupLine> lines(row.lines.data(), row.line_count);
  std::string out;
  switch (row.kind) {
    case GroupKind::kRules: {
      json_object* data = json::array(section, "data");
      const size_t length = json::length(data);
      if (length == 0) {
        out.append(row.word).append(" has no rule!\n");
        break;
      }
      for (size_t i = 0; i < length && i < static_cast<size_t>(row.limit); ++i) {
        json_object* rule = json::element(data, i);
        if (!json::has(rule, lines[0].member)) continue;
        // The number is the element's place: a rule passed over still
        // counts, so that the lines read back into the same elements.
        const std::string number = std::to_string(i + 1);
        for (const GroupLine& line : lines)
          add_line(out, std::string(row.word) + "." + line.name + number, value_of(rule, line.member));
      }
      break;
    }
    case GroupKind::kNumbered:
      for (int i = 1; i <= row.limit; ++i)
        for (const GroupLine& line : lines) {
          const std::string member = line.member + std::to_string(i);
          if (json::has(section, member.c_str()))
            add_line(out, std::string(row.word) + "." + member, value_of(section, member.c_str()));
        }
      break;
    case GroupKind::kFixed:
      for (const GroupLine& line : lines)
        add_line(out, std::string(row.word) + "." + line.name, value_of(section, line.member));
      break;
  }
  return out;
}

std::string special_lines(const SpecialWord& special, json_object* source) {
  std::string out;
  auto add = [&out](json_object* holder, std::string_view prefix, const SpecialLine& line) {
    if (line.head != nullptr) out.append(line.head).append("\n");
    out.append(prefix).append(line.name).append("=").append(value_of(holder, line.member)).append("\n");
  };
  if (special.head != nullptr) out.append(special.head).append("\n");
  if (special.per_account) {
    json_object* accounts = json::array(source, special.section);
    for (int n = 1; n <= kIndexedCount; ++n) {
      const std::string prefix = "Account" + std::to_string(n) + ".";
      for (const SpecialLine& line : special.lines)
        add(json::element(accounts, static_cast<size_t>(n - 1)), prefix, line);
    }
  } else {
    for (const SpecialLine& line : special.lines) add(json::at(source, special.section), "", line);
  }
  return out;
}

}  // namespace phonecore::phonecfg

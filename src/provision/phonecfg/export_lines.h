// The pure parts of the phone.cfg export: the word buffers, the lookup of
// a word in the export tables and the text each word prints from a JSON
// object already read. Nothing here touches a file or a service.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "phonecore/phonecfg_export.h"
#include "provision/phonecfg/export_table.h"

namespace phonecore::phonecfg {

inline constexpr size_t kWordSize = PHONECFG_EXPORT_WORD_SIZE;
inline constexpr size_t kAccNameSize = PHONECFG_ACC_NAME_SIZE;
static_assert(kWordSize == 64);
static_assert(kAccNameSize == 32);

// What a missing member prints.
inline constexpr std::string_view kMissing = "(null)";

// strimp_shift_7: one leading '&' off, the word cut at kWordSize - 1
// characters; scratch (kWordSize bytes) keeps the result.
void shift_word(char* word, char* scratch);

// get_acc_after_name: out (kAccNameSize bytes) cleared, then the text of
// key behind its first '.', cut at kAccNameSize - 1 characters.
void after_first_dot(const char* key, char* out);

// The row of a key word, with its index (1 to 4) for an indexed one; null
// for any other word.
const ExportRow* find_export_word(std::string_view word, int* index);
const GroupRow* find_group_word(std::string_view word);
// A special word, with or without one leading '&'.
const SpecialWord* find_special_word(std::string_view word);

// The "[Config]" lines of a key word from its source's object; member is
// the row's member, or the word's part behind its first dot when the row
// names none.
std::string word_lines(std::string_view word, const ExportRow& row, int index, const char* member, json_object* source);
// The "[Config]" lines of a group word from "default/settinglist.cfg".
std::string group_lines(const GroupRow& row, json_object* settinglist);
// The sections of a special word from its source's object.
std::string special_lines(const SpecialWord& special, json_object* source);

}  // namespace phonecore::phonecfg

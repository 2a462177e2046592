// The dial-plan pattern engine. A pattern is cut into at most 30 segments
// of at most 30 characters; a check walks the segments over the number from
// left to right, each taking its leftmost fit once and for all, and records
// the groups as pointers into the number. Nothing is copied until a group
// is asked for, and nothing is allocated but the two records.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dial/dialplan_internal.h"
#include "phonecore/dialplan.h"

static_assert(sizeof(regexp) == 3 * 4 + DIALPLAN_SEGMENT_COUNT * DIALPLAN_SEGMENT_SIZE + 2);
static_assert(offsetof(regexp, anchor_head) == 0);
static_assert(offsetof(regexp, anchor_tail) == 4);
static_assert(offsetof(regexp, segment_count) == 8);
static_assert(offsetof(regexp, segments) == 12);
static_assert(sizeof(dstring_param) == 2 * sizeof(void*));
// Three 32-bit words, then the pointer at its natural alignment.
static_assert(offsetof(dstring, text) == (sizeof(void*) == 8 ? 16 : 12));
static_assert(offsetof(dstring, open_stack) == offsetof(dstring, text) + sizeof(void*));
static_assert(offsetof(dstring, open_depth) == offsetof(dstring, open_stack) + DIALPLAN_OPEN_DEPTH * sizeof(void*));
static_assert(offsetof(dstring, params) == offsetof(dstring, open_depth) + (sizeof(void*) == 8 ? 8 : 4));
static_assert(sizeof(dstring) == offsetof(dstring, params) + DIALPLAN_PARAM_COUNT * sizeof(dstring_param));

namespace phonecore::dial {

namespace {

// A broken invariant of the engine: reported the way assert() reports and
// fatal, as on the board.
[[noreturn]] void engine_fault(const char* function, const char* expression) {
  std::fprintf(stderr, "dialplan_check: %s: Assertion `%s' failed.\n", function, expression);
  std::abort();
}

bool is_group_mark(char c) { return c == '(' || c == ')'; }

// Where the units of a segment start: the walk of count_units, with the
// position of each unit kept, so that one pass serves the search and all
// the group marks of the segment.
struct SegmentUnits {
  int count = 0;
  uint8_t at[DIALPLAN_SEGMENT_SIZE];

  explicit SegmentUnits(const char* segment) {
    if (segment[0] != '\0' && !is_group_mark(segment[0])) at[count++] = 0;
    // A compiled segment holds at most 30 units; the bound keeps a record
    // made by hand from writing past the table.
    for (const char* pos = unit_next(segment); pos != nullptr && count < DIALPLAN_SEGMENT_SIZE; pos = unit_next(pos)) {
      at[count++] = static_cast<uint8_t>(pos - segment);
    }
  }

  // Units before the group mark at index ch_id: get_pair_pos without
  // walking the segment again. A set can't hold a mark, so every unit
  // that starts before the mark also ends before it.
  int before(int ch_id) const {
    int n = 0;
    while (n < count && at[n] < ch_id) ++n;
    return n;
  }
};

// Whether the units fit the characters at s, of which at least
// units.count remain.
bool fits_at(const char* segment, const SegmentUnits& units, const char* s) {
  for (int k = 0; k < units.count; ++k) {
    const char* unit = segment + units.at[k];
    const auto ch = static_cast<unsigned char>(s[k]);
    if (*unit == '[') {
      if (!set_fits(unit, ch)) return false;
    } else if (*unit != 'x' && static_cast<unsigned char>(*unit) != ch) {
      return false;
    }
  }
  return true;
}

// One segment's faults: sets that don't close or are closed without being
// open, group marks inside a set, and a '-' without both of its ends.
// `marks_only` tells whether the segment has no unit at all.
bool segment_well_formed(const char* segment, bool* marks_only) {
  bool in_set = false;
  *marks_only = true;
  for (int i = 0; segment[i] != '\0'; ++i) {
    const char c = segment[i];
    if (!is_group_mark(c)) *marks_only = false;
    if (c == '[') {
      in_set = true;  // a second '[' inside a set is a member of it
    } else if (c == ']') {
      if (!in_set) return false;
      in_set = false;
    } else if (is_group_mark(c)) {
      if (in_set) return false;
    } else if (c == '-' && in_set) {
      const char before = segment[i - 1];
      const char after = segment[i + 1];
      if (before == '[' || before == ',' || before == '-') return false;
      if (after == ']' || after == ',' || after == '-') return false;
    }
  }
  return !in_set;
}

bool pattern_valid(const regexp& re) {
  if (re.segment_count == 0) return false;
  for (int i = 0; i < re.segment_count; ++i) {
    const char* segment = re.segments[i];
    bool marks_only = true;
    if (segment[0] == '\0' || !segment_well_formed(segment, &marks_only)) return false;
    if (marks_only) {
      // Group marks alone (no unit) stand only at an anchored end.
      const bool first = i == 0;
      const bool last = i == re.segment_count - 1;
      if ((first && !re.anchor_head) || (last && !re.anchor_tail) || (!first && !last)) return false;
    }
  }
  return true;
}

// The segment at seg_index and, through recursion, all behind it.
int check_from(const regexp& re, dstring& d) {
  // A record made by hand never walks beyond the 30 segments it has room
  // for.
  if (d.seg_index >= re.segment_count || d.seg_index >= DIALPLAN_SEGMENT_COUNT) return 1;
  const char* segment = re.segments[d.seg_index];
  const SegmentUnits unit_starts(segment);
  const int units = unit_starts.count;
  const bool last = d.seg_index == re.segment_count - 1;
  const char* here = d.text + d.offset;

  if (units == 0) {
    // A trailing ')' behind a '.' closes at the very end of the number.
    if (re.segment_count >= 2 && last) {
      here = d.text + d.length;
      d.offset = d.length;
    }
  } else {
    int found = -1;
    for (int start = d.offset; start <= d.length - units; ++start) {
      if (fits_at(segment, unit_starts, d.text + start)) {
        found = start;
        break;
      }
    }
    if (found < 0) return 0;
    here = d.text + found;
    d.offset = found + units;
  }

  for (int i = 0; segment[i] != '\0'; ++i) {
    if (segment[i] == '(') {
      if (d.open_depth < DIALPLAN_OPEN_DEPTH) d.open_stack[d.open_depth++] = here + unit_starts.before(i);
    } else if (segment[i] == ')' && d.open_depth > 0) {
      const char* start = d.open_stack[--d.open_depth];
      if (start == nullptr) continue;
      const int p = unit_starts.before(i);
      if (here + p <= d.text) {
        add_dstring_param(&d, start, nullptr);
      } else {
        add_dstring_param(&d, start, here + p - 1);
      }
    }
  }

  const bool head_ok = !re.anchor_head || here == d.text;
  const bool tail_ok = !re.anchor_tail || d.offset == d.length;
  if (re.segment_count == 1) {
    if (!head_ok || !tail_ok) return 0;
  } else if (d.seg_index == 0) {
    if (!head_ok) return 0;
  } else if (last) {
    if (!tail_ok) return 0;
  }
  ++d.seg_index;
  return check_from(re, d);
}

// atoi's reading of the number behind a '$' (blanks, a sign, digits),
// held within int: only 1 to 9 name a group.
int template_number(const char* s) {
  const long value = std::strtol(s, nullptr, 10);
  return value > 1000 ? 1000 : value < -1000 ? -1000 : static_cast<int>(value);
}

// Appends text at out[*used] while out holds fewer than out_size - 1
// characters.
void append(char* out, int out_size, int* used, const char* text) {
  while (*text != '\0' && *used < out_size - 1) out[(*used)++] = *text++;
}

}  // namespace

const char* unit_next(const char* pos) {
  if (pos == nullptr) engine_fault("unit_next", "pos");
  if (*pos == '\0') return nullptr;
  if (*pos == '[') {
    while (*pos != '\0' && *pos != ']') ++pos;
    if (*pos == '\0') return nullptr;
  }
  ++pos;
  while (is_group_mark(*pos)) ++pos;
  return *pos == '\0' ? nullptr : pos;
}

int count_units(const char* segment) {
  if (segment[0] == '\0') return 0;
  int units = is_group_mark(segment[0]) ? 0 : 1;
  for (const char* pos = unit_next(segment); pos != nullptr; pos = unit_next(pos)) ++units;
  return units;
}

int get_pair_pos(const char* segment, int ch_id) {
  if (ch_id < 0 || ch_id >= DIALPLAN_SEGMENT_SIZE || !is_group_mark(segment[ch_id])) {
    engine_fault("get_pair_pos", "regexp[ch_id] == '(' || regexp[ch_id] == ')'");
  }
  char copy[DIALPLAN_SEGMENT_SIZE];
  std::memcpy(copy, segment, static_cast<size_t>(ch_id));
  copy[ch_id] = '\0';
  return count_units(copy);
}

void add_dstring_param(dstring* subject, const char* start, const char* end) {
  if (subject == nullptr) engine_fault("add_dstring_param", "dstring");
  for (int i = 0; i < DIALPLAN_PARAM_COUNT; ++i) {
    dstring_param& pair = subject->params[i];
    if (pair.start == nullptr && pair.end == nullptr) {
      pair.start = start;
      pair.end = end;
      if (i >= DIALPLAN_READABLE_PARAMS && i + 1 < DIALPLAN_PARAM_COUNT) subject->params[i + 1] = dstring_param{};
      return;
    }
  }
}

// Element heads follow '[' or ','. A head followed by ',' or ']' is a
// single element; a head followed by '-' opens a range that counts only
// when its end is followed by ',' or ']'. Anything else is dead: "[123]"
// and "[1-34]" match nothing. Set authors separate with commas.
bool set_fits(const char* set, unsigned char ch) {
  for (const char* p = set + 1; *p != '\0' && *p != ']'; ++p) {
    if (*p == ',' || *p == '-') continue;
    if (p[-1] != '[' && p[-1] != ',') continue;
    const auto head = static_cast<unsigned char>(*p);
    if (p[1] == ',' || p[1] == ']') {
      if (head == ch) return true;
    } else if (p[1] == '-' && p[2] != '\0' && (p[3] == ',' || p[3] == ']')) {
      if (head <= ch && ch <= static_cast<unsigned char>(p[2])) return true;
    }
  }
  return false;
}

bool compile_pattern(const char* pattern, regexp* re) {
  const size_t length = std::strlen(pattern);
  re->anchor_head = pattern[0] != '.' ? 1 : 0;
  re->anchor_tail = length == 0 || pattern[length - 1] != '.' ? 1 : 0;
  re->segment_count = 0;

  // A '.' that ends a segment is skipped by the next pass; a run of more
  // than 30 characters goes on in the next segment as if a '.' stood there.
  size_t i = 0;
  while (re->segment_count < DIALPLAN_SEGMENT_COUNT) {
    if (pattern[i] == '.') ++i;
    if (pattern[i] == '\0') break;
    char* segment = re->segments[re->segment_count++];
    int k = 0;
    while (pattern[i] != '\0' && pattern[i] != '.' && k < DIALPLAN_SEGMENT_SIZE - 1) segment[k++] = pattern[i++];
    segment[k] = '\0';
  }
  return pattern_valid(*re);
}

void wrap_number(dstring* d, const char* text) {
  // Cleared: everything up to the nine readable pairs and the tenth. Pairs
  // fill from the first in order and are never freed during a check, and
  // add_dstring_param clears the pair behind each one it fills beyond the
  // ninth, so the free-pair search meets a cleared pair before any stale
  // one.
  std::memset(d, 0, offsetof(dstring, params) + (DIALPLAN_READABLE_PARAMS + 1) * sizeof(dstring_param));
  d->text = text != nullptr ? text : "";
  const size_t length = std::strlen(d->text);
  d->length = length > 0x7fffffff ? 0x7fffffff : static_cast<int32_t>(length);
}

}  // namespace phonecore::dial

using namespace phonecore::dial;

extern "C" {

regexp* dialplan_regexp_format(const char* pattern) noexcept {
  if (pattern == nullptr) return nullptr;
  auto* re = static_cast<regexp*>(std::malloc(sizeof(regexp)));
  if (re == nullptr) return nullptr;
  if (!compile_pattern(pattern, re)) {
    std::free(re);
    return nullptr;
  }
  return re;
}

void dialplan_regexp_free(regexp* compiled) noexcept { std::free(compiled); }

dstring* dialplan_string_init(const char* text) noexcept {
  auto* d = static_cast<dstring*>(std::malloc(sizeof(dstring)));
  if (d == nullptr) return nullptr;
  wrap_number(d, text);
  return d;
}

void dialplan_string_free(dstring* subject) noexcept { std::free(subject); }

int dialplan_check(regexp* compiled, dstring* subject) noexcept {
  if (compiled == nullptr || subject == nullptr || subject->text == nullptr) return 0;
  return check_from(*compiled, *subject);
}

int get_dialplan_string_param(dstring* subject, int n, char* out, int out_size) noexcept {
  if (subject == nullptr || n < 1 || n > DIALPLAN_READABLE_PARAMS) return 0;
  const dstring_param& pair = subject->params[n - 1];
  if (pair.start == nullptr || pair.end == nullptr || pair.start > pair.end) return 0;
  if (out == nullptr || out_size <= 0) return 1;
  std::memset(out, 0, static_cast<size_t>(out_size));
  const long span = pair.end - pair.start + 1;
  const long copied = span < out_size - 1 ? span : out_size - 1;
  std::memcpy(out, pair.start, static_cast<size_t>(copied));
  return 1;
}

// The two conveniences compile and check in records of their own, on the
// stack: nothing survives the call and nothing is taken from the heap.
int dialplan_check_block(const char* pattern, const char* number) noexcept {
  if (pattern == nullptr || number == nullptr) return 0;
  regexp re;
  dstring d;
  if (!compile_pattern(pattern, &re)) return 0;
  wrap_number(&d, number);
  return check_from(re, d);
}

int dialplan_check_replace(const char* pattern, const char* replace, const char* number, char* out,
                           int out_size) noexcept {
  if (number == nullptr) return 0;
  // The template counts for at most 64 characters.
  char templ[DIALPLAN_REPLACE_SIZE + 1] = {};
  if (replace != nullptr) std::strncpy(templ, replace, DIALPLAN_REPLACE_SIZE);

  if (pattern == nullptr) return 0;
  regexp re;
  dstring subject;
  dstring* d = &subject;
  if (!compile_pattern(pattern, &re)) return 0;
  wrap_number(d, number);
  if (check_from(re, subject) == 0) return 0;

  if (out == nullptr) out_size = 0;
  if (out_size > 0) std::memset(out, 0, static_cast<size_t>(out_size));
  int used = 0;
  const int length = static_cast<int>(std::strlen(templ));
  for (int i = 0; i < length;) {
    if (templ[i] != '$') {
      if (used < out_size - 1) out[used++] = templ[i];
      ++i;
      continue;
    }
    // A group is at most 94 characters. Exactly one character behind the
    // '$' is passed over, however many digits were read: "$12" is group
    // 12 (none) and a literal '2'.
    char group[95];
    if (get_dialplan_string_param(d, template_number(templ + i + 1), group, sizeof group) == 1) {
      append(out, out_size, &used, group);
    }
    i += 2;
  }
  return 1;
}

int dialplan_test_regex_0818_done(void) noexcept {
  const char* rule = "91[5-7]1234";
  const char* number = "9151234";
  std::printf("%s, %d,  rule = %s, string = %s\n", __func__, __LINE__, rule, number);
  if (dialplan_check_block(rule, number) == 1) {
    std::printf("%s, %d,  RegexFind success!!!!!! \n", __func__, __LINE__);
  } else {
    std::printf("%s, %d,  RegexFind failed ###### \n", __func__, __LINE__);
  }
  return 0;
}

int dialplan_test_regex_0818(void) noexcept {
  const char* prefix = "9([5-7])(.)";
  const char* replace = "5$2";
  const char* number = "96123";
  char output[100] = {};
  const int matched = dialplan_check_replace(prefix, replace, number, output, sizeof output);
  std::printf("%s, %d,  prefix = %s, replace = %s, number = %s, num_output = %s, len_num_output = %d \n", __func__,
              __LINE__, prefix, replace, number, output, static_cast<int>(std::strlen(output)));
  if (matched == 1) {
    std::printf("%s, %d,  RegexFind success!!!!!! \n", __func__, __LINE__);
  } else {
    std::printf("%s, %d,  RegexFind failed ###### \n", __func__, __LINE__);
  }
  return 0;
}

}  // extern "C"

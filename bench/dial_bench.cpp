// The dial-plan engine against the baseline a developer would otherwise
// reach for: POSIX regcomp + regexec of the equivalent extended regular
// expression, compiled per call as the dial rules compile per call. Each
// pair runs in the same process; the table at the end gives the ratio of
// baseline time to engine time, and the heap allocations of one check.
//
// The engine's rule walk logs through printf as on the phone; standard
// output goes to /dev/null while the benchmarks run so that the terminal
// is not what is measured; the results go to standard error.

#include <benchmark/benchmark.h>
#include <regex.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <string>

#include "dial/dial_rule_internal.h"
#include "phonecore/dial_rule.h"
#include "phonecore/dialplan.h"

// Heap allocations of this process, counted by interposing malloc. The
// counter is read around single checks, outside the timed loops.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
static long g_allocations = 0;
extern "C" void* malloc(size_t size) {
  ++g_allocations;
  return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size) {
  ++g_allocations;
  return __libc_calloc(count, size);
}

namespace {

struct BlockCase {
  const char* name;
  const char* pattern;  // the phone's pattern
  const char* regex;    // the same rule as an extended regular expression
  const char* number;
};

constexpr BlockCase kBlock[] = {
    {"range", "91[5-7]1234", "^91[5-7]1234$", "9151234"},
    {"prefix", "0x.", "^0.", "0301234567"},
    {"eleven", "1xxxxxxxxxx", "^1.{10}$", "14155550100"},
    {"local", "[2-9]xxxxxx", "^[2-9].{6}$", "5550100"},
    {"star", "*x.", "^\\*.", "*72"},
};

struct ReplaceCase {
  const char* name;
  const char* pattern;
  const char* templ;  // $1 to $9 in both forms
  const char* regex;
  const char* number;
  const char* expected;
};

constexpr ReplaceCase kReplace[] = {
    {"two_groups", "9([5-7])(.)", "5$2", "^9([5-7])(.*)$", "96123", "5123"},
    {"trunk", "0(.)", "00$1", "^0(.*)$", "0123456", "00123456"},
    {"international", "00(x.)", "+$1", "^00(..*)$", "004930123", "+4930123"},
    {"format", "([2-9]xx)(xxxx)", "($1) $2", "^([2-9]..)(....)$", "5550100", "(555) 0100"},
};

int posix_block(const char* regex, const char* number) {
  regex_t compiled;
  if (regcomp(&compiled, regex, REG_EXTENDED | REG_NOSUB) != 0) return 0;
  const int matched = regexec(&compiled, number, 0, nullptr, 0) == 0 ? 1 : 0;
  regfree(&compiled);
  return matched;
}

// The baseline rewrite: match with groups, then the template with "$n".
int posix_replace(const char* regex, const char* templ, const char* number, char* out, size_t out_size) {
  regex_t compiled;
  if (regcomp(&compiled, regex, REG_EXTENDED) != 0) return 0;
  regmatch_t groups[10];
  if (regexec(&compiled, number, 10, groups, 0) != 0) {
    regfree(&compiled);
    return 0;
  }
  size_t used = 0;
  for (const char* t = templ; *t != '\0' && used + 1 < out_size; ++t) {
    if (*t == '$' && t[1] >= '1' && t[1] <= '9') {
      const regmatch_t& g = groups[t[1] - '0'];
      for (regoff_t i = g.rm_so; g.rm_so >= 0 && i < g.rm_eo && used + 1 < out_size; ++i) out[used++] = number[i];
      ++t;
    } else {
      out[used++] = *t;
    }
  }
  out[used] = '\0';
  regfree(&compiled);
  return 1;
}

// Ten replace rules of account 1; the number is taken by the last one, so
// the walk compiles and tries all ten.
struct WalkRule {
  const char* prefix;
  const char* templ;
  const char* regex;
};

constexpr WalkRule kWalk[RULE_ROWS] = {
    {"00(x.)", "+$1", "^00(..*)$"},
    {"011(x.)", "+$1", "^011(..*)$"},
    {"*7([0-9]x)", "#$1", "^\\*7([0-9].)$"},
    {"1([2-9]xxxxxxxxx)", "$1", "^1([2-9].{9})$"},
    {"9([5-7])(.)", "5$2", "^9([5-7])(.*)$"},
    {"8[0-4]xx", "8", "^8[0-4]..$"},
    {"7(x.)", "07$1", "^7(..*)$"},
    {"6[1,3,5]x.", "6", "^6[135]."},
    {"5.00", "500", "^5.*00$"},
    {"4(xx)(xx)", "4$2$1", "^4(..)(..)$"},
};
constexpr const char* kWalkNumber = "41234";

void load_walk_rules() {
  vorn_rule_init();
  for (int i = 0; i < RULE_ROWS; ++i) {
    RuleReplace& row = phonecore::dial::g_rule_replace[i];
    row.id = i;
    std::snprintf(row.prefix, sizeof row.prefix, "%s", kWalk[i].prefix);
    std::snprintf(row.replace, sizeof row.replace, "%s", kWalk[i].templ);
    row.accounts[0] = 1;
  }
}

// The same walk built on regcomp, logging the same lines as the rule walk
// does.
int posix_walk(const char* number, char* out) {
  std::printf("tolk_rule vorn_rule_replace_match inputStr:%s accId:%d\n", number, 1);
  for (const WalkRule& rule : kWalk) {
    std::printf("tolk_rule vorn_rule_dial_match acc is valid,match the preffix:%s replace:%s\n", rule.prefix,
                rule.templ);
    if (posix_replace(rule.regex, rule.templ, number, out, RULE_TEXT_SIZE) == 1) return 1;
  }
  return 0;
}

void engine_block(benchmark::State& state, const BlockCase& c) {
  for (auto _ : state) benchmark::DoNotOptimize(dialplan_check_block(c.pattern, c.number));
}

void baseline_block(benchmark::State& state, const BlockCase& c) {
  for (auto _ : state) benchmark::DoNotOptimize(posix_block(c.regex, c.number));
}

void engine_replace(benchmark::State& state, const ReplaceCase& c) {
  char out[RULE_TEXT_SIZE];
  for (auto _ : state) benchmark::DoNotOptimize(dialplan_check_replace(c.pattern, c.templ, c.number, out, sizeof out));
}

void baseline_replace(benchmark::State& state, const ReplaceCase& c) {
  char out[RULE_TEXT_SIZE];
  for (auto _ : state) benchmark::DoNotOptimize(posix_replace(c.regex, c.templ, c.number, out, sizeof out));
}

void engine_walk(benchmark::State& state) {
  load_walk_rules();
  char out[RULE_TEXT_SIZE];
  for (auto _ : state) benchmark::DoNotOptimize(vorn_rule_replace_match(kWalkNumber, out, 1));
}

void baseline_walk(benchmark::State& state) {
  char out[RULE_TEXT_SIZE];
  for (auto _ : state) benchmark::DoNotOptimize(posix_walk(kWalkNumber, out));
}

// Remembers the time per iteration of every run for the ratio table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) ns_[run.benchmark_name()] = run.GetAdjustedRealTime();
  }
  double ns(const std::string& name) const {
    auto it = ns_.find(name);
    return it == ns_.end() ? 0 : it->second;
  }

 private:
  std::map<std::string, double> ns_;
};

// Checks the two sides agree before anything is timed.
bool sides_agree() {
  bool agree = true;
  for (const BlockCase& c : kBlock) {
    if (dialplan_check_block(c.pattern, c.number) != 1 || posix_block(c.regex, c.number) != 1) {
      std::fprintf(stderr, "block %s: the two sides disagree\n", c.name);
      agree = false;
    }
  }
  for (const ReplaceCase& c : kReplace) {
    char engine[RULE_TEXT_SIZE] = "";
    char posix[RULE_TEXT_SIZE] = "";
    dialplan_check_replace(c.pattern, c.templ, c.number, engine, sizeof engine);
    posix_replace(c.regex, c.templ, c.number, posix, sizeof posix);
    if (std::strcmp(engine, c.expected) != 0 || std::strcmp(posix, c.expected) != 0) {
      std::fprintf(stderr, "replace %s: engine %s, regex %s, expected %s\n", c.name, engine, posix, c.expected);
      agree = false;
    }
  }
  load_walk_rules();
  char engine[RULE_TEXT_SIZE] = "";
  char posix[RULE_TEXT_SIZE] = "";
  if (vorn_rule_replace_match(kWalkNumber, engine, 1) != 1 || posix_walk(kWalkNumber, posix) != 1 ||
      std::strcmp(engine, posix) != 0 || std::strcmp(engine, "43412") != 0) {
    std::fprintf(stderr, "walk: engine %s, regex %s\n", engine, posix);
    agree = false;
  }
  return agree;
}

template <typename F>
long allocations_of(F&& f) {
  const long before = g_allocations;
  f();
  return g_allocations - before;
}

}  // namespace

int main(int argc, char** argv) {
  // The rule walk's log lines go nowhere while anything is measured.
  std::fflush(stdout);
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  if (!sides_agree()) return 1;

  for (const BlockCase& c : kBlock) {
    benchmark::RegisterBenchmark((std::string("engine/block/") + c.name).c_str(), engine_block, c);
    benchmark::RegisterBenchmark((std::string("posix/block/") + c.name).c_str(), baseline_block, c);
  }
  for (const ReplaceCase& c : kReplace) {
    benchmark::RegisterBenchmark((std::string("engine/replace/") + c.name).c_str(), engine_replace, c);
    benchmark::RegisterBenchmark((std::string("posix/replace/") + c.name).c_str(), baseline_replace, c);
  }
  benchmark::RegisterBenchmark("engine/walk/ten_rules", engine_walk);
  benchmark::RegisterBenchmark("posix/walk/ten_rules", baseline_walk);

  benchmark::Initialize(&argc, argv);
  FILE* report_stream = stderr;
  RatioReporter reporter;
  reporter.SetOutputStream(&std::cerr);
  reporter.SetErrorStream(&std::cerr);
  benchmark::RunSpecifiedBenchmarks(&reporter);

  char out[RULE_TEXT_SIZE];
  const long engine_block_allocs = allocations_of([] { dialplan_check_block("91[5-7]1234", "9151234"); });
  const long engine_replace_allocs =
      allocations_of([&out] { dialplan_check_replace("9([5-7])(.)", "5$2", "96123", out, sizeof out); });
  const long posix_block_allocs = allocations_of([] { posix_block("^91[5-7]1234$", "9151234"); });
  const long posix_replace_allocs =
      allocations_of([&out] { posix_replace("^9([5-7])(.*)$", "5$2", "96123", out, sizeof out); });

  std::fprintf(report_stream, "%-28s %12s %12s %8s\n", "check", "engine ns", "regex ns", "ratio");
  auto line = [&](const std::string& name) {
    const double engine = reporter.ns("engine/" + name);
    const double posix = reporter.ns("posix/" + name);
    std::fprintf(report_stream, "%-28s %12.0f %12.0f %7.1fx\n", name.c_str(), engine, posix,
                 engine > 0 ? posix / engine : 0);
  };
  for (const BlockCase& c : kBlock) line(std::string("block/") + c.name);
  for (const ReplaceCase& c : kReplace) line(std::string("replace/") + c.name);
  line("walk/ten_rules");
  std::fprintf(report_stream,
               "heap allocations per check: engine block %ld, engine replace %ld, regex block %ld, "
               "regex replace %ld\n",
               engine_block_allocs, engine_replace_allocs, posix_block_allocs, posix_replace_allocs);
  return 0;
}

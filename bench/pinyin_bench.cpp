// Pinyin initials per name: getpystring and name_match on a phone book of
// Chinese, Latin and mixed names, against the bare UTF-8 to GBK conversion
// of the same names (iconv_open, iconv, iconv_close), which every
// getpystring call makes.

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstring>
#include <string>
#include <vector>

#include "phonecore/text.h"

namespace {

const std::vector<std::string>& names() {
  static const std::vector<std::string> book = {
      "\xe5\xbc\xa0\xe4\xb8\x89",                          // 张三
      "\xe6\x9d\x8e\xe5\x9b\x9b",                          // 李四
      "\xe7\x8e\x8b\xe4\xba\x94\xe5\x85\xad",              // 王五六
      "\xe4\xb8\xad\xe6\x96\x87\xe5\x90\x8d\xe5\xad\x97",  // 中文名字
      "Tom Smith",
      "Reception Desk 2",
      "Tom\xe5\xbc\xa0 B\xe4\xb8\x89",
      "Anna \xe6\x9d\x8e (Sales)",
  };
  return book;
}

void BM_IconvBaseline(benchmark::State& state) {
  char out[64];
  size_t i = 0;
  for (auto _ : state) {
    const std::string& name = names()[i++ % names().size()];
    iconv_t cd = iconv_open("gbk", "utf-8");
    char* in = const_cast<char*>(name.data());
    size_t in_left = name.size();
    char* at = out;
    size_t out_left = sizeof out - 1;
    iconv(cd, &in, &in_left, &at, &out_left);
    iconv_close(cd);
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(BM_IconvBaseline);

void BM_Getpystring(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(getpystring(names()[i++ % names().size()].c_str()));
}
BENCHMARK(BM_Getpystring);

void BM_NameMatch(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(name_match(names()[i++ % names().size()].c_str(), "zs"));
}
BENCHMARK(BM_NameMatch);

// The ratios against the baseline, printed after the runs.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const double ns = run.GetAdjustedCPUTime();
      if (run.benchmark_name() == "BM_IconvBaseline") baseline_ = ns;
      if (baseline_ > 0 && run.benchmark_name() != "BM_IconvBaseline")
        std::printf("  %s per name: %.0f ns, %.2fx the bare conversion\n", run.benchmark_name().c_str(), ns,
                    ns / baseline_);
    }
  }

 private:
  double baseline_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

// What every measuring program of bench/ shares: the clock, the spread of
// a series of timings (p50, p99, calls per second, failures), one loop that
// times a call n times, and one report line with the ratio to a baseline
// measured in the same run.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <type_traits>
#include <utility>
#include <vector>

namespace phonecore::bench {

using Clock = std::chrono::steady_clock;

struct Stats {
  double p50_us = 0;
  double p99_us = 0;
  double per_second = 0;  // over the timed calls only
  int failed = 0;         // calls that said they failed; not in the timings
};

inline double since_us(Clock::time_point t0) {
  return std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
}

// The spread of the timings (microseconds) of the calls that succeeded.
inline Stats summarize(std::vector<double> us, int failed = 0) {
  Stats s;
  s.failed = failed;
  if (us.empty()) return s;
  std::sort(us.begin(), us.end());
  double total = 0;
  for (double u : us) total += u;
  s.p50_us = us[us.size() / 2];
  s.p99_us = us[std::min(us.size() - 1, us.size() * 99 / 100)];
  s.per_second = total > 0 ? 1e6 * static_cast<double>(us.size()) / total : 0;
  return s;
}

// Times `once` n times, appending each time to us. A `once` that returns
// bool reports failure with false; the failed calls are counted in failed,
// not timed. Series measured in blocks keep adding to the same us.
template <typename F>
void time_calls(int n, F&& once, std::vector<double>& us, int& failed) {
  for (int i = 0; i < n; ++i) {
    const auto t0 = Clock::now();
    if constexpr (std::is_same_v<decltype(once()), bool>) {
      const bool ok = once();
      const double took = since_us(t0);
      if (ok) us.push_back(took);
      else ++failed;
    } else {
      once();
      us.push_back(since_us(t0));
    }
  }
}

// Times `once` n times (as time_calls) and summarizes.
template <typename F>
Stats measure(int n, F&& once) {
  std::vector<double> us;
  us.reserve(static_cast<size_t>(std::max(n, 0)));
  int failed = 0;
  time_calls(n, once, us, failed);
  return summarize(std::move(us), failed);
}

// One line: name, p50, p99, calls per second, failures, and with a
// baseline the p50 ratio against it.
inline void report(FILE* out, const char* name, const Stats& s, const Stats* base = nullptr) {
  std::fprintf(out, "  %-46s p50 %9.1f us  p99 %9.1f us  %9.0f/s", name, s.p50_us, s.p99_us, s.per_second);
  if (s.failed > 0) std::fprintf(out, "  failed %d", s.failed);
  if (base != nullptr && base->p50_us > 0) std::fprintf(out, "   %.2fx the baseline (p50)", s.p50_us / base->p50_us);
  std::fprintf(out, "\n");
}

}  // namespace phonecore::bench

// Competitors measured in turn, batch by batch, in one run: what disturbs one disturbs all, and the medians'
// ratios hold when the times themselves do not.
#pragma once

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/results.h"

namespace mar {

struct Competitor {
  std::string name;
  std::function<void()> once;
};

inline double seconds_now(clockid_t clock) {
  timespec now;
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Times `batches` batches of `batch_size` calls of each; returns the median microseconds of one call. Work
// that never waits is best timed by CLOCK_THREAD_CPUTIME_ID, which leaves out what other processes take.
inline std::vector<double> median_times_us(const std::vector<Competitor>& competitors, int batches,
                                           int batch_size, clockid_t clock = CLOCK_MONOTONIC) {
  std::vector<std::vector<double>> times_us(competitors.size());
  for (int batch = 0; batch < batches; ++batch) {
    for (size_t i = 0; i < competitors.size(); ++i) {
      const double start_s = seconds_now(clock);
      for (int call = 0; call < batch_size; ++call) competitors[i].once();
      times_us[i].push_back((seconds_now(clock) - start_s) * 1e6 / batch_size);
    }
  }
  std::vector<double> medians;
  for (auto& times : times_us) {
    std::nth_element(times.begin(), times.begin() + batches / 2, times.end());
    medians.push_back(times[static_cast<size_t>(batches) / 2]);
  }
  return medians;
}

// The same, printed and kept: the medians, and their ratios to the first competitor's.
inline void side_by_side(Results& results, const std::string& title,
                         const std::vector<Competitor>& competitors, int batches, int batch_size) {
  const std::vector<double> medians = median_times_us(competitors, batches, batch_size);
  std::printf("%s\n", title.c_str());
  for (size_t i = 0; i < competitors.size(); ++i) {
    const double ratio = medians[i] / medians[0];
    std::printf("  %-28s %9.2f us   %.3f\n", competitors[i].name.c_str(), medians[i], ratio);
    results.add(title + "/" + competitors[i].name, medians[i], ratio);
  }
}

// Keeps the calling process on one core.
inline void pin_to_core(int core) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(static_cast<size_t>(core), &cores);
  sched_setaffinity(0, sizeof cores, &cores);
}

}  // namespace mar

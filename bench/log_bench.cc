// What a log message costs: filtered out, against the mutex operations that this must cost; and written,
// against the same eight system calls without a log. Both sides of a ratio take turns in one run on one core.
//   build/bench/bench/log_bench [directory]    the file is made there; /dev/shm unless told otherwise
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "log/engine_log.h"

namespace mar {

namespace {

constexpr long kComponentOff = 1;
constexpr long kMaxFileSize = 100'000'000;

std::string directory = "/dev/shm";
std::string log_file;
std::string bare_file;

void log_one(long component, int level) {
  ZARNLog(component, level, "%s: %s Return code rc = %d", "zarn_ipc_readx",
          "-------> function completed   <-------", 0);
}

// As long as the line of log_one.
constexpr char kBareLine[] =
    "Nov 15 16:22:32:123   zarn_ipc_readx: -------> function completed   <------- Return code rc = 0\n";

void bare_one(const char* file) {
  const int fd = open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0666);
  lseek(fd, 0, SEEK_SET);
  benchmark::DoNotOptimize(lockf(fd, F_LOCK, 0));
  benchmark::DoNotOptimize(write(fd, kBareLine, sizeof kBareLine - 1));
  lseek(fd, 0, SEEK_SET);
  benchmark::DoNotOptimize(lockf(fd, F_ULOCK, 0));
  close(fd);
  struct stat found;
  benchmark::DoNotOptimize(stat(file, &found));
}

void two_mutex_pairs(benchmark::State& state) {
  pthread_mutex_t mutex;
  pthread_mutex_init(&mutex, nullptr);
  for (auto _ : state) {
    for (int pair = 0; pair < 2; ++pair) {
      pthread_mutex_lock(&mutex);
      pthread_mutex_unlock(&mutex);
    }
  }
}
BENCHMARK(two_mutex_pairs);

void filtered_uninitialised(benchmark::State& state) {
  ZARNLogDeinit();
  for (auto _ : state) log_one(MAR_LOG_BACKEND, MAR_LOG_MAX);
}
BENCHMARK(filtered_uninitialised);

void filtered_component_off(benchmark::State& state) {
  ZARNLogInit(log_file.c_str(), kMaxFileSize, MAR_LOG_MAX, MAR_LOG_BACKEND, 0);
  for (auto _ : state) log_one(kComponentOff, MAR_LOG_MAX);
}
BENCHMARK(filtered_component_off);

void filtered_level_too_high(benchmark::State& state) {
  ZARNLogInit(log_file.c_str(), kMaxFileSize, MAR_LOG_MED, MAR_LOG_BACKEND, 0);
  for (auto _ : state) log_one(MAR_LOG_BACKEND, MAR_LOG_MAX);
}
BENCHMARK(filtered_level_too_high);

double seconds_of(auto&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double>& values) {
  std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

// One iteration: kBatch lines each way, in turns. The files start over with every run.
void written_line_against_its_calls(benchmark::State& state) {
  constexpr int kBatch = 50;
  ZARNLogInit(log_file.c_str(), kMaxFileSize, MAR_LOG_MAX, MAR_LOG_BACKEND, 0);
  unlink(log_file.c_str());
  unlink(bare_file.c_str());
  std::vector<double> bare_s, log_s;
  for (auto _ : state) {
    bare_s.push_back(seconds_of([] {
      for (int i = 0; i < kBatch; ++i) bare_one(bare_file.c_str());
    }));
    log_s.push_back(seconds_of([] {
      for (int i = 0; i < kBatch; ++i) log_one(MAR_LOG_BACKEND, MAR_LOG_MAX);
    }));
  }
  const double bare = median(bare_s) / kBatch;
  const double log = median(log_s) / kBatch;
  state.counters["bare_ns"] = bare * 1e9;
  state.counters["log_ns"] = log * 1e9;
  state.counters["ratio"] = log / bare;
}
BENCHMARK(written_line_against_its_calls)->Iterations(5000)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc > 1) directory = argv[1];
  std::string made = directory + "/log_bench.XXXXXX";
  if (mkdtemp(made.data()) == nullptr) {
    perror(made.c_str());
    return 1;
  }
  log_file = made + "/log";
  bare_file = made + "/bare";
  cpu_set_t one_core;
  CPU_ZERO(&one_core);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &one_core);
  sched_setaffinity(0, sizeof one_core, &one_core);
  benchmark::RunSpecifiedBenchmarks();
  unlink(log_file.c_str());
  unlink(bare_file.c_str());
  rmdir(made.c_str());
  return 0;
}

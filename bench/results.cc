#include "bench/results.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace mar {

Results::Results(int& argc, char** argv) {
  benchmark::BenchmarkReporter::Context::executable_name = argv[0];
  char** const end = argv + argc;
  char** const option = std::find(argv, end, std::string_view("--json"));
  if (std::distance(option, end) < 2) return;
  file_.open(option[1]);
  if (!file_) {
    std::perror(option[1]);
    std::exit(2);
  }
  std::copy(option + 2, end, option);
  argc -= 2;
}

Results::~Results() {
  if (!file_.is_open()) return;
  benchmark::JSONReporter json;
  json.SetOutputStream(&file_);
  json.ReportContext({});
  json.ReportRuns(rows_);
  json.Finalize();
}

void Results::add(const std::string& name, double median_us, double ratio) {
  benchmark::BenchmarkReporter::Run row;
  row.run_name.function_name = name;
  row.family_index = static_cast<int64_t>(rows_.size());
  row.per_family_instance_index = 0;
  row.repetition_index = 0;
  row.repetitions = 1;
  row.time_unit = benchmark::kMicrosecond;
  row.real_accumulated_time = row.cpu_accumulated_time = median_us * 1e-6;
  row.counters["ratio"] = ratio;
  rows_.push_back(row);
}

}  // namespace mar

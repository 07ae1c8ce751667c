// What a benchmark program has measured, for its reader and for programs.
#pragma once

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>
#include <vector>

namespace mar {

// Rows are written in the JSON format of Google Benchmark, with the facts of the machine, to the file that
// "--json FILE" on the command line names; without it, nowhere. scripts/charts draws them.
class Results {
 public:
  // Takes the option off the arguments. Ends the program if the file cannot be written.
  Results(int& argc, char** argv);
  ~Results();  // writes the rows
  Results(const Results&) = delete;
  Results& operator=(const Results&) = delete;

  // A row: parts of the name are separated by slashes. `ratio` is to the row's floor or competitor.
  void add(const std::string& name, double median_us, double ratio);

 private:
  std::ofstream file_;
  std::vector<benchmark::BenchmarkReporter::Run> rows_;
};

}  // namespace mar

// main() of the replay programs. Runs the target on every file that the command line names, and on every file
// of every directory. A finding ends the process.
#include <algorithm>
#include <filesystem>
#include <vector>

#include "fuzz/target.h"
#include "tests/support/files.h"

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_directory(argv[i])) {
      for (const auto& entry : std::filesystem::directory_iterator(argv[i])) files.push_back(entry.path());
    } else {
      files.emplace_back(argv[i]);
    }
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    const std::string content = mar::read_file(file);
    std::printf("%s, %zu bytes\n", file.c_str(), content.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(content.data()), content.size());
  }
  return files.empty() ? 1 : 0;  // a run without any input is a failure
}

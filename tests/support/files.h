// Whole files in one call, for tests.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace mar {

// Empty when the file cannot be read.
inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace mar

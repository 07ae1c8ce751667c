// Messages by which a log file's reader can tell whole lines from torn ones.
#pragma once

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <utility>

#include "tests/support/files.h"

// Message `number` of a writer; its length follows from the number.
inline std::string message_of(int writer, int number) {
  return "w" + std::to_string(writer) + " n" + std::to_string(number) + " " +
         std::string(static_cast<size_t>(number % 37 * 13), 'x') + " end";
}
inline constexpr int kLongestLine = 22 + 30 + 36 * 13;

// What a log file holds, roll-over headers and empty lines left out.
struct LogContent {
  size_t lines = 0;
  std::set<std::pair<int, int>> messages;  // writer and number of every whole line
  std::string torn;                        // everything else

  explicit LogContent(const std::string& path) {
    const std::string text = read_file(path);
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
      end = std::min(text.find('\n', at), text.size());
      const std::string line = text.substr(at, end - at);
      if (line.empty() || line.rfind("Previous Log Messages were removed because", 0) == 0) continue;
      ++lines;
      std::pair<int, int> id{-1, -1};
      sscanf(line.c_str(), "%*19c   w%d n%d ", &id.first, &id.second);
      if (line.size() > 22 && line.substr(22) == message_of(id.first, id.second) && end < text.size()) {
        messages.insert(id);
      } else {
        torn += line + "\n";
      }
    }
  }
};

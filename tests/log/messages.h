// The files that the tests write, messages by which their reader can tell whole lines from torn ones, and
// processes that share a file.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <string>
#include <utility>

#include "log/engine_log.h"
#include "tests/support/child.h"
#include "tests/support/files.h"

namespace mar {

inline constexpr char kLogFile[] = "/var/zarn/log";
inline const std::string kTraceDirectory = "/var/qxo/brenvik/common/KFD/logs/";
inline const std::string kTraceFile = kTraceDirectory + "trace-armdebug.log";

// Message `number` of a writer; its length follows from the number.
inline std::string message_of(int writer, int number) {
  return "w" + std::to_string(writer) + " n" + std::to_string(number) + " " +
         std::string(static_cast<size_t>(number % 37 * 13), 'x') + " end";
}
inline void log_messages(int first, int count) {
  errno = 77;
  for (int n = first; n < first + count; ++n) ZARNLog(8192, 3, "%s", message_of(0, n).c_str());
  if (errno != 77) abort();  // which the caller of a traced child sees, too
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

// Another process, which has done `first` (0 for success) when the constructor returns, and then does `next`.
class Neighbour {
 public:
  explicit Neighbour(const std::function<int()>& first, const std::function<void()>& next = pause)
      : child_([&] {
          if (first() == 0) write_file("/var/zarn/ready", "");
          next();
          return 0;
        }) {
    EXPECT_TRUE(eventually([] { return unlink("/var/zarn/ready") == 0; }));
  }

 private:
  Child child_;
};

}  // namespace mar

// The control file, by which clients find a queue. Its engine holds a lock on it from before the queue is
// made until the queue is gone. So a file has one engine, however many start at once.
#pragma once

#include <string>

#include "util/outcome.h"

namespace mar::standin {

class ControlFile {
 public:
  static constexpr int kInUse = 1;  // code of a failed take(): another engine holds the file

  ControlFile() = default;
  ~ControlFile() { remove(); }
  ControlFile(const ControlFile&) = delete;
  ControlFile& operator=(const ControlFile&) = delete;

  // Locks the file `path`, which must name a folder too. Makes file and folder if they
  // are missing. Never waits.
  [[nodiscard]] Outcome<> take(const std::string& path);

  // Removes the file if it is still the one that was taken, unlocks it, and removes the folder if take() made
  // it and it is empty.
  void remove();

  // Unlocks the file and leaves it in place.
  void release();

  // The path of the file that is held, or empty.
  const std::string& path() const { return path_; }

 private:
  bool open_or_make(const std::string& path);
  bool make_directory(const std::string& directory);
  bool is_at_path(int flags) const;

  std::string path_;
  std::string made_directory_;
  int descriptor_ = -1;
};

}  // namespace mar::standin

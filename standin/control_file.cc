#include "standin/control_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mar::standin {

namespace {

// A try fails only if another process makes or removes the file at that moment.
constexpr int kMaxTries = 1000;

Failure not_usable(const std::string& path, const std::string& why) {
  return {"control file " + path + ": " + why};
}

}  // namespace

// An existing file is opened without O_CREAT: with it, the kernel may refuse another user's
// file in a sticky folder.
bool ControlFile::open_or_make(const std::string& path) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  descriptor_ = open(path.c_str(), kFlags);
  if (descriptor_ < 0 && errno == ENOENT) descriptor_ = open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666);
  return descriptor_ >= 0;
}

// Returns false with errno set if the folder is still missing afterwards.
bool ControlFile::make_directory(const std::string& directory) {
  if (mkdir(directory.c_str(), 0777) != 0) return errno == EEXIST;
  made_directory_ = directory;
  return true;
}

Outcome<> ControlFile::take(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return not_usable(path, "give its folder too, as in ./" + path);
  const std::string directory = path.substr(0, slash);
  for (int tries = 0; tries < kMaxTries; ++tries) {
    if (!open_or_make(path)) {
      // EEXIST: another engine made the file first.
      if (errno == EEXIST || (errno == ENOENT && make_directory(directory))) continue;
      return not_usable(path, std::strerror(errno));
    }
    path_ = path;
    struct stat status;
    const bool regular = fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    // Not a lock by fcntl(): a process loses that lock when it closes any descriptor of the file, as it does
    // while it makes the segment; the kind that survives this needs a file that we may write to.
    const bool locked = regular && flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
    const int error = errno;
    if (locked && is_at_path(0)) return {};
    release();
    if (!regular) return not_usable(path, "not a regular file");
    if (!locked && error == EWOULDBLOCK) return Failure{"an engine runs here already: " + path, kInUse};
    if (!locked) return not_usable(path, std::strerror(error));
    // Its last holder removed the file after we had opened it.
  }
  return not_usable(path, "it cannot be held");
}

bool ControlFile::is_at_path(int flags) const {
  struct stat ours;
  struct stat there;
  return fstat(descriptor_, &ours) == 0 && fstatat(AT_FDCWD, path_.c_str(), &there, flags) == 0 &&
         ours.st_ino == there.st_ino && ours.st_dev == there.st_dev;
}

void ControlFile::remove() {
  if (descriptor_ >= 0 && is_at_path(AT_SYMLINK_NOFOLLOW)) unlink(path_.c_str());
  release();
  if (!made_directory_.empty()) rmdir(made_directory_.c_str());
  made_directory_.clear();
}

// A child forked meanwhile shares the lock, so closing our descriptor would not be enough.
void ControlFile::release() {
  if (descriptor_ >= 0) {
    flock(descriptor_, LOCK_UN);
    close(descriptor_);
  }
  descriptor_ = -1;
  path_.clear();
}

}  // namespace mar::standin

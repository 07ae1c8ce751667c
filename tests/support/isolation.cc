#include "tests/support/isolation.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

namespace mar {

namespace {

bool write_file(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(fd);
  return written;
}

// A process that may not make namespaces itself (an ordinary user, or root of a container) makes them in a
// user namespace, where it is root.
bool enter_namespaces() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWIPC | CLONE_NEWNS) == 0) return true;
  return unshare(CLONE_NEWUSER | CLONE_NEWIPC | CLONE_NEWNS) == 0 &&
         write_file("/proc/self/setgroups", "deny") &&
         write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
         write_file("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

// A tmpfs that shows the host's /var, entry by entry, so that a build tree below /var stays reachable.
bool mirror_var(const std::filesystem::path& target) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/var", error)) {
    const auto name = entry.path().filename();
    if (name == "zarn" || name == "qxo") continue;
    const auto copy = target / name;
    if (entry.is_symlink(error)) {
      std::filesystem::copy_symlink(entry.path(), copy, error);
    } else if (entry.is_directory(error)) {
      if (mkdir(copy.c_str(), 0755) != 0) return false;
      if (mount(entry.path().c_str(), copy.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) return false;
    }
  }
  return mkdir((target / "zarn").c_str(), 0777) == 0 && mkdir((target / "qxo").c_str(), 0777) == 0;
}

// Returns null, or the name of the step that the system refused, with errno set.
const char* refused_step() {
  if (!enter_namespaces()) return "unshare";
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return "mount --make-rprivate";
  // Built at /tmp, which the move uncovers again.
  if (mount("tmpfs", "/tmp", "tmpfs", 0, "mode=0755") != 0) return "mount tmpfs";
  if (!mirror_var("/tmp")) return "mirror /var";
  if (mount("/tmp", "/var", nullptr, MS_MOVE, nullptr) != 0) return "mount --move";
  return nullptr;
}

}  // namespace

bool isolate_process() {
  const char* const step = refused_step();
  if (step == nullptr) return true;
  std::fprintf(stderr,
               "FAILED: the system refuses this process IPC and mount namespaces of its own (%s: %s).\n"
               "Run it where this command succeeds: unshare --map-root-user --ipc --mount true\n",
               step, std::strerror(errno));
  return false;
}

}  // namespace mar

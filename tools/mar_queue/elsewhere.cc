#include "tools/mar_queue/elsewhere.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "contract/names.h"
#include "contract/queue_layout.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

namespace {

namespace fs = std::filesystem;

// What "/proc/7/ns/ipc" links to: "ipc:[4026531839]". Empty with `error` set if we may not see it.
std::string ipc_namespace(const fs::path& process, std::error_code& error) {
  return fs::read_symlink(process / "ns/ipc", error).string();
}

// Mapped segments appear as files named after their key.
bool maps_segment(const fs::path& process, key_t key) {
  const std::string name = fmt::format("/SYSV{:08x}", static_cast<uint32_t>(key));
  std::ifstream maps(process / "maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(name) != std::string::npos) return true;
  }
  return false;
}

bool is_process(const std::string& name) {
  return !name.empty() &&
         std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c); });
}

// A key holds 16 bits of the file's inode, 8 of its device, and the number that tells a file's keys apart.
constexpr uint32_t kFileBits = 0x00FFFFFF;
constexpr uint32_t kDeviceBits = 0x00FF0000;

key_t sibling(key_t key, int number) {
  return static_cast<key_t>((static_cast<uint32_t>(key) & kFileBits) | static_cast<uint32_t>(number) << 24);
}

bool same_device(key_t a, key_t b) {
  return ((static_cast<uint32_t>(a) ^ static_cast<uint32_t>(b)) & kDeviceBits) == 0;
}

std::set<key_t> keys_beside(const fs::path& directory) {
  std::set<key_t> keys;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
    IpcKeys file_keys;
    if (impl_ipc_keys(entry->path().c_str(), file_keys)) keys.insert(file_keys.segment);
  }
  return keys;
}

}  // namespace

NamespaceSearch search_namespaces(const ControlFile& control_file) {
  NamespaceSearch search;
  std::error_code error;
  std::set<std::string> known{ipc_namespace("/proc/self", error)};
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!is_process(name)) continue;
    std::error_code refused;
    const std::string ipc = ipc_namespace(entry->path(), refused);
    if (refused == std::errc::permission_denied) search.complete = false;
    if (ipc.empty() || known.contains(ipc)) continue;
    const std::string their_path = entry->path().string() + "/root" + control_file.path;
    struct stat file;
    IpcKeys keys;
    if (stat(their_path.c_str(), &file) != 0 || !impl_ipc_keys(their_path.c_str(), keys)) continue;
    if (!maps_segment(entry->path(), keys.segment)) continue;
    const struct stat& ours = control_file.status;
    const bool same = control_file.error == 0 && file.st_dev == ours.st_dev && file.st_ino == ours.st_ino;
    search.users.push_back({static_cast<pid_t>(std::atoi(name.c_str())), same});
    known.insert(ipc);
  }
  return search;
}

std::vector<Orphan> find_orphans(const ControlFile& control_file, const IpcObjects& objects) {
  std::vector<Orphan> orphans;
  const fs::path directory = fs::path(control_file.path).parent_path();
  IpcKeys directory_keys;  // for the bits of the device
  if (!impl_ipc_keys(directory.c_str(), directory_keys)) return orphans;
  const std::set<key_t> claimed = keys_beside(directory);
  for (const IpcObject& segment : objects.segments) {
    if (segment.key != sibling(segment.key, IPC_MEM_ID) ||
        !same_device(segment.key, directory_keys.segment) || claimed.contains(segment.key) ||
        !is_queue_size(segment.size)) {
      continue;
    }
    const uint64_t slots = kCommandQueueLayout.capacity(segment.size);
    const IpcKeys keys{sibling(segment.key, IPC_SEM_ID), segment.key, sibling(segment.key, kQueueSemId)};
    const auto segment_set = with_key(objects.semaphore_sets, keys.segment_semaphores);
    const auto queue_set = with_key(objects.semaphore_sets, keys.queue_semaphores);
    if (!segment_set || segment_set->size != 2 || !queue_set || queue_set->size != slots + kFirstHeadSem)
      continue;
    orphans.push_back({keys, slots, semaphore_process(segment_set->id, kCreatorAliveSem),
                       semaphore_value(segment_set->id, kCreatorAliveSem) > 1});
  }
  return orphans;
}

bool has_living_creator(const std::string& path, const IpcObjects& objects) {
  IpcKeys keys;
  if (!impl_ipc_keys(path.c_str(), keys)) return false;
  const auto set = with_key(objects.semaphore_sets, keys.segment_semaphores);
  return set && semaphore_value(set->id, kCreatorAliveSem) > 1;
}

}  // namespace mar::queue_tool

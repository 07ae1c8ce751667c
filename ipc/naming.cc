#include "ipc/naming.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "contract/names.h"
#include "ipc/system.h"
#include "runtime/thread_library.h"
#include "util/agent_instance.h"

void CIPCUtils::createIPCName(const char* base, const char* suffix, int maxLength, char* out) {
  out[0] = '\0';
  if (maxLength < 1) return;
  const auto append = [&](const char* text) {
    std::strncat(out, text, static_cast<size_t>(maxLength) - std::strlen(out));
    out[maxLength - 1] = '\0';
  };
  append(base);
  if (suffix != nullptr) append(suffix);
  if (isMultiAgent()) {
    append(POST_MULTI_DELIMETER);
    constexpr int kInstanceLimit = 4096;  // bytes of an instance's name that count
    const auto used = static_cast<int>(std::strlen(out));
    getMultiAgentName(out + used, std::min(maxLength - used, kInstanceLimit + 1));
  }
}

int GetProcessID() { return mar::sys::process_id(); }

_TIPCIdentifier GetIpcIdentifier(int processId) {
  unsigned long thread = 0;
  CkesThreadLibrary::GetCurrentThreadID(&thread);
  return {static_cast<uint32_t>(processId), static_cast<uint32_t>(thread)};
}

int getAndRemoveSharedMemory(int key, unsigned long size) {
  const int memory = mar::sys::segment_get(key, size, 0666);
  if (memory == -1) return 0;
  return mar::sys::segment_remove(memory) == 0 ? 0 : errno;
}

namespace mar {

bool process_is_gone(uint32_t process_id) {
  if (process_id == 0 || process_id > INT_MAX) return true;  // would address groups of processes
  return mar::sys::process_signal(static_cast<pid_t>(process_id), 0) != 0 && errno == ESRCH;
}

namespace {

// ftok's formula in the C library: 16 bits of the inode, 8 of the device, 8 of the key number.
key_t key_of(const struct stat& status, int number) {
  const auto inode_bits = static_cast<uint32_t>(status.st_ino & 0xFFFFu);
  const auto device_bits = static_cast<uint32_t>(status.st_dev & 0xFFu) << 16;
  return static_cast<key_t>(inode_bits | device_bits | static_cast<uint32_t>(number & 0xFF) << 24);
}

}  // namespace

bool impl_ipc_keys(const char* name, IpcKeys& keys) {
  struct stat status;
  if (mar::sys::file_stat(name, status) != 0) return false;
  keys = {key_of(status, IPC_SEM_ID), key_of(status, IPC_MEM_ID), key_of(status, kQueueSemId)};
  return true;
}

}  // namespace mar

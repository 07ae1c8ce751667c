#include "tools/mar_queue/ipc_objects.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <algorithm>

namespace mar::queue_tool {

namespace {

// The C library leaves this definition to its users.
union SemaphoreArgument {
  int value;
  semid_ds* status;
  seminfo* info;
};

constexpr int kRead = 0400;
constexpr int kReadAndWrite = 0600;

}  // namespace

IpcObjects list_ipc_objects() {
  IpcObjects objects;
  shm_info segments_info;
  const int last_segment = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&segments_info));
  for (int index = 0; index <= last_segment; ++index) {
    shmid_ds status = {};
    const int id = shmctl(index, SHM_STAT_ANY, &status);
    const key_t key = status.shm_perm.__key;
    if (id == -1 || key == IPC_PRIVATE) continue;
    objects.segments.push_back({key, id, status.shm_segsz, status.shm_perm.uid, shmget(key, 0, kRead) == id,
                                shmget(key, 0, kReadAndWrite) == id, status.shm_ctime,
                                std::max(status.shm_atime, status.shm_dtime)});
  }
  seminfo sets_info;
  const int last_set = semctl(0, 0, SEM_INFO, SemaphoreArgument{.info = &sets_info});
  for (int index = 0; index <= last_set; ++index) {
    semid_ds status = {};
    const int id = semctl(index, 0, SEM_STAT_ANY, SemaphoreArgument{.status = &status});
    const key_t key = status.sem_perm.__key;
    if (id == -1 || key == IPC_PRIVATE) continue;
    objects.semaphore_sets.push_back({key, id, status.sem_nsems, status.sem_perm.uid,
                                      semget(key, 0, kRead) == id, semget(key, 0, kReadAndWrite) == id,
                                      status.sem_ctime, status.sem_otime});
  }
  return objects;
}

std::optional<IpcObject> with_key(const std::vector<IpcObject>& objects, key_t key) {
  const auto found = std::find_if(objects.begin(), objects.end(),
                                  [key](const IpcObject& object) { return object.key == key; });
  return found == objects.end() ? std::nullopt : std::optional(*found);
}

int semaphore_value(int set, int number) { return semctl(set, number, GETVAL); }

pid_t semaphore_process(int set, int number) { return semctl(set, number, GETPID); }

}  // namespace mar::queue_tool

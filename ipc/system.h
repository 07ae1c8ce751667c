// Every system call of this folder, one function each, so that the queue can also run on a simulated kernel:
// a program that defines these functions itself links them instead of ours. Each returns what the call of its
// name returns, with errno set; none restarts an interrupted call or decides anything.
#pragma once

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace mar::sys {

// Shared memory. segment_attach returns null on failure.
int segment_get(key_t key, uint64_t size_bytes, int flags);
void* segment_attach(int segment);
int segment_detach(const void* address);
int segment_populate(void* address, size_t size_bytes);  // maps these pages at once; EINVAL before Linux 5.14
int segment_stat(int segment, shmid_ds& status);
int segment_remove(int segment);

// Semaphore sets.
int semaphores_get(key_t key, int count, int flags);
int semaphores_stat(int set, semid_ds& status);
int semaphores_set_all(int set, unsigned short* values);
int semaphores_remove(int set);
int semaphore_value(int set, int number);
int semaphore_waiters(int set, int number);
int semaphores_operate(int set, sembuf* operations, size_t count);
int semaphores_operate_for(int set, sembuf* operations, size_t count,
                           const timespec* limit);  // null: no limit

// Files and processes.
int file_stat(const char* path, struct stat& status);
bool file_exists_or_is_created(const char* path);
pid_t process_id();
int process_signal(pid_t process, int signal);

}  // namespace mar::sys

#include "runtime/mutex.h"

#include <errno.h>

#include "runtime/error_manager.h"
#include "runtime/thread_library.h"

using namespace mar;

CkesMutex::CkesMutex() {
  if (!CkesThreadLibrary::IsInitialized() && CkesThreadLibrary::Initialize() != 0) return;
  initialized = implInitialize();
}

CkesMutex::~CkesMutex() {
  if (initialized) implDestroy();
}

long CkesMutex::Lock() {
  return record_failure(initialized ? implLock() : kMutexNotInitialised, "CkesMutex::Lock()");
}

long CkesMutex::Unlock() {
  return record_failure(initialized ? implUnlock() : kMutexNotInitialised, "CkesMutex::Unlock()");
}

long CkesMutex::TryLock() {
  return record_failure(initialized ? implTryLock() : kMutexNotInitialised, "CkesMutex::TryLock()");
}

bool CkesMutex::implInitialize() { return pthread_mutex_init(&mutex, nullptr) == 0; }

void CkesMutex::implDestroy() { pthread_mutex_destroy(&mutex); }

long CkesMutex::implLock() { return pthread_mutex_lock(&mutex) == 0 ? 0 : kMutexLockFailed; }

long CkesMutex::implUnlock() { return pthread_mutex_unlock(&mutex) == 0 ? 0 : kMutexUnlockFailed; }

long CkesMutex::implTryLock() {
  const int error = pthread_mutex_trylock(&mutex);
  if (error == 0) return 0;
  return error == EBUSY ? kMutexHeld : kMutexLockFailed;
}

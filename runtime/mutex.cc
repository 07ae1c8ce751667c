#include "runtime/mutex.h"

#include <errno.h>

#include "runtime/error_manager.h"
#include "runtime/thread_library.h"

CkesMutex::CkesMutex() {
  if (!CkesThreadLibrary::IsInitialized() && CkesThreadLibrary::Initialize() != 0) return;
  initialized = implInitialize();
}

CkesMutex::~CkesMutex() {
  if (initialized) implDestroy();
}

long CkesMutex::Lock() {
  const long code = initialized ? implLock() : kMutexNotInitialised;
  if (code != 0) CkesErrorManager::SetError(code, "CkesMutex::Lock()");
  return code;
}

long CkesMutex::Unlock() {
  const long code = initialized ? implUnlock() : kMutexNotInitialised;
  if (code != 0) CkesErrorManager::SetError(code, "CkesMutex::Unlock()");
  return code;
}

long CkesMutex::TryLock() {
  const long code = initialized ? implTryLock() : kMutexNotInitialised;
  if (code != 0) CkesErrorManager::SetError(code, "CkesMutex::TryLock()");
  return code;
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

#include "runtime/thread_library.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <string.h>

#include <type_traits>

#include "runtime/error_manager.h"

using namespace mar;

static_assert(std::is_same_v<pthread_key_t, unsigned int> && std::is_same_v<pthread_t, unsigned long>);

// Static initialisers of other files already use the runtime, so its own state must not need one.
constinit bool CkesThreadLibrary::VInitialized = false;
constinit unsigned int CkesThreadLibrary::VTNameKey = kNoThreadKey;

namespace {

constinit char main_thread_name[] = "Main Thread";

}  // namespace

long CkesThreadLibrary::Initialize() {
  if (VInitialized) return kThreadLibraryAlreadyInitialised;
  VInitialized = true;  // first: the steps below call back into this class
  const long code = CreateNewKey(&VTNameKey);
  if (code != 0) return code;
  SetThreadName(main_thread_name);
  return CkesErrorManager::Initialize();
}

long CkesThreadLibrary::CreateNewKey(unsigned int* key) {
  return Ready() ? implCreateNewKey(key) : kThreadLibraryNotInitialised;
}

long CkesThreadLibrary::SetKeyValue(unsigned int key, void* value) {
  if (!Ready()) return kThreadLibraryNotInitialised;
  return record_failure(implSetKeyValue(key, value), "CkesThreadLibrary::SetKeyValue()");
}

long CkesThreadLibrary::GetKeyValue(unsigned int key, void** value) {
  if (!Ready()) return kThreadLibraryNotInitialised;
  *value = implGetKeyValue(key);
  return 0;
}

long CkesThreadLibrary::GetCurrentThreadName(char* out) {
  if (!Ready()) return kThreadLibraryNotInitialised;
  const char* name = GetThreadName();
  if (name == nullptr) return record_failure(kThreadHasNoName, "CkesThreadLibrary::GetCurrentThreadName()");
  memcpy(out, name, strlen(name) + 1);
  return 0;
}

char* CkesThreadLibrary::GetThreadName() { return static_cast<char*>(implGetKeyValue(VTNameKey)); }

long CkesThreadLibrary::SetThreadName(char* name) { return implSetKeyValue(VTNameKey, name); }

long CkesThreadLibrary::GetCurrentThreadID(unsigned long* id) {
  if (!Ready()) return kThreadLibraryNotInitialised;
  *id = implGetCurrentThreadID();
  return 0;
}

long CkesThreadLibrary::GiveWay() {
  if (!Ready()) return kThreadLibraryNotInitialised;
  implGiveWay();
  return 0;
}

long CkesThreadLibrary::implCreateNewKey(unsigned int* key) {
  return pthread_key_create(key, nullptr) == 0 ? 0 : kThreadKeyNotCreated;
}

long CkesThreadLibrary::implSetKeyValue(unsigned int key, void* value) {
  const int error = pthread_setspecific(key, value);
  if (error == 0) return 0;
  return error == EINVAL ? kThreadKeyInvalid : kThreadKeyNotSet;
}

void* CkesThreadLibrary::implGetKeyValue(unsigned int key) { return pthread_getspecific(key); }

unsigned long CkesThreadLibrary::implGetCurrentThreadID() { return pthread_self(); }

void CkesThreadLibrary::implGiveWay() { sched_yield(); }

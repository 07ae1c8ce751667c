#include "runtime/error_manager.h"

#include <memory>
#include <new>

#include "runtime/thread_library.h"

using namespace mar;

// Static initialisers of other files already use the runtime, so its own state must not need one.
constinit bool CkesErrorManager::VInitialized = false;
constinit unsigned int CkesErrorManager::VKey = kNoThreadKey;

long CkesErrorManager::Initialize() {
  if (VInitialized) return 0;
  long code = CkesThreadLibrary::CreateNewKey(&VKey);
  if (code == 0) code = NewThread();
  VInitialized = code == 0;
  return code;
}

long CkesErrorManager::SetError(long code, const char* location) {
  CkesErrorStack* stack;
  const long failed = UseStack(&stack);
  if (failed == 0) stack->SetErrorCode(code, location);
  return failed;
}

long CkesErrorManager::AddFunction(const char* name) {
  CkesErrorStack* stack;
  const long failed = UseStack(&stack);
  return failed == 0 ? stack->AddFunction(name) : failed;
}

long CkesErrorManager::GetError(long* code) {
  CkesErrorStack* stack;
  const long failed = UseStack(&stack);
  if (failed == 0) *code = stack->GetErrorCode();
  return failed;
}

long CkesErrorManager::GetStackDump(char* buffer, int size) {
  CkesErrorStack* stack;
  const long failed = UseStack(&stack);
  if (failed == 0) stack->GetStackDump(buffer, size);
  return failed;
}

long CkesErrorManager::GetStack(CkesErrorStack& copy) {
  CkesErrorStack* stack;
  const long failed = UseStack(&stack);
  if (failed == 0) copy = *stack;
  return failed;
}

long CkesErrorManager::RegisterThread() { return Ready() ? NewThread() : kErrorManagerNotInitialised; }

long CkesErrorManager::UnregisterThread() {
  CkesErrorStack* stack;
  const long failed = FindStack(&stack);
  if (failed != 0) return failed;
  // The key is cleared first: a failure to do so is recorded on the stack, which must still exist then.
  const bool cleared = CkesThreadLibrary::SetKeyValue(VKey, nullptr) == 0;
  delete stack;
  return cleared ? 0 : kErrorStackKeyNotCleared;
}

// If our own initialisation has failed, the library's flag is set, so it is not tried again.
bool CkesErrorManager::Ready() { return VInitialized || CkesThreadLibrary::Initialize() == 0; }

long CkesErrorManager::FindStack(CkesErrorStack** stack) {
  void* value = nullptr;
  const long failed = CkesThreadLibrary::GetKeyValue(VKey, &value);
  if (failed != 0) return failed;
  *stack = static_cast<CkesErrorStack*>(value);
  return value == nullptr ? kErrorStackMissing : 0;
}

long CkesErrorManager::UseStack(CkesErrorStack** stack) {
  return Ready() ? FindStack(stack) : kErrorManagerNotInitialised;
}

long CkesErrorManager::NewThread() {
  CkesErrorStack* existing;
  if (FindStack(&existing) == 0) return kErrorStackExists;
  std::unique_ptr<CkesErrorStack> stack(new (std::nothrow) CkesErrorStack);
  if (stack == nullptr) return kErrorStackNoMemory;
  if (CkesThreadLibrary::SetKeyValue(VKey, stack.get()) != 0) return kErrorStackNotStored;
  (void)stack.release();  // the key's value owns it now
  return 0;
}

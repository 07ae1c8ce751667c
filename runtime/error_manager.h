// Finds the calling thread's error stack. A function that fails calls SetError with its code and its location
// text, such as "CkesMutex::Lock()". Each caller that passes the failure on calls AddFunction with its own
// text. The caller that handles the failure reads the code and a dump of the trail.
//
// The main thread gets its stack when the runtime is initialised, and a CkesThread gets one when it starts.
// Any other thread must register before its first call and unregister before it ends; otherwise its stack
// is never freed. Nothing here is a cancellation point. Texts are kept by address, and the thread owns its
// stack.
#pragma once

#include "runtime/error_stack.h"

#pragma GCC visibility push(default)

namespace mar {

inline constexpr long kErrorStackNoMemory = -1;
inline constexpr long kErrorStackExists = -200;
inline constexpr long kErrorStackNotStored = -201;
inline constexpr long kErrorStackMissing = -203;           // the calling thread has no stack
inline constexpr long kErrorManagerNotInitialised = -204;  // and initialising the thread library failed
inline constexpr long kErrorStackKeyNotCleared = -205;     // the stack has been freed all the same

}  // namespace mar

// All operations return 0 or a code, and none records its own failure. Those that name no other code can
// return kErrorManagerNotInitialised or kErrorStackMissing.
class CkesErrorManager {
 public:
  // The last step of CkesThreadLibrary::Initialize; registers the calling thread. Returns 0 if that has been
  // done before, or the code of CkesThreadLibrary::CreateNewKey or of RegisterThread.
  static long Initialize();

  // The operations of CkesErrorStack on the calling thread's stack; texts must be literals. AddFunction can
  // also return kErrorTrailFull, with the name added.
  static long SetError(long code, const char* location);
  static long AddFunction(const char* name);
  static long GetError(long* code);
  static long GetStackDump(char* buffer, int size);
  static long GetStack(CkesErrorStack& copy);

  // Gives the calling thread a stack. Can return kErrorManagerNotInitialised, kErrorStackExists,
  // kErrorStackNoMemory or kErrorStackNotStored.
  static long RegisterThread();
  // Frees the calling thread's stack. Can return kErrorStackMissing or kErrorStackKeyNotCleared.
  static long UnregisterThread();

 private:
  static bool Ready();
  static long FindStack(CkesErrorStack** stack);  // the calling thread's stack
  static long UseStack(CkesErrorStack** stack);   // the same, once the manager is known to be initialised
  static long NewThread();

  static bool VInitialized;
  static unsigned int VKey;  // its value on each thread owns that thread's stack
};

namespace mar {

// How every public operation of the Ckes classes ends: records `code` unless it is 0, and returns it.
inline long record_failure(long code, const char* location) {
  if (code != 0) CkesErrorManager::SetError(code, location);
  return code;
}

}  // namespace mar

#pragma GCC visibility pop

// Finds the calling thread's error stack. A failing function calls SetError with its code and its location
// text, such as "CkesMutex::Lock()"; each caller that passes the failure on calls AddFunction with its own;
// whoever handles it reads the code and a dump of the trail.
//
// The main thread gets its stack when the runtime is initialised and a CkesThread when it starts; any other
// thread registers itself first and unregisters itself before it ends, for nothing else frees its stack.
#pragma once

#include "runtime/error_stack.h"

inline constexpr long kErrorStackNoMemory = -1;
inline constexpr long kErrorStackExists = -200;
inline constexpr long kErrorStackNotStored = -201;
inline constexpr long kErrorStackMissing = -203;           // the calling thread has no stack
inline constexpr long kErrorManagerNotInitialised = -204;  // and initialising the thread library failed
inline constexpr long kErrorStackKeyNotCleared = -205;     // the stack is gone nevertheless

// All operations give 0 for success and none records its own failure. Those that name no other code can give
// kErrorManagerNotInitialised or kErrorStackMissing.
class CkesErrorManager {
 public:
  // The last step of CkesThreadLibrary::Initialize; registers the calling thread. 0 if it was done before, or
  // the code of CkesThreadLibrary::CreateNewKey or of RegisterThread.
  static long Initialize();

  // The same on the calling thread's stack: see CkesErrorStack, also for the texts, which must be literals.
  // AddFunction can give kErrorTrailFull too, the name having been added.
  static long SetError(long code, const char* location);
  static long AddFunction(const char* name);
  static long GetError(long* code);
  static long GetStackDump(char* buffer, int size);
  static long GetStack(CkesErrorStack& copy);

  // Gives the calling thread a stack. Can give kErrorManagerNotInitialised, kErrorStackExists,
  // kErrorStackNoMemory or kErrorStackNotStored.
  static long RegisterThread();
  // Frees the calling thread's stack. Can give kErrorStackMissing or kErrorStackKeyNotCleared.
  static long UnregisterThread();

 private:
  static bool Ready();
  static long FindStack(CkesErrorStack** stack);  // the calling thread's stack
  static long UseStack(CkesErrorStack** stack);   // the same behind the check that the manager is initialised
  static long NewThread();

  static bool VInitialized;
  static unsigned int VKey;  // its value on each thread owns that thread's stack
};

// The end of every checking front: records `code` unless it is 0, and returns it.
inline long record_failure(long code, const char* location) {
  if (code != 0) CkesErrorManager::SetError(code, location);
  return code;
}

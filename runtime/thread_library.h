// The runtime's entry to POSIX threads: initialises the runtime, owns thread-specific keys, names threads,
// tells thread ids and yields. The worker threads themselves are CkesThread.
//
// The first runtime object or call of a process initialises the library, unguarded: it must happen on one
// thread before others start. Everything else may be called from any thread.
#pragma once

class CkesThread;

inline constexpr long kThreadLibraryAlreadyInitialised = -101;
inline constexpr long kThreadLibraryNotInitialised = -102;  // not initialised, and initialising it failed
inline constexpr long kThreadKeyNotCreated = -103;
inline constexpr long kThreadKeyInvalid = -104;
inline constexpr long kThreadKeyNotSet = -105;
inline constexpr long kThreadHasNoName = -114;

inline constexpr int kThreadNameSizeBytes = 34;  // 33 characters and a NUL

// The number of no key: its value reads as null and cannot be set.
inline constexpr unsigned int kNoThreadKey = ~0u;

// Operations that return a code give 0 for success. All of them but Initialize, IsInitialized, SameThreadIDs,
// GetThreadName and SetThreadName initialise the library where that has not been tried yet, and give
// kThreadLibraryNotInitialised, nothing done, if that fails.
class CkesThreadLibrary {
 public:
  // Initialises the library, names the calling thread "Main Thread", and initialises the error manager.
  // Returns kThreadLibraryAlreadyInitialised from the second call on, whatever the first one returned;
  // kThreadKeyNotCreated; or the code of CkesErrorManager::Initialize. Nothing ever undoes it.
  static long Initialize();
  static bool IsInitialized() { return VInitialized; }

  // Stores a new key at `key`, null on every thread. Values are not freed at a thread's end. Can give
  // kThreadKeyNotCreated.
  static long CreateNewKey(unsigned int* key);

  // The calling thread's value of `key`. SetKeyValue can give kThreadKeyInvalid or kThreadKeyNotSet, recorded
  // on the error stack; GetKeyValue cannot fail, and reads null for an unknown key.
  static long SetKeyValue(unsigned int key, void* value);
  static long GetKeyValue(unsigned int key, void** value);

  // Copies the calling thread's name, NUL-terminated, to `out`, which must hold kThreadNameSizeBytes. Gives
  // kThreadHasNoName, recorded, on a thread that was not started by the runtime.
  static long GetCurrentThreadName(char* out);

  // The calling thread's name as it was set, or null. The text is not copied: it must outlive the thread's
  // use of it. SetThreadName can give kThreadKeyInvalid or kThreadKeyNotSet.
  static char* GetThreadName();
  static long SetThreadName(char* name);

  static long GetCurrentThreadID(unsigned long* id);
  static bool SameThreadIDs(unsigned long a, unsigned long b) { return a == b; }

  // Lets another runnable thread go first.
  static long GiveWay();

  // Joins the `count` threads in array order. The first failure stops it, puts
  // "CkesThreadLibrary::JoinAll()" on the error trail and is returned. Defined beside CkesThread.
  static long JoinAll(CkesThread** threads, int count);

 private:
  static bool Ready() { return VInitialized || Initialize() == 0; }

  static long implCreateNewKey(unsigned int* key);
  static long implSetKeyValue(unsigned int key, void* value);
  static void* implGetKeyValue(unsigned int key);
  static unsigned long implGetCurrentThreadID();
  static void implGiveWay();

  static bool VInitialized;
  static unsigned int VTNameKey;  // its value on each thread points to that thread's name
};

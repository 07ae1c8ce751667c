// The runtime's entry to POSIX threads: initialises the runtime, owns thread-specific keys, names threads,
// returns thread ids and yields. The worker threads themselves are CkesThread.
//
// The first runtime object or call of a process initialises the library, without a lock: that must happen on
// one thread before others start. All other calls may be made from any thread.
// JoinAll is a cancellation point.
#pragma once

#pragma GCC visibility push(default)

class CkesThread;

namespace mar {

inline constexpr long kThreadLibraryAlreadyInitialised = -101;
inline constexpr long kThreadLibraryNotInitialised = -102;  // not initialised, and initialising it failed
inline constexpr long kThreadKeyNotCreated = -103;
inline constexpr long kThreadKeyInvalid = -104;
inline constexpr long kThreadKeyNotSet = -105;
inline constexpr long kThreadHasNoName = -114;

inline constexpr int kThreadNameSizeBytes = 34;  // 33 characters and a NUL

// A number that no key has: its value reads as null and cannot be set.
inline constexpr unsigned int kNoThreadKey = ~0u;

}  // namespace mar

// Operations that return a code return 0 for success. All except Initialize, IsInitialized, SameThreadIDs,
// GetThreadName and SetThreadName initialise the library if that has not been tried yet; if it fails, they do
// nothing and return kThreadLibraryNotInitialised.
class CkesThreadLibrary {
 public:
  // Initialises the library, names the calling thread "Main Thread", and initialises the error manager.
  // Returns kThreadLibraryAlreadyInitialised from the second call on, whatever the first one returned;
  // kThreadKeyNotCreated; or the code of CkesErrorManager::Initialize. It is never undone.
  static long Initialize();
  static bool IsInitialized() { return VInitialized; }

  // Stores a new key in `key`; its value is null on every thread. Values are not freed when a thread ends.
  // Can return kThreadKeyNotCreated.
  static long CreateNewKey(unsigned int* key);

  // The calling thread's value of `key`. SetKeyValue can return kThreadKeyInvalid or kThreadKeyNotSet,
  // recorded on the error stack; GetKeyValue cannot fail, and reads null for an unknown key.
  static long SetKeyValue(unsigned int key, void* value);
  static long GetKeyValue(unsigned int key, void** value);

  // Copies the calling thread's name, NUL-terminated, to `out`, which must hold kThreadNameSizeBytes. Returns
  // kThreadHasNoName, recorded, on a thread that the runtime did not start.
  static long GetCurrentThreadName(char* out);

  // The calling thread's name as it was set, or null. The text is not copied: it must outlive the thread's
  // use of it. SetThreadName can return kThreadKeyInvalid or kThreadKeyNotSet.
  static char* GetThreadName();
  static long SetThreadName(char* name);

  static long GetCurrentThreadID(unsigned long* id);
  static bool SameThreadIDs(unsigned long a, unsigned long b) { return a == b; }

  // Lets another runnable thread go first.
  static long GiveWay();

  // Joins the `count` threads in array order. Stops at the first failure, adds "CkesThreadLibrary::JoinAll()"
  // to the error trail and returns the code. Defined beside CkesThread.
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

#pragma GCC visibility pop

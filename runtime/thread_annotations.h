// Lock discipline in declarations: which mutex guards a member, and which a function needs, takes or
// releases. Clang checks it with -Wthread-safety; other compilers see nothing.
#pragma once

#if defined(__clang__)
#define MAR_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define MAR_THREAD_ATTRIBUTE(attribute)
#endif

#define MAR_CAPABILITY(name) MAR_THREAD_ATTRIBUTE(capability(name))    // a class that is a lock
#define MAR_SCOPED_CAPABILITY MAR_THREAD_ATTRIBUTE(scoped_lockable)    // a class that holds one for a scope
#define MAR_GUARDED_BY(mutex) MAR_THREAD_ATTRIBUTE(guarded_by(mutex))  // data: only with the mutex held
#define MAR_REQUIRES(mutex) MAR_THREAD_ATTRIBUTE(requires_capability(mutex))  // the caller holds it
#define MAR_EXCLUDES(mutex) MAR_THREAD_ATTRIBUTE(locks_excluded(mutex))       // the caller does not hold it
#define MAR_ACQUIRE(...) MAR_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define MAR_RELEASE(...) MAR_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define MAR_TRY_ACQUIRE(...) MAR_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define MAR_UNCHECKED MAR_THREAD_ATTRIBUTE(no_thread_safety_analysis)  // says why at its use

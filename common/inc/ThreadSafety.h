// Clang's thread-safety annotations, empty for other compilers.
//
// POCO's mutexes carry no annotations. A first declaration with the capability attribute, seen before POCO's own
// definition, gives them one; that is why the clang build includes this file ahead of everything else.
#pragma once

#if defined(__clang__)
#define ORV_THREAD_ANNOTATION(x) __attribute__((x))
namespace Poco
{
class __attribute__((capability("mutex"))) FastMutex;
class __attribute__((capability("mutex"))) Mutex;
}  // namespace Poco
#else
#define ORV_THREAD_ANNOTATION(x)
#endif

#define ORV_CAPABILITY(name) ORV_THREAD_ANNOTATION(capability(name))
#define ORV_SCOPED_CAPABILITY ORV_THREAD_ANNOTATION(scoped_lockable)
#define ORV_GUARDED_BY(mutex) ORV_THREAD_ANNOTATION(guarded_by(mutex))
#define ORV_PT_GUARDED_BY(mutex) ORV_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define ORV_REQUIRES(...) ORV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ORV_EXCLUDES(...) ORV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ORV_ACQUIRE(...) ORV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ORV_RELEASE(...) ORV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ORV_TRY_ACQUIRE(...) ORV_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ORV_ACQUIRED_BEFORE(...) ORV_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define ORV_ACQUIRED_AFTER(...) ORV_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define ORV_RETURN_CAPABILITY(x) ORV_THREAD_ANNOTATION(lock_returned(x))
#define ORV_NO_THREAD_SAFETY_ANALYSIS ORV_THREAD_ANNOTATION(no_thread_safety_analysis)

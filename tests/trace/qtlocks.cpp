// SPDX-License-Identifier: LGPL-2.1-or-later

// Tells the thread sanitizer about Qt's mutexes. Qt itself is not instrumented, so without this
// everything that a QMutex protects looks like a data race.

#if defined(__has_feature)
#    if __has_feature(thread_sanitizer)
#        define WITH_THREAD_SANITIZER
#    endif
#elif defined(__SANITIZE_THREAD__)
#    define WITH_THREAD_SANITIZER
#endif

#ifdef WITH_THREAD_SANITIZER

#    include <dlfcn.h>

extern "C" void __tsan_acquire(void *);
extern "C" void __tsan_release(void *);

namespace
{

typedef void (*MutexCall)(void *);

MutexCall systemCall(const char *name)
{
    return reinterpret_cast<MutexCall>(dlsym(RTLD_NEXT, name));
}

} // namespace

#    define LOCKING(symbol)                                                                        \
        extern "C" __attribute__((visibility("default"))) void symbol(void *mutex)                 \
        {                                                                                          \
            static const MutexCall call = systemCall(#symbol);                                     \
            call(mutex);                                                                           \
            __tsan_acquire(mutex);                                                                 \
        }
#    define UNLOCKING(symbol)                                                                      \
        extern "C" __attribute__((visibility("default"))) void symbol(void *mutex)                 \
        {                                                                                          \
            static const MutexCall call = systemCall(#symbol);                                     \
            __tsan_release(mutex);                                                                 \
            call(mutex);                                                                           \
        }

// QMutex::lock() and unlock(), and what their inline versions call when they have to wait.
LOCKING(_ZN6QMutex4lockEv)
UNLOCKING(_ZN6QMutex6unlockEv)
LOCKING(_ZN11QBasicMutex12lockInternalEv)
UNLOCKING(_ZN11QBasicMutex14unlockInternalEv)

#endif

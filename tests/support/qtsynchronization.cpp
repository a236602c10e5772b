// SPDX-License-Identifier: LGPL-2.1-or-later

// Tells the thread sanitizer, for which alone this is built, about Qt 5's mutexes and the ends of
// its threads. Qt itself is not instrumented, so without this everything that a QMutex protects, and
// everything that QThread::wait() has waited for, looks like a data race.

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

#include <dlfcn.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

extern "C" void __tsan_acquire(void *);
extern "C" void __tsan_release(void *);

namespace
{

/** Qt's own function of a name. */
template <typename Function>
Function systemCall(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

typedef void (*MutexCall)(void *);

} // namespace

#define LOCKING(symbol)                                                                            \
    EXPORTED void symbol(void *mutex)                                                              \
    {                                                                                              \
        static const MutexCall call = systemCall<MutexCall>(#symbol);                              \
        call(mutex);                                                                               \
        __tsan_acquire(mutex);                                                                     \
    }
#define UNLOCKING(symbol)                                                                          \
    EXPORTED void symbol(void *mutex)                                                              \
    {                                                                                              \
        static const MutexCall call = systemCall<MutexCall>(#symbol);                              \
        __tsan_release(mutex);                                                                     \
        call(mutex);                                                                               \
    }

// QMutex::lock() and unlock(), and what their inline versions call when they have to wait.
LOCKING(_ZN6QMutex4lockEv)
UNLOCKING(_ZN6QMutex6unlockEv)
LOCKING(_ZN11QBasicMutex12lockInternalEv)
UNLOCKING(_ZN11QBasicMutex14unlockInternalEv)

// QMutex::tryLock(int)
EXPORTED bool _ZN6QMutex7tryLockEi(void *mutex, int milliseconds)
{
    static const auto call = systemCall<bool (*)(void *, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = call(mutex, milliseconds);
    if (locked)
        __tsan_acquire(mutex);
    return locked;
}

// QThread::exec()
EXPORTED int _ZN7QThread4execEv(QThread *thread)
{
    static const auto call = systemCall<int (*)(QThread *)>("_ZN7QThread4execEv");
    const int status = call(thread);
    __tsan_release(thread);
    return status;
}

// QCoreApplication::sendPostedEvents(QObject *, int), with which a thread that is its own receiver
// does what is left when its loop has ended
EXPORTED void _ZN16QCoreApplication16sendPostedEventsEP7QObjecti(QObject *receiver, int type)
{
    static const auto call =
        systemCall<void (*)(QObject *, int)>("_ZN16QCoreApplication16sendPostedEventsEP7QObjecti");
    call(receiver, type);
    __tsan_release(receiver);
}

// QThread::wait(unsigned long)
EXPORTED bool _ZN7QThread4waitEm(QThread *thread, unsigned long milliseconds)
{
    static const auto call = systemCall<bool (*)(QThread *, unsigned long)>("_ZN7QThread4waitEm");
    const bool ended = call(thread, milliseconds);
    if (ended)
        __tsan_acquire(thread);
    return ended;
}

// QThread::wait(QDeadlineTimer)
EXPORTED bool _ZN7QThread4waitE14QDeadlineTimer(QThread *thread, QDeadlineTimer deadline)
{
    static const auto call =
        systemCall<bool (*)(QThread *, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool ended = call(thread, deadline);
    if (ended)
        __tsan_acquire(thread);
    return ended;
}

// SPDX-License-Identifier: LGPL-2.1-or-later

// Tells the thread sanitizer, for which alone this is built, about the ends of Qt's threads, and about
// lines that go through Qt's event queue. Qt itself is not instrumented: without this everything that
// QThread::wait() has waited for looks like a data race, and so does each character of such a line,
// which takes minutes. About Qt 6's mutexes the sanitizer is told by Qt's own headers.

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QString>
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

} // namespace

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

// Trace::LogMessage(const QString &); whoever takes the line out of a queue has the same data
EXPORTED void _ZN5Trace10LogMessageERK7QString(void *trace, const QString &line)
{
    static const auto call =
        systemCall<void (*)(void *, const QString &)>("_ZN5Trace10LogMessageERK7QString");
    __tsan_release(const_cast<QChar *>(line.constData()));
    call(trace, line);
}

// LogHandler::logMessage(const QString &)
EXPORTED void _ZN10LogHandler10logMessageERK7QString(void *handler, const QString &line)
{
    static const auto call =
        systemCall<void (*)(void *, const QString &)>("_ZN10LogHandler10logMessageERK7QString");
    __tsan_acquire(const_cast<QChar *>(line.constData()));
    call(handler, line);
}

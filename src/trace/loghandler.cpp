// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loghandler.h"

#include "common/atomics.h"
#include "common/debugline.h"
#include "qtcompat/size.h"
#include "qtcompat/timers.h"
#include "trace/tracecore.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QEvent>
#include <QtCore/QFile>
#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>
#include <QtCore/QTimer>
#include <QtCore/QVarLengthArray>

#include <cstdio>
#include <memory>

using namespace qvcommon;

LogHandler *LogHandler::instance = nullptr;
QString LogHandler::CLASSNAME = QLatin1String("LogHandler");

static const char closingRule[] = "=============================================\n";

static void logOwn(const char *function, const QString &message)
{
    Trace::logs(LogHandler::CLASSNAME, QLatin1String(function), message);
}

static char latin1(QChar c)
{
    return c.unicode() <= 0xff ? char(c.unicode()) : '?';
}

/**
 * In blocks of a fixed size, of which the compiler makes vector instructions. Without them a line to
 * the file takes over a third more instructions on a workstation.
 */
static void toLatin1(char *__restrict out, const QString &text)
{
    const int block = 16;
    const QChar *c = text.constBegin();
    const QChar *const end = text.constEnd();
    for (; end - c >= block; c += block, out += block) {
        for (int i = 0; i < block; ++i)
            out[i] = latin1(c[i]);
    }
    for (; c != end; ++c)
        *out++ = latin1(*c);
}

static void deleteTimer(QTimer *timer)
{
    const QThread *const thread = timer->thread();
    if (!thread || thread == QThread::currentThread() || !thread->isRunning()) {
        delete timer;
    } else {
        timer->disconnect();
        timer->deleteLater();
    }
}

LogHandler::LogHandler(QObject *parent, bool printToConsole)
    : QThread(parent)
    , logMutex(new QMutex)
    , logDir(nullptr)
    , logFile(nullptr)
    , printToConsole(printToConsole)
    , reservedFlag(false)
    , stopFlag(true)
    , bytesWritten(0)
    , maxFileSize(102400)
    , flushTimer(nullptr)
{
    // There is no event loop yet, so nothing ends.
    if (load(instance))
        QThread::exit(-1);
    store(instance, this);
}

LogHandler::~LogHandler()
{
    if (load(instance) == this)
        store(instance, nullptr);

    logOwn("dtor", QLatin1String("Stopping flushTimer"));
    QTimer *const timer = load(flushTimer);
    // A timer of the handler's own thread is stopped there, by run().
    const bool ownTimer = timer && timer->thread() == this;
    if (timer && !ownTimer)
        deleteTimer(timer);

    if (isRunning()) {
        logOwn("dtor", QLatin1String("Stopping logger thread"));
        stopFlag = false;
        const bool ended = wait(1000);
        if (!ended)
            DebugLine() << "Giving up waiting for logger thread to stop.";
        logOwn("start", QLatin1String("Giving up waiting for logger thread to stop."));
        // Without its object the thread would run in freed memory; Qt 5 and 6 abort.
        if (!ended) {
            quit();
            wait();
        }
    }
    if (ownTimer)
        deleteTimer(timer);
    store(flushTimer, nullptr);

    // However they are connected: by name, by pointer, or by a function with this as its context.
    if (const Trace *const trace = load(Trace::instance))
        disconnect(trace, nullptr, this, nullptr);
    // A blocking connection lets its thread wait, with the lock held, until the line is written or gone.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    // Another thread may be writing a line right now. At the end of the process, it may be stuck there,
    // so what it uses is left to it.
    if (!TraceCore::awaitDelivery())
        return;
    delete logFile;
    delete logDir;
    delete logMutex;
}

bool LogHandler::open(const QString &directory, const QString &newBaseName)
{
    // The handler is constructed: exit() ends the tracing before it destroys a static one.
    static const EndOfProcess endBeforeHandler;
    Q_UNUSED(endBeforeHandler)
    if (newBaseName.isEmpty()) {
        DebugLine() << "LogHandler::open, no log file";
        if (!printToConsole)
            DebugLine() << "LogHandler::open, no debug print at all..";
        return true;
    }
    std::unique_ptr<QDir> newDir(new QDir(directory));
    if (!newDir->exists()) {
        logOwn("open", QLatin1String("Creating log directory, ") + directory);
        const bool created = newDir->mkpath(QLatin1String("."));
        const char *const report =
            created ? "LogHandler::open, LogHandler::open file: %1\n"
                    : "LogHandler::open, LogHandler::Could not create log director: %1\n";
        logOwn("open", QString::fromLatin1(report).arg(directory));
        if (!created)
            return false;
    }
    delete logDir;
    logDir = newDir.release();
    baseName = newBaseName;
    rotate();
    logFileName = directory + baseName + QLatin1String("0.log");
    QFile *const file = new QFile(logFileName);
    const bool opened = file->open(QIODevice::WriteOnly | QIODevice::Truncate);
    bytesWritten = 0; // Before the file, which publishes it.
    {
        const QMutexLocker locker(logMutex);
        delete logFile;
        store(logFile, file);
    }
    const char *const report =
        opened ? "Logging to file: %1\n" : "Could not open file for logging: %1\n";
    DebugLine() << QString::fromLatin1(report).arg(logFileName);
    // Qt has made what it needs for a change of files by now, and destroys it behind this.
    static const EndOfProcess endBeforeQt;
    Q_UNUSED(endBeforeQt)
    return opened;
}

void LogHandler::logMessage(const QString &msg)
{
    if (printToConsole)
        DebugLine() << msg;
    // Only whether there is a file; what it is, is read under the lock.
    if (!load(logFile))
        return;

    const Size length = msg.length();
    if (length + bytesWritten > maxFileSize) {
        close(QLatin1String("..logging continues in next file"));
        rotate();
        if (!spawnNewLogFile()) {
            std::puts("error spawning new log file");
            return;
        }
        bytesWritten = 0;
    }
    bytesWritten += int(length);
    // One block and one write, for the line and its end; a usual line needs no heap.
    QVarLengthArray<char, 1024> line(int(length) + 1);
    toLatin1(line.data(), msg);
    line[int(length)] = '\n';
    const QMutexLocker locker(logMutex);
    // Qt 5 and 6 complain about writing to a file that is not open.
    if (!logFile->isOpen())
        return;
    logFile->write(line.constData(), line.size());
    if (peek(flushAfterEachLogMsg))
        logFile->flush();
}

void LogHandler::close(const QString &lastWords)
{
    // Only whether there is a file; what it is, is read under the lock.
    if (!load(logFile))
        return;
    flush();
    msleep(500);
    const QMutexLocker locker(logMutex);
    if (!logFile->isOpen())
        return;
    logFile->write(closingRule + lastWords.toLatin1() + ".....\n" + closingRule);
    logFile->flush();
    logFile->close();
}

bool LogHandler::flush()
{
    const QMutexLocker locker(logMutex);
    return logFile && logFile->flush();
}

QString LogHandler::getCurrentLogFile()
{
    const QMutexLocker locker(logMutex);
    return logFile ? logFile->fileName() : QString();
}

void LogHandler::startFlushTimer()
{
    if (load(flushTimer)) {
        logOwn("startFlushTimer", QLatin1String("ERROR: flushTimer is already running"));
        return;
    }
    // A timer of another thread cannot be a child.
    QTimer *const timer = new QTimer(thread() == currentThread() ? this : nullptr);
    connect(timer, SIGNAL(timeout()), SLOT(onFlushTimeout()));
    startPrecisely(timer, 1000);
    store(flushTimer, timer);
}

void LogHandler::onFlushTimeout()
{
    std::puts("onTimeout");
    flush();
}

void LogHandler::run()
{
    DebugLine() << "LogHandler::run, Entering log queue event loop";
    exec();
    if (thread() != this)
        return;
    // quit() ends the loop at once, whatever is queued.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    QTimer *const timer = load(flushTimer);
    if (timer && timer->thread() == this)
        timer->stop();
}

void LogHandler::obfusc(char &c)
{
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte == 'z' || byte == 'Z')
        c = char(byte - 25);
    else if (byte == '9')
        c = '0';
    else if ((byte >= 'a' && byte < 'z') || (byte >= 'A' && byte < 'Z') ||
             (byte >= '0' && byte < '9'))
        c = char(byte + 1);
    else if (byte == '=')
        c = '?';
    else if (byte == '/')
        c = '#';
    else if (byte == '\\')
        c = '&';
    else if (byte == '.')
        c = '@';
}

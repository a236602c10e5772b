// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_LOGHANDLER_H
#define QVCOMMON_LOGHANDLER_H

/** @file
 *  @brief The class LogHandler. */

#include "qvcommonexport.h"

#include <QtCore/QString>
#include <QtCore/QThread>

class QDir;
class QFile;
class QMutex;
class QTimer;

/**
 * @brief Writes the lines of Trace to numbered files in one directory.
 *
 * File 0, the base name followed by "0.log", is the one being written. When the next line would
 * take it past 102400 characters it is closed, every file moves up by one number, and a new file 0
 * is started. Ten files are kept, 9 is the oldest.
 *
 * The handler is a thread with an event loop. The application connects it, starts it, and ends it:
 *
 * @code
 * Trace trace(nullptr);
 * LogHandler handler(nullptr, false);
 * handler.open("/var/log/pump/", "pump");     // in a daemon: after PidFileHandler::checkPid()
 * handler.moveToThread(&handler);             // slots run in the handler's own thread
 * QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
 *                  Qt::QueuedConnection);
 * handler.start();
 *
 * const int status = application.exec();
 * handler.quit();
 * handler.wait();                             // every line logged so far is in the files now
 * return status;                              // the handler goes first, then the trace
 * @endcode
 *
 * **Connections**: connected queued, a line is written by the thread the handler belongs to, and
 * logging does not wait for the file. Connected with Qt::DirectConnection, a line is in the file
 * when the log call returns; all threads that log wait while files change. Say which one is meant:
 * Qt::AutoConnection is direct in one thread and queued in all others, so the lines in the file
 * are not in the order of their numbers.
 *
 * **Threads**: open(), close(), logMessage(), rotate() and spawnNewLogFile() must not run at the
 * same time; flush(), getCurrentLogFile() and the flush timer may, with any of them. Destroy the
 * handler in another thread than its own; others may log meanwhile.
 *
 * **Errors** of the handler itself go to Qt's debug output and to standard output; a file that
 * cannot be written loses lines, and never stops the application.
 */
class QVCOMMON_EXPORT LogHandler : public QThread
{
    Q_OBJECT
public:
    /**
     * Becomes LogHandler::instance, in place of an earlier one.
     * @param parent owner of the object, or null; an object with an owner cannot be moved to its
     * own thread
     * @param printToConsole whether to copy each line to Qt's debug output
     */
    LogHandler(QObject *parent, bool printToConsole);

    /**
     * Waits for the thread, and closes the file as it is, without a trailer.
     * Call quit() first: otherwise a second passes before the event loop is ended from here. The
     * destructor does not return, whatever its slots are doing, before the thread has ended. All
     * connections between the trace and the handler end, and a line that another thread is delivering
     * is waited for; the calling thread may hold the trace's lock if the handler's own lines are
     * filtered out. A Qt::BlockingQueuedConnection is not for a handler that is destroyed while others
     * log: unless its own lines are filtered out, each waits for the other.
     */
    virtual ~LogHandler();

    /**
     * Chooses where to write: shifts the numbers of the files that are there and starts file 0.
     * A missing directory is created. May be called again to go on elsewhere.
     *
     * **A daemon checks its PID file first.** A second instance that calls this shifts the files of the
     * running one away, even if it ends at once; after ten of them the history is gone.
     *
     * @param directory put in front of the base name as it is, so it ends in "/"; give an absolute
     * one
     * @param baseName what the names of the files start with; if it is empty nothing is written
     * to files. Every file in the directory whose name starts with it and ends in ".log" belongs
     * to the handler, which removes those that are not among its ten.
     * @return false if the directory cannot be created or the file cannot be opened
     */
    bool open(const QString &directory, const QString &baseName);

    /**
     * Hands what is buffered to the system.
     * @return false without a file, or if it fails; true for a file that has been closed
     */
    bool flush();

    /**
     * Ends the file with a trailer, after a pause of half a second, and closes it. Lines are lost
     * from then on, until the next change of files.
     * @param lastWords stands in the trailer, in front of "....."
     */
    void close(const QString &lastWords);

    /** The name of file 0, or an empty text if no file has been opened. */
    QString getCurrentLogFile();

public Q_SLOTS:
    /** Writes one line, in Latin-1; other characters are written as "?". */
    void logMessage(const QString &msg);

public:
    /** @name For special use
     *  @{ */

    /**
     * Flushes the file each second from now on; of use only where flushAfterEachLogMsg is false. The
     * timer belongs to the calling thread, whose event loop it needs. It is started once.
     */
    void startFlushTimer();

    /**
     * Scrambles a character in place: letters and digits become the next one, "=", "/", "\" and
     * "." become "?", "#", "&" and the at sign. For the application's own use.
     */
    void obfusc(char &c);

    /** The thread: runs its event loop until quit(), then delivers what is still queued. */
    virtual void run();

    /**
     * Removes the files that are not kept and moves each of the others up by one number. Files
     * that resist are reported on Qt's debug output, and stay.
     */
    void rotate();

    /**
     * Starts a new file 0 that says that it continues another.
     * @return whether it is open
     */
    bool spawnNewLogFile();

    /** The handler constructed last, or null if that one is gone. */
    static LogHandler *instance;
    /** The class name under which the handler logs: "LogHandler". */
    static QString CLASSNAME;

public Q_SLOTS:
    /** What the flush timer does: flush(), and a word on standard output. */
    void onFlushTimeout();
    /** @} */

private:
    Q_DISABLE_COPY(LogHandler)

    QMutex *logMutex;
    QString logFileName;
    QString baseName;
    QDir *logDir;
    QFile *logFile;
    bool printToConsole;
    bool reservedFlag;
    bool stopFlag;
    int bytesWritten;
    int maxFileSize;
    QTimer *flushTimer;
};

#endif

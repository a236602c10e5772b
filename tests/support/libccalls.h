// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LIBCCALLS_H
#define TESTS_LIBCCALLS_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QStringList>

#include <functional>
#include <sys/time.h>

/**
 * Stands between this program and the C library while it lives. It keeps a journal of calls, lets
 * calls fail, and stops the clock. It concerns the thread that made it; there is one at a time.
 *
 * The program's own definitions come before the C library's, for the library under test and for Qt
 * too. Calls from inside the C library are not seen. A program links qvcommon_libccalls for it.
 *
 * Entries of the journal look like
 *     open imx/value O_RDWR|O_CLOEXEC      fopen pid re          rename app0.log app1.log
 *     read imx/value 19                    fdopen pid r+         unlink app9.log
 *     write imx/value out\0                flock pid LOCK_UN     kill 1 0
 *     lseek imx/value 0 SEEK_SET           fprintf pid           gettimeofday
 *     close imx/value                      fflush pid            openlog pumpd 1 128
 *                                          fclose pid            syslog 6 text as it is sent
 *                                                                closelog
 * with " failed" behind an open() that failed. A descriptor has the name of the file that it was
 * opened for meanwhile. Calls with others are not recorded, but for negative ones.
 *
 * What is sent to syslog meanwhile does not leave the program.
 */
class LibcCalls
{
public:
    /** @param names the calls to record, for example "open close" */
    explicit LibcCalls(const char *names = "");
    ~LibcCalls();

    /** Chooses other calls to record from now on. */
    void record(const char *names);
    /** Adds an entry of the test's own, to see what comes before what. */
    void note(const QString &entry) { journal << entry; }
    /** Empties the journal and returns what was in it. */
    QStringList take();

    /** If set, it is called before each call that is recorded, with its entry. */
    std::function<void(const QString &entry)> before;

    /**
     * Lets calls fail.
     * @param pattern a pattern of the shell for the call and its file or numbers, without what
     *        follows: "open *.log", "write *.log", "rename *0.log", "flock * LOCK_UN", "kill 1 0"
     * @param error the errno
     * @param result what the call returns; for streams it is always null
     * @param times how many calls fail, or -1 for all
     */
    void fail(const char *pattern, int error, int result = -1, int times = -1);
    /** Ends all failures. */
    void stopFailing();
    /** Lets the next write() to a file that has a name take only so many bytes. */
    void cutNextWrite(int bytes) { nextWriteSize = bytes; }

    /** Lets a file be opened as this descriptor. */
    void openAs(const char *path, int descriptor) { descriptors.insert(path, descriptor); }
    /** Stops the clock of gettimeofday(). */
    void setTimeOfDay(time_t seconds, long microseconds);

    /** What the last message to syslog was made of, and what it came to; "(lost)" if to nothing. */
    QByteArray syslogFormat;
    QByteArray syslogText;
    /** What openlog() was given last. */
    const char *syslogIdent;

private:
    Q_DISABLE_COPY(LibcCalls)
    friend class LibcHooks;

    struct Failure {
        QByteArray pattern;
        int error;
        int result;
        int times;
    };

    QStringList journal;
    QList<QByteArray> recorded;
    QList<Failure> failures;
    QHash<int, QByteArray> names;
    QHash<QByteArray, int> descriptors;
    int nextWriteSize;
    bool clockStopped;
    timeval stoppedAt;
};

#endif

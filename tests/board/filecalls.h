// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_FILECALLS_H
#define TESTS_FILECALLS_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QStringList>

/**
 * Records, while it lives, how this process opens files and what it does to them: the calls of
 * the program and its libraries, not those from inside the C library. Calls with a negative
 * descriptor are recorded too. There is one at a time, in programs of one thread.
 *
 * Entries look like
 *     open imx/gpio.1/gpio/gpio40/value O_RDWR|O_CLOEXEC
 *     write imx/gpio.1/gpio/gpio40/value out\0
 *     lseek imx/gpio.1/gpio/gpio40/value 0 SEEK_SET
 *     read imx/gpio.1/gpio/gpio40/value 1
 *     close imx/gpio.1/gpio/gpio40/value
 * with " failed" behind an open() that failed, and the number in place of a negative descriptor.
 */
class FileCalls
{
public:
    FileCalls();
    ~FileCalls();

    /** Empties the record and returns what was in it. */
    QStringList take();

    /** Lets a file be opened as this descriptor. */
    void openAs(const char *path, int descriptor) { descriptors.insert(path, descriptor); }
    /** Lets reads and writes of a file do nothing and return this; for -1 errno is EIO. */
    void answer(const char *path, int result) { answers.insert(path, result); }

    /** @internal for the replaced calls
     *  @{ */
    void opened(const char *path, int flags, int &descriptor);
    bool concerns(int descriptor) const;
    void add(int descriptor, const char *call, const QByteArray &rest);
    const int *answerFor(int descriptor) const;
    void closed(int descriptor) { names.remove(descriptor); }
    /** @} */

private:
    Q_DISABLE_COPY(FileCalls)

    QStringList entries;
    QHash<int, QByteArray> names;
    QHash<QByteArray, int> descriptors;
    QHash<QByteArray, int> answers;
};

#endif

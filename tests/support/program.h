// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PROGRAM_H
#define TESTS_PROGRAM_H

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <sys/types.h>

/** A program that the test has started; it is killed with the object. */
class Program
{
public:
    Program(const char *file, const QStringList &arguments);
    ~Program();

    pid_t pid() const { return id; }

    /** The next line of its output and error output, without its end; empty behind the last. */
    QByteArray readLine();

    void signal(int number);
    /** Waits for its end. @return its exit status, or minus the signal that ended it */
    int wait();

private:
    Q_DISABLE_COPY(Program)

    pid_t id;
    int output;
};

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LOGGINGTHREAD_H
#define TESTS_LOGGINGTHREAD_H

#include "random.h"

#include <QtCore/QAtomicInt>
#include <QtCore/QThread>

/**
 * Logs some sixty lines a second, each with the number of the thread, its own number, and as long as
 * it says. All four together come to a fifth of what log files take in the long run.
 */
class LoggingThread : public QThread
{
public:
    explicit LoggingThread(int number);

    /** Ends the thread. @return how many lines it has logged */
    int stop();

    virtual void run();

private:
    QString message();

    const int number;
    Random random;
    QAtomicInt stopping;
    int lines;
};

#endif

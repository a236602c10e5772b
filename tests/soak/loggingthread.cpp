// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loggingthread.h"

#include "trace.h"

namespace
{

const int averagePause = 16; // ms
const int shortestText = 40; // holds the numbers
const int longestText = 359; // what is longer is not written, but only numbered

} // namespace

LoggingThread::LoggingThread(int number)
    : number(number)
    , random(quint32(number))
    , stopping(0)
    , lines(0)
{
}

int LoggingThread::stop()
{
    stopping.fetchAndStoreOrdered(1);
    wait();
    return lines;
}

void LoggingThread::run()
{
    while (!stopping.fetchAndAddOrdered(0)) {
        ++lines;
        Trace::log(8, 2, QLatin1String("Soak"), QLatin1String("run"), message());
        msleep(static_cast<unsigned long>(random.below(2 * averagePause)));
    }
}

/** Mostly a short text; now and then one that takes two or three lines of the file. */
QString LoggingThread::message()
{
    const int range = random.below(10) == 0 ? longestText : 79;
    const int length = shortestText + random.below(range - shortestText + 1);
    const QString start =
        QString::fromLatin1("thread %1 line %2 length %3 ").arg(number).arg(lines).arg(length);
    return start.leftJustified(length, QLatin1Char('x'));
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtTest/QTest>

namespace
{

/** Counts the events that objects of the application's thread get. */
class EventCounter : public QObject
{
public:
    EventCounter()
        : count(0)
    {
        QCoreApplication::instance()->installEventFilter(this);
    }

    bool eventFilter(QObject *, QEvent *)
    {
        ++count;
        return false;
    }

    int count;
};

} // namespace

bool waitFor(const std::function<bool()> &condition, int timeout)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > timeout)
            return false;
        QTest::qWait(1);
    }
    return true;
}

bool settle(int quiet)
{
    EventCounter events;
    const auto isQuiet = [&] {
        const int before = events.count;
        QTest::qWait(quiet);
        return events.count == before;
    };
    return waitFor(isQuiet);
}

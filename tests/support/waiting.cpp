// SPDX-License-Identifier: LGPL-2.1-or-later
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

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

void settle(int quiet)
{
    QTest::qWait(quiet);
}

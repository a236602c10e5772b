// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_SKIPTEST_H
#define TESTS_SKIPTEST_H

#include <QtTest/QTest>

/** Skips the test, visibly, for a reason in a QString. */
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
#    define SKIP_TEST(reason) QSKIP(qPrintable(reason), SkipAll)
#else
#    define SKIP_TEST(reason) QSKIP(qPrintable(reason))
#endif

#endif

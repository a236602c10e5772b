// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_SKIP_H
#define TESTS_SKIP_H

#include <QtTest/QTest>

/** Skips the rest of a test function; the reason says what would provide what is missing. */
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
#    define SKIP_TEST(reason) QSKIP(reason, SkipSingle)
#else
#    define SKIP_TEST(reason) QSKIP(reason)
#endif

#endif

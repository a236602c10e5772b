// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_BOARDTEST_H
#define TESTS_BOARDTEST_H

#include "board.h"
#include "kivlogs.h"
#include "libccalls.h"
#include "trace.h"

#include <QtCore/QObject>
#include <QtCore/QScopedPointer>

/** Gives each test function an empty board, its own Trace, and a journal of what is done to files. */
class BoardTest : public QObject
{
    Q_OBJECT

protected:
    QScopedPointer<Board> board;
    QScopedPointer<Trace> trace;
    QScopedPointer<TraceLog> log;
    QScopedPointer<LibcCalls> calls;

protected Q_SLOTS:
    void init();
    void cleanup();
};

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "boardtest.h"

void BoardTest::init()
{
    board.reset(new Board);
    trace.reset(new Trace(nullptr));
    log.reset(new TraceLog(trace.data()));
    calls.reset(new LibcCalls("open read write lseek close"));
}

void BoardTest::cleanup()
{
    calls.reset();
    log.reset();
    trace.reset();
    board.reset();
}

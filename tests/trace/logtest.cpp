// SPDX-License-Identifier: LGPL-2.1-or-later
#include "logtest.h"

void LogTest::init()
{
    messages.reset(new MessageLog);
    calls.reset(new LibcCalls("write"));
    takePauses();
    takeWaits();
}

void LogTest::cleanup()
{
    calls.reset();
    messages.reset();
    setWaitingTime(-1);
    flushAfterEachLogMsg = true;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_THREADTIMES_H
#define TESTS_THREADTIMES_H

#include <QtCore/QList>

/**
 * How long this process lets threads sleep and waits for their ends, as it asks Qt for it.
 *
 * The executable's own definitions of the calls come before Qt's, for the library too.
 */

/** The pauses of 400 ms and more since the last call, in ms. They take no time. */
QList<int> takePauses();

/** The waits for a thread that were not to last for ever since the last call, in ms. */
QList<int> takeWaits();

/** Lets each such wait last up to so many milliseconds from now on, or -1 as long as asked for. */
void setWaitingTime(int milliseconds);

#endif

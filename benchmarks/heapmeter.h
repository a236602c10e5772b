// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_HEAPMETER_H
#define BENCHMARKS_HEAPMETER_H

/**
 * @file
 * What this program has on its heap: its malloc() and the like are counted on their way to the C
 * library. Sizes are in bytes.
 */

long heapInUse();
/** The most that has been in use since resetPeaks(). */
long heapPeak();
/** How many times memory has been asked for. */
long heapRequests();

/** Memory that is resident. */
long residentSize();
/** The most that has been resident since resetPeaks(). */
long residentPeak();

/** Starts both peaks from what is there now. */
void resetPeaks();

#endif

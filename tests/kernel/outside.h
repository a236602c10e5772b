// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_OUTSIDE_H
#define TESTS_OUTSIDE_H

/**
 * The machine that emulates the board of ./board. It drives and sees the lines of the emulated
 * processor, as what is wired to a board does.
 */

/** Whether a line is one of the emulated processor's. */
bool isWiredOutside(int line);
void driveFromOutside(int line, int level);
int levelSeenOutside(int line);

#endif

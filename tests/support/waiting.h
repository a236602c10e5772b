// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_WAITING_H
#define TESTS_WAITING_H

#include <functional>

/** Longer than anything takes that does not fail. */
const int patience = 30000; // ms

/**
 * Runs the event loop until @a condition holds.
 * @return whether it did before @a timeout (ms) was over
 */
bool waitFor(const std::function<bool()> &condition, int timeout = patience);

/**
 * Runs the event loop until no object has got an event for @a quiet milliseconds.
 * @return whether it became as quiet as that
 */
bool settle(int quiet = 50);

#endif

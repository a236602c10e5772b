// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_CHILDPROCESS_H
#define TESTS_CHILDPROCESS_H

#include <QtCore/QString>

#include <sys/types.h>

/**
 * Starts this test program again.
 * @param role its first argument, by which its main() knows what to do
 * @param argument its second argument
 */
pid_t startSelf(const char *role, const QString &argument);

/** Waits for a process. @return its exit status, or minus the signal that ended it */
int waitForExit(pid_t process);

#endif

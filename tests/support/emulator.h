// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_EMULATOR_H
#define TESTS_EMULATOR_H

#include <QtCore/QByteArray>
#include <QtCore/QList>

/**
 * The command that starts a program of the target. That is the program itself, or where the tests
 * run under an emulator, which the kernel knows nothing about, the emulator with the program.
 * @param program absolute path; "/proc/self/exe" is this program
 */
QList<QByteArray> commandFor(const QByteArray &program);

#endif

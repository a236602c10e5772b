// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LIBCFAULTS_H
#define TESTS_LIBCFAULTS_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

/**
 * Some calls of the C library that files are made with, as this process makes them: they can be
 * let fail and are recorded.
 *
 * The executable's own definitions come before the C library's, for Qt and the library too.
 */
enum FaultyCall { RenameCall, UnlinkCall, OpenCall };

/**
 * Lets the next calls fail.
 * @param pathEnd calls whose path, for renames the old one, ends like this
 * @param error the errno
 * @param times how many of them
 */
void failCalls(FaultyCall call, const QString &pathEnd, int error, int times = 1 << 30);

/** Lets writes to log files fail from now on; 0 ends that. */
void failWrites(int error);

/** Lets the next write to a log file take only so many bytes. */
void cutNextWrite(int bytes);

/** Ends all failures. */
void clearFaults();

/** The writes to log files since the last call, one entry each. Records from the first call on. */
QList<QByteArray> takeWrites();

/** The open descriptors of log files. */
QList<int> logDescriptors();

#endif

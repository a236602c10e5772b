// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_LOGFILE_H
#define QVCOMMON_LOGFILE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

class QFile;

/**
 * @file
 * The current file of a log handler. The flush timer may fire in one thread while another one
 * writes a line or changes files, so each of these calls has the file to itself. None of them
 * outputs messages: whoever receives those may log.
 */
namespace qvcommon
{

/** Puts @a next, or nothing, in the place of the current file, which is closed and deleted. */
void replaceLogFile(QFile *&file, QFile *next);

/**
 * Writes to the file if there is one and it is open, in Latin-1, and a newline.
 * @param atOnce whether it leaves the process: then a line is one write
 */
void writeToLogFile(QFile *const &file, const QString &line, bool atOnce);

/** @return false if there is no open file, or if it fails */
bool flushLogFile(QFile *const &file);

/** Writes the last bytes to the file and closes it; it stays the current one. */
void closeLogFile(QFile *const &file, const QByteArray &lastBytes);

/** The file's name, open or not; an empty text if there is no file. */
QString nameOfLogFile(QFile *const &file);

} // namespace qvcommon

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_SAMPLELINES_H
#define BENCHMARKS_SAMPLELINES_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** The texts that every logger gets. */
struct SampleTexts {
    QString className;
    QString functionName;
    QString message;

    SampleTexts();
};

/**
 * One line of a trace as a chain of QString::arg() calls fills it in, with the time from
 * strftime(): the plain way of writing it down.
 */
QString plainLine(int number, const SampleTexts &texts, int threadOrdinal);

/** Lines that fit in a log file of LogHandler. */
const int linesPerFile = 400;

/**
 * Checks that a file holds linesPerFile lines, the same ones as plainLine() makes, numbered from 1;
 * their times may differ, and their threads.
 */
bool holdsSampleLines(const QString &fileName);

#endif

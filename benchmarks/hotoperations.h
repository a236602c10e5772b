// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_HOTOPERATIONS_H
#define BENCHMARKS_HOTOPERATIONS_H

#include "documenttexts.h"
#include "loghandler.h"
#include "temporaryfolder.h"

#include <QtCore/QString>

#include <functional>

// The operations whose instructions are counted, here and on the emulated board.

class Trace;

const int warmUps = 3;
const int times = 100; // what benchmarks/counts.py divides by

/**
 * Counts an operation, @a times times after @a warmUps times that are not counted. How that is done
 * is up to the program: each has its own.
 * @param characters how many it has to do with, if the count is to be given for each of them, too
 */
void count(const char *name, const std::function<void()> &operation, int characters = 0);

/** A log file that gets every line of a Trace. */
class CountedFile
{
public:
    explicit CountedFile(Trace *trace);

private:
    TemporaryFolder folder;
    LogHandler handler;
};

/** A line of the Trace that there is, to whatever is connected. */
void countLine(const char *name, const QString &message);

/** A line that the filter rejects. */
void countRejected();

/** The body of a reply or a notification, up to its signal. */
void countBody(const char *name, const Document &document);

/** A get request over the local socket. */
void countRequest();

/** A look-up of a value in a text of some bytes. */
void countLookUp(const char *name, int size, const char *steps = "a/b");

#endif

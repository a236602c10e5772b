// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef FUZZ_LOGACCOUNT_H
#define FUZZ_LOGACCOUNT_H

#include "qvlog/entry.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

#include <vector>

/**
 * Looks for each line of a log's files in the entries that were made of them, in order. Blanks do
 * not count: the reader may take them off or put them in.
 * @param files the oldest first
 * @return what is not there, or should not be; nothing if all is well
 */
QByteArray accountProblem(const QList<QByteArray> &files, const std::vector<qvlog::Entry> &entries);

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "logfile.h"

#include "atomics.h"

#include <QtCore/QFile>

#include <mutex>

namespace qvcommon
{

namespace
{

// One for all handlers, of which there is one as a rule. Not a QMutex: Qt 4's would need a
// constructor at load.
std::mutex mutex;
typedef std::lock_guard<std::mutex> Guard;

// Qt 5 and 6 complain about each use of a file that is not open.
bool isOpen(const QFile *file)
{
    return file && file->isOpen();
}

} // namespace

void replaceLogFile(QFile *&file, QFile *next)
{
    const Guard guard(mutex);
    delete file;
    store(file, next);
}

void writeToLogFile(QFile *const &file, const QByteArray &bytes, bool flush)
{
    const Guard guard(mutex);
    if (!isOpen(file))
        return;
    file->write(bytes);
    if (flush)
        file->flush();
}

bool flushLogFile(QFile *const &file)
{
    const Guard guard(mutex);
    return isOpen(file) && file->flush();
}

void closeLogFile(QFile *const &file, const QByteArray &lastBytes)
{
    const Guard guard(mutex);
    if (!isOpen(file))
        return;
    file->write(lastBytes);
    file->flush();
    file->close();
}

QString nameOfLogFile(QFile *const &file)
{
    const Guard guard(mutex);
    return file ? file->fileName() : QString();
}

} // namespace qvcommon

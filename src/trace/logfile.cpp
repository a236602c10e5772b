// SPDX-License-Identifier: LGPL-2.1-or-later
#include "logfile.h"

#include "atomics.h"
#include "qtcompat.h"

#include <QtCore/QFile>
#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <mutex>
#include <unistd.h>

namespace qvcommon
{

namespace
{

// One for all handlers, of which there is one as a rule. Not a QMutex: Qt 4's would need a
// constructor at load.
std::mutex mutex;
typedef std::lock_guard<std::mutex> Guard;

// A file that is open and has nothing in its object's buffer, if there is one that is known to be
// so. A line may go past the object then, to the descriptor.
const QFile *flushedFile = nullptr;
int flushedDescriptor = -1;

/** Flushes a file that is open. */
bool flush(QFile *file)
{
    if (!file->flush())
        return false;
    flushedFile = file;
    flushedDescriptor = file->handle();
    return true;
}

/** Makes known that a file may no longer be what flush() has left. */
void forgetFlushed(const QFile *file)
{
    if (flushedFile == file)
        flushedFile = nullptr;
}

// Qt 5 and 6 complain about each use of a file that is not open.
bool isOpen(const QFile *file)
{
    return file && file->isOpen();
}

/** Writes a text in Latin-1, "?" for what is not in it. @return the end of what is written */
char *writeLatin1(char *out, const QString &text)
{
    const QChar *const characters = text.constData();
    const Size size = text.size();
    ushort range = 0;
    for (Size i = 0; i < size; ++i) { // without branches, so that compilers do several at once
        const ushort code = characters[i].unicode();
        range = ushort(range | code);
        out[i] = char(code);
    }
    for (Size i = 0; range > 0xff && i < size; ++i) {
        if (characters[i].unicode() > 0xff)
            out[i] = '?';
    }
    return out + size;
}

} // namespace

void replaceLogFile(QFile *&file, QFile *next)
{
    const Guard guard(mutex);
    forgetFlushed(file);
    delete file;
    if (isOpen(next))
        flush(next);
    store(file, next);
}

void writeToLogFile(QFile *const &file, const QString &line, bool atOnce)
{
    QVarLengthArray<char, 1024> bytes(int(line.size()) + 1);
    *writeLatin1(bytes.data(), line) = '\n';

    const Guard guard(mutex);
    const qint64 size = bytes.size();
    qint64 written = 0;
    if (atOnce && file && file == flushedFile)
        written = std::max<qint64>(0, write(flushedDescriptor, bytes.constData(), size_t(size)));
    if (written == size || !isOpen(file))
        return;
    forgetFlushed(file);
    file->write(bytes.constData() + written, size - written);
    if (atOnce)
        flush(file);
}

bool flushLogFile(QFile *const &file)
{
    const Guard guard(mutex);
    return isOpen(file) && flush(file);
}

void closeLogFile(QFile *const &file, const QByteArray &lastBytes)
{
    const Guard guard(mutex);
    if (!isOpen(file))
        return;
    forgetFlushed(file);
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

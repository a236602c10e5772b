// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loghandler.h"

#include "common/atomics.h"
#include "common/debugline.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMutexLocker>
#include <QtCore/QStringList>

#include <cstdio>

using namespace qvcommon;

static const int oldestFile = 9;

static const char continuation[] =
    "...continued\n"
    "=====================================================================\n";

static QString numberedName(const char *pattern, const QString &baseName, int number)
{
    return QString::fromLatin1(pattern).arg(baseName).arg(number);
}

/**
 * Renames a file to a name that is free. QFile::rename() copies the file if it cannot be renamed:
 * that takes long, needs room on the disk, and may be interrupted half-way.
 */
static bool moveFile(const QString &source, const QString &target)
{
    return !QFile::exists(target) && std::rename(QFile::encodeName(source).constData(),
                                                 QFile::encodeName(target).constData()) == 0;
}

static void removeStrayFiles(QDir *directory, const QString &baseName)
{
    QStringList kept;
    for (int number = 0; number < oldestFile; ++number)
        kept << numberedName("%1%2.log", baseName, number);

    directory->setNameFilters(QStringList(QString::fromLatin1("%1*.log").arg(baseName)));
    directory->refresh();
    const QStringList listed = directory->entryList(QDir::Files | QDir::Hidden, QDir::Name);
    for (const QString &name : listed) {
        if (kept.contains(name))
            continue;
        const QString path = QString::fromLatin1("%1/%2").arg(directory->absolutePath()).arg(name);
        if (!QFile::remove(path))
            DebugLine() << QString::fromLatin1("logrotate failed remove: %1\n").arg(path);
    }
}

void LogHandler::rotate()
{
    if (!logDir)
        return;
    removeStrayFiles(logDir, baseName);
    for (int number = oldestFile; number > 0; --number) {
        const QString path = logDir->absolutePath();
        const QString source = path + numberedName("/%1%2.log", baseName, number - 1);
        if (!QFile::exists(source))
            continue;
        const QString target = path + numberedName("/%1%2.log", baseName, number);
        if (!moveFile(source, target))
            DebugLine() << QString::fromLatin1("Failed renaming %1 to %2").arg(source).arg(target);
    }
}

bool LogHandler::spawnNewLogFile()
{
    // Not truncated: a file that could not be renamed is written over from its start.
    QFile *const file = new QFile(logFileName);
    const bool opened = file->open(QIODevice::ReadWrite);
    if (opened) {
        file->write(continuation);
        file->flush();
    }
    const QMutexLocker locker(logMutex);
    delete logFile;
    store(logFile, file);
    return opened;
}

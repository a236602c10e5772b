// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LOGFOLDER_H
#define TESTS_LOGFOLDER_H

#include "temporaryfolder.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QStringList>

/** A folder for log files, with what tests do in it. */
class LogFolder : public TemporaryFolder
{
public:
    /** As LogHandler::open() takes it, with a "/" at the end. */
    QString directory() const { return path() + QLatin1Char('/'); }

    /** The full name of file @a number. */
    QString file(int number, const char *baseName = "app") const;
    void write(const QString &name, const QByteArray &bytes) const;
    /** What a file holds; "(none)" if there is no such file. */
    QByteArray read(const QString &name) const;
    /** The same for file @a number. */
    QByteArray read(int number) const;
    /** What is in the folder, as "name=content", sorted by name; folders as "name/". */
    QStringList entries() const;
    /** All numbered files in a row, the oldest first. */
    QByteArray readAll() const;
    /** The numbers of all lines of a class, in their order. */
    QList<int> numbersOf(const char *className) const;
    /** The open descriptors of log files in the folder, also of files that have been removed. */
    QList<int> descriptors() const;
};

/** What ends a file, with these last words, and what begins one that continues it. */
QByteArray trailer(const char *lastWords);
QByteArray overflowTrailer();
extern const char continuation[];

/** A text of so many equal characters. */
QString repeated(int length, char character = 'x');

/** What is written to standard output while the object lives. */
class StandardOutput
{
public:
    StandardOutput();
    ~StandardOutput();
    QByteArray take();

private:
    Q_DISABLE_COPY(StandardOutput)

    int saved;
    int captured;
};

#endif

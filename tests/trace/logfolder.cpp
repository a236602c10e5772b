// SPDX-License-Identifier: LGPL-2.1-or-later
#include "logfolder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

const char continuation[] =
    "...continued\n"
    "=====================================================================\n";

QString LogFolder::file(int number, const char *baseName) const
{
    return filePath(QLatin1String(baseName) + QString::number(number) + QLatin1String(".log"));
}

void LogFolder::write(const QString &name, const QByteArray &bytes) const
{
    QFile file(filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(name));
}

QByteArray LogFolder::read(const QString &name) const
{
    QFile file(filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

QByteArray LogFolder::read(int number) const
{
    return read(QString::fromLatin1("app%1.log").arg(number));
}

QStringList LogFolder::entries() const
{
    const QDir folder(path());
    QStringList result;
    const QStringList names = folder.entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &name : names) {
        const QFileInfo info(filePath(name));
        if (info.isDir())
            result << name + QLatin1Char('/');
        else if (info.isFile())
            result << name + QLatin1Char('=') + QString::fromLatin1(read(name));
        else
            result << name;
    }
    return result;
}

QByteArray LogFolder::readAll() const
{
    QByteArray all;
    for (int number = 9; number >= 0; --number) {
        if (QFile::exists(file(number)))
            all += read(number);
    }
    return all;
}

QList<int> LogFolder::numbersOf(const char *className) const
{
    const QByteArray name = QByteArray(" ") + className + ' ';
    QList<int> numbers;
    for (const QByteArray &line : readAll().split('\n')) {
        if (line.contains(name))
            numbers << line.left(line.indexOf(name)).trimmed().toInt();
    }
    return numbers;
}

QByteArray trailer(const char *lastWords)
{
    const QByteArray rule = QByteArray(45, '=') + '\n';
    return rule + lastWords + ".....\n" + rule;
}

QByteArray overflowTrailer()
{
    return trailer("..logging continues in next file");
}

QString repeated(int length, char character)
{
    return QString(length, QLatin1Char(character));
}

QList<int> LogFolder::descriptors() const
{
    const QString canonical = QDir(path()).canonicalPath() + QLatin1Char('/');
    const QDir descriptors(QLatin1String("/proc/self/fd"));
    QList<int> result;
    for (const QString &number : descriptors.entryList(QDir::AllEntries | QDir::System)) {
        const QString target = QFile::symLinkTarget(descriptors.filePath(number));
        if (target.startsWith(canonical) && target.contains(QLatin1String(".log")))
            result << number.toInt();
    }
    return result;
}

StandardOutput::StandardOutput()
{
    char name[] = "/tmp/qvcommon-stdout-XXXXXX";
    std::fflush(stdout);
    saved = dup(STDOUT_FILENO);
    captured = mkstemp(name);
    if (saved < 0 || captured < 0 || dup2(captured, STDOUT_FILENO) < 0)
        qFatal("cannot redirect the standard output");
    unlink(name);
}

StandardOutput::~StandardOutput()
{
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    ::close(saved);
    ::close(captured);
}

QByteArray StandardOutput::take()
{
    std::fflush(stdout);
    QByteArray text;
    char buffer[4096];
    lseek(captured, 0, SEEK_SET);
    for (ssize_t size; (size = ::read(captured, buffer, sizeof buffer)) > 0;)
        text.append(buffer, int(size));
    lseek(captured, 0, SEEK_SET);
    if (ftruncate(captured, 0) != 0)
        qFatal("cannot empty the captured output");
    return text;
}

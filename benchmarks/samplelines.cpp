// SPDX-License-Identifier: LGPL-2.1-or-later
#include "samplelines.h"

#include <QtCore/QFile>
#include <QtCore/QList>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/time.h>

SampleTexts::SampleTexts()
    : className(QLatin1String("PumpController"))
    , functionName(QLatin1String("pressureChanged"))
    , message(QLatin1String("Pressure is 4.2 bar, valve 3 is open"))
{
}

static QString timeNow()
{
    char buffer[64];
    timeval now;
    gettimeofday(&now, nullptr);
    const size_t length =
        strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", localtime(&now.tv_sec));
    std::snprintf(buffer + length, sizeof buffer - length, ".%3.3ld", long(now.tv_usec / 1000));
    return QLatin1String(buffer);
}

QString plainLine(int number, const SampleTexts &texts, int threadOrdinal)
{
    return QString(QLatin1String("%1 %2 %3 %4, tid=%5, %6"))
        .arg(number, 5)
        .arg(texts.className, -30)
        .arg(texts.functionName, -30)
        .arg(texts.message.simplified(), -80)
        .arg(threadOrdinal)
        .arg(timeNow());
}

/** The ordinal of the thread that has written a line, or 0 if it does not say. */
static int ordinalIn(const QByteArray &line)
{
    const QByteArray mark = ", tid=";
    const int begin = int(line.indexOf(mark) + mark.size());
    return line.mid(begin, int(line.indexOf(',', begin)) - begin).toInt();
}

bool holdsSampleLines(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QList<QByteArray> lines = file.readAll().split('\n');
    if (lines.size() != linesPerFile + 1 || !lines.last().isEmpty())
        return false;
    const int timeLength = int(std::strlen("2024-03-01 13:04:05.042"));
    const SampleTexts texts;
    for (int i = 0; i < linesPerFile; ++i) {
        QByteArray expected = plainLine(i + 1, texts, ordinalIn(lines.at(i))).toLatin1();
        const int length = int(expected.size());
        expected.chop(timeLength);
        if (lines.at(i).size() != length || !lines.at(i).startsWith(expected))
            return false;
    }
    return true;
}

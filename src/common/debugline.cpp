// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/debugline.h"

#include "qtcompat/messages.h"
#include "qtcompat/size.h"
#include "qtcompat/text.h"

#include <QtCore/QLocale>

namespace qvcommon
{

DebugLine::DebugLine(QtMsgType type)
    : type(type)
{
}

DebugLine::~DebugLine()
{
    // Qt 4's message handlers take C strings: what follows a NUL never reaches them.
    const Size nul = line.indexOf(QChar(0));
    if (nul >= 0)
        line.truncate(nul);
    messageOutput(type, line);
}

DebugLine &DebugLine::operator<<(const char *text)
{
    line += fromCString(text);
    line += QLatin1Char(' ');
    return *this;
}

DebugLine &DebugLine::operator<<(const QString &text)
{
    line += QLatin1Char('"');
    line += text;
    line += QLatin1String("\" ");
    return *this;
}

DebugLine &DebugLine::operator<<(qint64 number)
{
    line += QString::number(number);
    line += QLatin1Char(' ');
    return *this;
}

DebugLine &DebugLine::operator<<(const QDateTime &time)
{
    // Qt 4 names day and month in the system's language, but writes all numbers in ASCII digits.
    const QLocale locale = QLocale::system();
    const QLatin1Char blank(' ');
    const QDate date = time.date();
    line += QLatin1String("QDateTime(\"");
    line += locale.dayName(date.dayOfWeek(), QLocale::ShortFormat) + blank;
    line += locale.monthName(date.month(), QLocale::ShortFormat) + blank;
    line += QString::number(date.day()) + blank;
    line += time.time().toString(Qt::ISODate) + blank;
    line += QString::number(date.year());
    line += QLatin1String("\") ");
    return *this;
}

} // namespace qvcommon

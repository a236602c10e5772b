// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plainline.h"

using qvcommon::TraceFields;

namespace
{

/** QString::simplified() of Qt 4, made from that of the Qt in use. */
QString simplifiedAsEver(QString text)
{
    const QChar nextLine(0x85);                  // a control character on Qt 4
    const QChar mongolianVowelSeparator(0x180e); // white space on Qt 4
    if (text.contains(mongolianVowelSeparator))
        text.replace(mongolianVowelSeparator, QLatin1Char(' '));
    if (!text.contains(nextLine))
        return text.simplified();
    ushort standIn = 0xe000; // for private use: nobody's white space
    while (text.contains(QChar(standIn)))
        ++standIn;
    text.replace(nextLine, QChar(standIn));
    return text.simplified().replace(QChar(standIn), nextLine);
}

} // namespace

QString plainLine(const TraceFields &fields)
{
    const QChar blank = QLatin1Char(' ');
    const int length = int(fields.message.length());
    const QString time = QString::fromLatin1(fields.timestamp);
    if (length <= 79)
        return QString::fromLatin1("%1 %2 %3 %4, tid=%5, %6")
            .arg(fields.number, 5, 10, blank)
            .arg(fields.className.toString(), -30, blank)
            .arg(fields.functionName.toString(), -30, blank)
            .arg(simplifiedAsEver(fields.message), -80, blank)
            .arg(fields.threadOrdinal, 0, 10, blank)
            .arg(time);
    if (length <= 179)
        return QString::fromLatin1("%1 %2 %3 [Long message(%4)]                                    "
                                   "                         , tid=%5, %6\n%7")
            .arg(fields.number, 5, 10, blank)
            .arg(fields.className.toString(), -30, blank)
            .arg(fields.functionName.toString(), -30, blank)
            .arg(length, 0, 10, blank)
            .arg(fields.threadOrdinal, 0, 10, blank)
            .arg(time)
            .arg(simplifiedAsEver(fields.message));
    if (length <= 359)
        return QString::fromLatin1("%1 %2 %3 [Long message(%4)]                                    "
                                   "                         , tid=%5, %6\n%7\n%8")
            .arg(fields.number, 5, 10, blank)
            .arg(fields.className.toString(), -30, blank)
            .arg(fields.functionName.toString(), -30, blank)
            .arg(length, 0, 10, blank)
            .arg(fields.threadOrdinal, 0, 10, blank)
            .arg(time)
            .arg(simplifiedAsEver(fields.message.left(180)))
            .arg(simplifiedAsEver(fields.message.mid(180)));
    return QString();
}

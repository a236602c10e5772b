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

QString chain(const TraceFields &fields)
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

} // namespace

/** Digits that Qt 4 does not know are none: others stand in for them meanwhile. */
QString plainLine(const TraceFields &fields)
{
    QString texts[] = {fields.className.toString(), fields.functionName.toString(), fields.message};
    const QString all = texts[0] + texts[1] + texts[2];
    QString later;
    QString standIns;
    ushort standIn = 0xe000;
    for (const QChar c : all) {
        if (c.digitValue() < 0 || c.unicodeVersion() <= QChar::Unicode_5_0 || later.contains(c))
            continue;
        while (all.contains(QChar(standIn)))
            ++standIn;
        later += c;
        standIns += QChar(standIn++);
    }
    for (int i = 0; i < later.size(); ++i) {
        for (QString &text : texts)
            text.replace(later.at(i), standIns.at(i));
    }
    QString line = chain(
        {fields.number, texts[0], texts[1], texts[2], fields.threadOrdinal, fields.timestamp});
    for (int i = 0; i < later.size(); ++i)
        line.replace(standIns.at(i), later.at(i));
    return line;
}

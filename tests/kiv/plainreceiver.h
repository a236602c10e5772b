// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PLAINRECEIVER_H
#define TESTS_PLAINRECEIVER_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** The receive path written down step by step: slow, and beyond doubt. */
struct PlainReceiver {
    QString buffer;
    /** Length of the buffer after cleaning, before cutting. */
    int filtered;
    /** Whether the last read has left the beginning of a frame behind. */
    bool unfinished;

    QStringList read(const QString &text)
    {
        const QString separator = QLatin1String("\f\n");
        for (int i = 0; i < int(text.length());) {
            const QChar c = text.at(i);
            if (c.unicode() < 0x100 && (c.unicode() == 9 || c.unicode() == 10)) {
                i += 1;
            } else if (c.unicode() == 12) {
                buffer.append(c);
                buffer.append(i + 1 < int(text.length()) ? text.at(i + 1) : QChar(0));
                i += 2;
            } else {
                buffer.append(c);
                i += 1;
            }
        }
        unfinished = false;
        filtered = int(buffer.length());
        if (buffer.isEmpty())
            return QStringList();
        const bool complete = buffer.endsWith(separator, Qt::CaseSensitive);
        QStringList pieces = buffer.split(separator);
        pieces.removeAll(QString());
        if (pieces.isEmpty())
            return pieces;
        buffer.clear();
        if (!complete) {
            buffer = pieces.takeLast();
            unfinished = true;
        }
        return pieces;
    }
};

/** A text in which every character can be read. */
inline QByteArray shown(const QString &text)
{
    QByteArray result;
    for (const QChar c : text) {
        if (c.unicode() > 0x20 && c.unicode() < 0x7f)
            result += char(c.unicode());
        else
            result += '[' + QByteArray::number(c.unicode(), 16) + ']';
    }
    return result;
}

#endif

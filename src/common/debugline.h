// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_DEBUGLINE_H
#define QVCOMMON_DEBUGLINE_H

#include <QtCore/QDateTime>
#include <QtCore/QString>

namespace qvcommon
{

/**
 * One line for Qt's message handler, sent when the object goes out of scope.
 *
 * Qt's own debug stream renders strings, dates and the blank at the end differently from version
 * to version; this one always does it as Qt 4: a QString stands in double quotes with nothing
 * escaped, and each item is followed by one blank.
 */
class DebugLine
{
public:
    explicit DebugLine(QtMsgType type = QtDebugMsg);
    ~DebugLine();

    DebugLine &operator<<(const char *text);
    DebugLine &operator<<(const QString &text);
    DebugLine &operator<<(qint64 number);
    DebugLine &operator<<(const QDateTime &time);

private:
    Q_DISABLE_COPY(DebugLine)

    QtMsgType type;
    QString line;
};

} // namespace qvcommon

#endif

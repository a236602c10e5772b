// SPDX-License-Identifier: LGPL-2.1-or-later
#include "regexsplit.h"

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
#    include <QtCore/QRegExp>
typedef QRegExp Regex;
#else
#    include <QtCore/QRegularExpression>
typedef QRegularExpression Regex;
#endif

QStringList splitByRegex(const QString &text, const char *pattern)
{
    QStringList pieces = text.split(Regex(QLatin1String(pattern)));
    pieces.removeAll(QString());
    return pieces;
}

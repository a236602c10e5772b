// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_LOCALBYTES_H
#define QVCOMMON_LOCALBYTES_H

#include <QtCore/QByteArray>
#include <QtCore/QVarLengthArray>

namespace qvcommon
{

/**
 * What QString::toLocal8Bit() makes of a text. A text of ASCII characters, as nearly all are, needs
 * no memory from the heap unless it is long.
 */
class LocalBytes
{
public:
    explicit LocalBytes(const QString &text);

    /** The bytes, and a NUL behind them. */
    const char *constData() const { return bytes; }

private:
    Q_DISABLE_COPY(LocalBytes)

    QVarLengthArray<char, 1024> ascii;
    QByteArray converted;
    const char *bytes;
};

} // namespace qvcommon

#endif

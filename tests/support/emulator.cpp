// SPDX-License-Identifier: LGPL-2.1-or-later
#include "emulator.h"

#include <QtCore/QFile>

QList<QByteArray> commandFor(const QByteArray &program)
{
    QList<QByteArray> command;
    // Set by the build, words with blanks between them.
    const QByteArray emulator = qgetenv("QVCOMMON_EMULATOR");
    if (!emulator.isEmpty())
        command = emulator.split(' ');
    // The emulator's own file is what the kernel would take for this program.
    const QString target = QFile::symLinkTarget(QFile::decodeName(program));
    command << (emulator.isEmpty() || target.isEmpty() ? program : QFile::encodeName(target));
    return command;
}

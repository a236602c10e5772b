// SPDX-License-Identifier: LGPL-2.1-or-later
#include "outside.h"

#include <QtCore/QByteArray>

#include <fcntl.h>
#include <unistd.h>

namespace
{

const char serialLine[] = "/dev/ttymxc1";
const int processorLines = 128;

/** Sends a line. @return the line that is answered */
QByteArray ask(const QByteArray &request)
{
    const int outside = open(serialLine, O_RDWR | O_NOCTTY | O_CLOEXEC);
    const QByteArray line = request + '\n';
    if (write(outside, line.constData(), size_t(line.size())) != line.size())
        qFatal("the machine outside is not asked: %s", request.constData());
    QByteArray answer;
    char character;
    while (read(outside, &character, 1) == 1 && character != '\n')
        answer += character;
    close(outside);
    return answer;
}

} // namespace

bool isWiredOutside(int line)
{
    return line < processorLines && access(serialLine, F_OK) == 0;
}

void driveFromOutside(int line, int level)
{
    if (ask("set " + QByteArray::number(line) + ' ' + QByteArray::number(level)) != "ok")
        qFatal("line %d is not driven", line);
}

int levelSeenOutside(int line)
{
    return ask("get " + QByteArray::number(line)).toInt();
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/socketslots.h"

namespace qvcommon
{

int SocketSlot::running = 0;
QObject *SocketSlot::leftOver = nullptr;

SocketSlot::~SocketSlot()
{
    if (--running > 0 || !leftOver)
        return;
    leftOver->deleteLater();
    leftOver = nullptr;
}

void SocketSlot::deleteSocket(QObject *socket)
{
    if (running == 0) {
        delete socket;
        return;
    }
    if (!socket)
        return;
    if (!leftOver)
        leftOver = new QObject;
    socket->setParent(leftOver);
}

} // namespace qvcommon

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "common/debugline.h"
#include "kiv/frames.h"
#include "kiv/kivlog.h"
#include "kiv/socketslots.h"
#include "qtcompat/timers.h"

#include <QtNetwork/QTcpSocket>

using namespace qvcommon;

namespace
{

const int firstConnectDelay = 2000; // ms
const int reconnectPeriod = 10000;  // ms

} // namespace

KivInterface *KivInterface::instance = nullptr;
bool KivInterface::enableDebugPrint = false;
QString KivInterface::crc32;

KivInterface::KivInterface(QObject *parent)
    : QObject(parent)
    , domainTcpActive(false)
    , localKivSocket(nullptr)
    , domainKivSocket(nullptr)
    , domainServerPort(0)
    , reserved(0)
{
    if (instance)
        return;
    instance = this;
    kivSource.log(InfoLevel, "KivInterface", "Starting KivInterface");
    rcvDomainFrameBuffer.reserve(receiveReserve);
    DebugLine() << "KivInterface"
                << "Allocate 20000 bytes for rcvDomainFrameBuffer";
    createLocalKivSocket();
    createDomainKivSocket();
    startSingleShot(firstConnectDelay, this, SLOT(connectToLocalKivSocketSlot()));
    startSingleShot(firstConnectDelay, this, SLOT(connectToDomainKivSocketSlot()));
    startTimerEvents(this, reconnectPeriod);
}

KivInterface::~KivInterface()
{
    kivSource.log(InfoLevel, "~KivInterface", "Deleting KivInterface");
    if (localKivSocket) {
        localKivSocket->abort();
        localKivSocket->close();
    }
    if (domainKivSocket) {
        domainKivSocket->abort();
        domainKivSocket->close();
    }
    instance = nullptr;
    SocketSlot::deleteSocket(localKivSocket);
    SocketSlot::deleteSocket(domainKivSocket);
}

QString &KivInterface::getCurrentKivMsgCrc32Value()
{
    return crc32;
}

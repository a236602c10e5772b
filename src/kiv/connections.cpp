// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "common/debugline.h"
#include "kiv/frames.h"
#include "kiv/kivlog.h"
#include "kiv/socketslots.h"
#include "qtcompat/sockets.h"

#include <QtCore/QPointer>
#include <QtNetwork/QTcpSocket>

using namespace qvcommon;

// Some of the texts below have a "%d" or "%s" in them that nothing ever fills. They are logged just
// so, because logs from the field are searched for them.

namespace
{

/** A text with a number in the place of its "%1". */
QString withNumber(const char *text, int number)
{
    return QString::fromLatin1(text).arg(number, 0, 10, QLatin1Char(' '));
}

/** Whether a socket is to be left alone. Both classes of sockets number their states alike. */
bool isConnectingOrConnected(int state)
{
    return state == QAbstractSocket::ConnectingState || state == QAbstractSocket::ConnectedState;
}

/** What is told of an error of the local socket on the warning stream, or null. */
const char *localErrorText(QLocalSocket::LocalSocketError error)
{
    switch (error) {
    case QLocalSocket::UnknownSocketError:
        return "KivInterface : An unidentified error occurred.";
    case QLocalSocket::ConnectionRefusedError:
        return "KivInterface : The connection was refused by the peer. Make sure the fortune "
               "server is running, and check that the host name and port settings are correct.";
    case QLocalSocket::ServerNotFoundError:
        return "KivInterface : The host was not found. Please check the host name and port "
               "settings.";
    case QLocalSocket::SocketAccessError:
        return "KivInterface : The socket operation failed because the application lacked the "
               "required privileges.";
    case QLocalSocket::SocketResourceError:
        return "KivInterface : The local system ran out of resources (e.g., too many sockets)";
    case QLocalSocket::SocketTimeoutError:
        return "KivInterface : The socket operation timed out.";
    case QLocalSocket::DatagramTooLargeError:
        return "KivInterface : The datagram was larger than the operating system's limit (which "
               "can be as low as 8192 bytes).";
    case QLocalSocket::ConnectionError:
        return "KivInterface : An error occurred with the connection.";
    case QLocalSocket::UnsupportedSocketOperationError:
        return "KivInterface : The requested socket operation is not supported by the local "
               "operating system.";
    default:
        return nullptr;
    }
}

/** The state of a socket; an inert object has none, which counts as unconnected. */
template <typename Socket>
int stateOf(const Socket *socket)
{
    return socket ? int(socket->state()) : int(QAbstractSocket::UnconnectedState);
}

/**
 * Writes a text in the local 8-bit encoding, up to the first NUL byte, and pushes it out at once.
 *
 * Qt closes a lost connection before it reports the error, and says "connected" until the slots on
 * the error have returned. A text that one of them sends is lost with the connection: Qt would
 * warn of the closed descriptor, and Qt 4 would send the text ahead of the next greeting.
 */
template <typename Socket>
void writeAtOnce(Socket &socket, const QString &text)
{
    if (!socket.isValid())
        return;
    socket.write(text.toLocal8Bit().constData());
    socket.flush();
}

/**
 * Ends an attempt that the daemon neither accepts nor refuses, because its queue of connections is
 * full. Left to itself Qt would ask again without a pause, which takes all of the processor, and
 * Qt 4 and 5 would stop after half a minute without a signal and stay in this state for ever.
 */
void giveUp(QLocalSocket &socket)
{
    socket.close(); // closes the descriptor of the attempt, which abort() does not know before Qt 6
    socket.abort(); // leaves the state
}

} // namespace

void KivInterface::debugPrintEnable()
{
    enableDebugPrint = true;
}

void KivInterface::debugPrintDisable()
{
    enableDebugPrint = false;
}

void KivInterface::createLocalKivSocket()
{
    localKivSocket = new QLocalSocket(this);
    connect(localKivSocket, SIGNAL(connected()), SLOT(connectedToLocalKivSlot()));
    connect(localKivSocket, SIGNAL(readyRead()), SLOT(dataFromKivLocalUnixSlot()));
    connect(localKivSocket, QVCOMMON_SOCKET_ERROR_SIGNAL(QLocalSocket::LocalSocketError),
            SLOT(handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError)));
}

void KivInterface::createDomainKivSocket()
{
    domainKivSocket = new QTcpSocket(this);
    kivSource.log(InfoLevel, "createDomainKivSocket", "Starting KivInterface");
    connect(domainKivSocket, SIGNAL(connected()), SLOT(connectedToDomainKivSlot()));
    connect(domainKivSocket, SIGNAL(readyRead()), SLOT(dataFromKivDomainTcpSlot()));
    connect(domainKivSocket, QVCOMMON_SOCKET_ERROR_SIGNAL(QAbstractSocket::SocketError),
            SLOT(handleDomainKivSocketErrorSlot(QAbstractSocket::SocketError)));
}

void KivInterface::timerEvent(QTimerEvent *event)
{
    Q_UNUSED(event)
    const QPointer<KivInterface> self(this); // a slot on the connection may delete it
    connectToLocalKivSocketSlot();
    if (self)
        connectToDomainKivSocketSlot();
}

void KivInterface::connectToLocalKivSocketSlot()
{
    if (!localKivSocket || isConnectingOrConnected(localKivSocket->state()))
        return;
    // A slot on the connection may delete this object; the socket then goes later.
    QLocalSocket &socket = *localKivSocket;
    socket.abort();
    dropUnsent(socket);
    socket.connectToServer(QLatin1String("/tmp/kivd"), QIODevice::ReadWrite);
    if (socket.state() == QLocalSocket::ConnectingState)
        giveUp(socket);
    if (enableDebugPrint)
        DebugLine() << "Restart connection to local kivd (unix socket)";
}

void KivInterface::connectToDomainKivSocketSlot()
{
    if (!domainTcpActive)
        return;
    if (domainServerIpAddress.isEmpty() || domainServerPort == 0) {
        if (enableDebugPrint)
            DebugLine() << "Uknown server ip address - not possible to connect!";
        return;
    }
    if (!domainKivSocket || isConnectingOrConnected(domainKivSocket->state()))
        return;
    domainKivSocket->abort();
    domainKivSocket->connectToHost(domainServerIpAddress, domainServerPort, QIODevice::ReadWrite);
    if (enableDebugPrint)
        DebugLine() << "Restart connection to domain kivd (tcp socket)"
                    << QDateTime::currentDateTime();
}

bool KivInterface::updateDomainServerIpAddress(const QString &address, int port)
{
    if (!instance)
        return false;
    instance->updateDomainServerIpAddressLocal(address, port);
    return true;
}

void KivInterface::updateDomainServerIpAddressLocal(const QString &address, int port)
{
    if (address == domainServerIpAddress && port == domainServerPort)
        return;
    domainServerIpAddress = address;
    domainServerPort = quint16(port);
    if (domainKivSocket)
        domainKivSocket->abort();
}

bool KivInterface::domainServerActivateTcpConnection(bool active)
{
    if (!instance)
        return false;
    instance->domainTcpActive = active;
    return true;
}

void KivInterface::connectedToLocalKivSlot()
{
    const SocketSlot slot;
    Q_UNUSED(slot)
    kivSource.log(DebugLevel, "connectedToLocalKivSlot",
                  "Application is connceted to local kivd daemon through a unix socket.");
    kivSource.log(DebugLevel, "connectedToLocalKivSlot",
                  withNumber("socket->state: %1", stateOf(localKivSocket)));
    discardReceived(rcvLocalFrameBuffer);
    const QPointer<KivInterface> self(this); // a slot on an error may delete it
    setXmlFormat(KIVTARGET_LOCAL);
    if (self)
        Q_EMIT kivLocalUnixSocketConnectedSignal();
}

void KivInterface::connectedToDomainKivSlot()
{
    const SocketSlot slot;
    Q_UNUSED(slot)
    if (enableDebugPrint) {
        kivSource.log(DebugLevel, "connectedToDomainKivSlot",
                      "Connceted to domain kivd deamon through a tcp socket.");
        kivSource.log(DebugLevel, "connectedToDomainKivSlot", "socket->state: %d");
    }
    discardReceived(rcvDomainFrameBuffer);
    const QPointer<KivInterface> self(this); // a slot on an error may delete it
    setXmlFormat(KIVTARGET_DOMAIN);
    if (self)
        Q_EMIT kivDomainTcpSocketConnectedSignal();
}

void KivInterface::setXmlFormat(KIVTARGET_ENUM target)
{
    // The separator in front ends whatever the daemon may still hold of an earlier connection.
    const QString handshake = QLatin1String("\f\nencode:xml\r\n\r\n\f\n");
    if (enableDebugPrint)
        kivSource.log(DebugLevel, "setXmlFormat", handshake);
    if (target == KIVTARGET_LOCAL)
        sendMsgToLocalKiv(handshake);
    else if (target == KIVTARGET_DOMAIN)
        sendMsgToDomainKiv(handshake);
    else if (enableDebugPrint)
        DebugLine() << "Wrong kiv target!!";
}

bool KivInterface::sendMsgToLocalKiv(const QString &msg)
{
    if (!verifyLocalKivSocketOk())
        return false;
    writeAtOnce(*localKivSocket, msg);
    return true;
}

bool KivInterface::sendMsgToDomainKiv(const QString &msg)
{
    if (!verifyDomainKivSocketOk())
        return false;
    writeAtOnce(*domainKivSocket, msg);
    return true;
}

bool KivInterface::verifyLocalKivSocketOk()
{
    const int state = stateOf(localKivSocket);
    if (state == QLocalSocket::ConnectedState)
        return true;
    kivSource.log(DebugLevel, "verifyLocalKivSocketOk",
                  withNumber("localKivSocket->state(): %1", state));
    return false;
}

bool KivInterface::verifyDomainKivSocketOk()
{
    const int state = stateOf(domainKivSocket);
    switch (state) {
    case QAbstractSocket::ConnectedState:
        return true;
    case QAbstractSocket::UnconnectedState:
    case QAbstractSocket::HostLookupState:
        kivSource.log(DebugLevel, "verifyDomainKivSocketOk", "domainKivSocket->state()");
        return false;
    case QAbstractSocket::ConnectingState:
        kivSource.log(DebugLevel, "verifyDomainKivSocketOk",
                      "Connecting .......Domain Kiv Tcp socket !");
        return false;
    default:
        kivSource.log(DebugLevel, "verifyDomainKivSocketOk", "Unknown domainKivSocket->state()");
        return false;
    }
}

void KivInterface::bytesWrittenSlot(qint64 bytes)
{
    if (enableDebugPrint)
        DebugLine() << "domain bytesWrittenSlot" << bytes;
}

void KivInterface::handleDomainKivSocketErrorSlot(QAbstractSocket::SocketError socketError)
{
    Q_UNUSED(socketError)
    const SocketSlot slot;
    Q_UNUSED(slot)
    kivSource.log(InfoLevel, "handleDomainKivSocketErrorSlot",
                  "KivInterface::handleDomainKivSocketErrorSlot%s");
    Q_EMIT kivDomainTcpSocketDisConnectedSignal();
}

void KivInterface::handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError socketError)
{
    const SocketSlot slot;
    Q_UNUSED(slot)
    const char *const function = "handleLocalKivSocketErrorSlot";
    kivSource.log(InfoLevel, function, "KivInterface::displayError %s");
    if (const char *const text = localErrorText(socketError))
        DebugLine(QtWarningMsg) << text;
    else if (socketError == QLocalSocket::PeerClosedError)
        kivSource.log(
            InfoLevel, function,
            "The remote socket closed the connection.Note that the client socket (i.e., this "
            "socket) will be closed after the remote close notification has been sent.");
    else
        kivSource.log(InfoLevel, function,
                      QString::fromLatin1("The following error occurred: %1.")
                          .arg(localKivSocket ? localKivSocket->errorString() : QString()));
    Q_EMIT kivLocalUnixSocketDisConnectedSignal();
}

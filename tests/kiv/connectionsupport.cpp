// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"

#include "kivdredirect.h"
#include "kivfixture.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QTimerEvent>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

const QString loopback = QLatin1String("127.0.0.1");

const char localRestarted[] = "debug: Restart connection to local kivd (unix socket) ";
const char unknownAddress[] = "debug: Uknown server ip address - not possible to connect! ";

const char refusedText[] =
    "warning: KivInterface : The connection was refused by the peer. Make sure the fortune server "
    "is running, and check that the host name and port settings are correct. ";
const char peerClosedText[] =
    "The remote socket closed the connection.Note that the client socket (i.e., this socket) will "
    "be closed after the remote close notification has been sent.";
const char notFoundText[] = "warning: KivInterface : The host was not found. Please check the host "
                            "name and port settings. ";
const char accessText[] = "warning: KivInterface : The socket operation failed because the "
                          "application lacked the required privileges. ";

namespace
{

/** Opens the way to the protected call. */
struct StateSetter : QTcpSocket {
    static void set(QTcpSocket *socket, int state)
    {
        void (QAbstractSocket::*const setState)(QAbstractSocket::SocketState) =
            &StateSetter::setSocketState;
        (socket->*setState)(QAbstractSocket::SocketState(state));
    }
};

} // namespace

QLocalSocket *localSocket(const KivFixture &fixture)
{
    return fixture.kiv->findChild<QLocalSocket *>();
}

QTcpSocket *domainSocket(const KivFixture &fixture)
{
    return fixture.kiv->findChild<QTcpSocket *>();
}

void setState(QTcpSocket *socket, int state)
{
    StateSetter::set(socket, state);
}

void tick(KivFixture &fixture)
{
    QTimerEvent event(0);
    QCoreApplication::sendEvent(fixture.kiv.get(), &event);
}

void resetKivd()
{
    redirectKivd(QLatin1String("/nonexistent/kivd"));
    failKivdConnections(0);
}

BusyDaemon::BusyDaemon()
{
    const QByteArray path = QFile::encodeName(folder.filePath(QLatin1String("kivd")));
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    const sockaddr *const generic = reinterpret_cast<const sockaddr *>(&address);
    descriptors << socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(descriptors[0], generic, sizeof address) || listen(descriptors[0], 0))
        qFatal("%s", std::strerror(errno));
    do
        descriptors << socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
    while (::connect(descriptors.last(), generic, sizeof address) == 0);
    if (errno != EAGAIN)
        qFatal("%s", std::strerror(errno));
    redirectKivd(QFile::decodeName(path));
}

BusyDaemon::~BusyDaemon()
{
    close();
    redirectKivd(QLatin1String("/nonexistent/kivd"));
}

void BusyDaemon::close()
{
    for (int descriptor : descriptors)
        ::close(descriptor);
    descriptors.clear();
}

void BusyDaemon::accept()
{
    descriptors << ::accept(descriptors[0], nullptr, nullptr);
}

QByteArray BusyDaemon::receive()
{
    QByteArray received;
    fcntl(descriptors[0], F_SETFL, O_NONBLOCK);
    for (;;) {
        const int connection = ::accept(descriptors[0], nullptr, nullptr);
        if (connection < 0)
            return received;
        descriptors << connection;
        char bytes[1000];
        const ssize_t count = recv(connection, bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0)
            received += QByteArray(bytes, int(count));
    }
}

QStringList domainError()
{
    return QStringList() << traced("handleDomainKivSocketErrorSlot",
                                   "KivInterface::handleDomainKivSocketErrorSlot%s")
                         << latin1("signal: domain disconnected");
}

QStringList localError(const QString &text)
{
    return QStringList() << traced("handleLocalKivSocketErrorSlot", "KivInterface::displayError %s")
                         << text << latin1("signal: local disconnected");
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "server.h"

#include "options.h"
#include "session.h"

#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <QtCore/QCoreApplication>
#include <sys/socket.h>
#include <unistd.h>

namespace kivsim
{

namespace
{

/** How long to wait, in milliseconds, when there are no descriptors left for a connection. */
const int acceptPause = 100;

void connectNotifier(QScopedPointer<QSocketNotifier> &notifier, int socket, QObject *receiver,
                     const char *slot)
{
    if (socket < 0)
        return;
    notifier.reset(new QSocketNotifier(socket, QSocketNotifier::Read));
    QObject::connect(notifier.data(), SIGNAL(activated(int)), receiver, slot);
}

} // namespace

Server::Server(const Options &options)
    : m_options(options)
    , m_subscriptions(m_tree)
    , m_requests(m_tree, m_subscriptions, [this](int delay) { restart(delay); })
    , m_nextNumber(1)
    , m_downTimer(this)
    , m_upTimer(this)
{
    m_downTimer.setSingleShot(true);
    m_upTimer.setSingleShot(true);
    connect(&m_downTimer, SIGNAL(timeout()), this, SLOT(goDown()));
    connect(&m_upTimer, SIGNAL(timeout()), this, SLOT(comeBack()));
}

Server::~Server()
{
    closeAllSessions();
    m_unixNotifier.reset();
    m_tcpNotifier.reset();
}

bool Server::start(std::string &error)
{
    return m_tree.load(m_options.dataFile, error) && listen(error);
}

bool Server::listen(std::string &error)
{
    if (!m_sockets.open(m_options.socketPath, m_options.port, error))
        return false;
    connectNotifier(m_unixNotifier, m_sockets.unixSocket(), this, SLOT(acceptUnix()));
    connectNotifier(m_tcpNotifier, m_sockets.tcpSocket(), this, SLOT(acceptTcp()));
    const bool hasPath = !m_options.socketPath.empty();
    std::printf("kivsim: listening on %s%s127.0.0.1:%d\n", m_options.socketPath.c_str(),
                hasPath ? " and " : "", m_sockets.port());
    std::fflush(stdout);
    return true;
}

void Server::acceptUnix()
{
    accept(m_sockets.unixSocket());
}

void Server::acceptTcp()
{
    accept(m_sockets.tcpSocket());
}

void Server::accept(int listeningSocket)
{
    const int socket = ::accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            setAccepting(false);
            QTimer::singleShot(acceptPause, this, SLOT(acceptAgain()));
        }
        return;
    }
    if (m_sessions.size() >= static_cast<std::size_t>(m_options.maxClients)) {
        ::close(socket);
        return;
    }
    // Answers are small and waited for; on a Unix socket this fails and does not matter.
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Session *session = new Session(socket, m_nextNumber++, m_options, m_requests, this);
    m_sessions.insert(session);
    connect(session, SIGNAL(closed()), this, SLOT(sessionClosed()));
}

void Server::setAccepting(bool accepting)
{
    if (m_unixNotifier)
        m_unixNotifier->setEnabled(accepting);
    if (m_tcpNotifier)
        m_tcpNotifier->setEnabled(accepting);
}

void Server::acceptAgain()
{
    setAccepting(true);
}

void Server::sessionClosed()
{
    Session *session = qobject_cast<Session *>(sender());
    m_subscriptions.removeAllOf(session);
    m_sessions.erase(session);
    session->deleteLater();
}

void Server::closeAllSessions()
{
    for (Session *session : m_sessions) {
        m_subscriptions.removeAllOf(session);
        delete session;
    }
    m_sessions.clear();
}

void Server::restart(int delay)
{
    // Whoever asks for it is a session that is still at work.
    m_upTimer.setInterval(delay);
    m_downTimer.start(0);
}

void Server::goDown()
{
    closeAllSessions();
    m_unixNotifier.reset();
    m_tcpNotifier.reset();
    m_sockets.close();
    m_upTimer.start();
}

void Server::comeBack()
{
    std::string error;
    if (start(error))
        return;
    std::fprintf(stderr, "kivsim: %s\n", error.c_str());
    QCoreApplication::exit(1);
}

} // namespace kivsim

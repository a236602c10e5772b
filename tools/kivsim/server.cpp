// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/server.h"

#include "kivsim/options.h"
#include "kivsim/scriptrunner.h"
#include "kivsim/session.h"

#include <QtCore/QCoreApplication>

#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
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
    : options(options)
    , tree(size_t(options.maxTree))
    , subscriptions(tree)
    , requestHandler(tree, subscriptions, options.refusals, [this](int delay) { restart(delay); })
    , nextNumber(1)
    , downTimer(this)
    , upTimer(this)
{
    downTimer.setSingleShot(true);
    upTimer.setSingleShot(true);
    connect(&downTimer, SIGNAL(timeout()), this, SLOT(goDown()));
    connect(&upTimer, SIGNAL(timeout()), this, SLOT(comeBack()));
}

Server::~Server()
{
    closeAllSessions();
    unixNotifier.reset();
    tcpNotifier.reset();
}

bool Server::start(std::string &error)
{
    if (!tree.load(options.dataFile, error) || !listen(error))
        return false;
    // Over a restart of the daemon the device goes on living.
    if (!scriptRunner && !options.script.empty()) {
        scriptRunner.reset(
            new ScriptRunner(tree, subscriptions, options.script, options.scriptFile));
        scriptRunner->start();
    }
    return true;
}

bool Server::save() const
{
    std::string error;
    if (options.saveFile.empty() || tree.save(options.saveFile, error))
        return true;
    std::fprintf(stderr, "kivsim: %s\n", error.c_str());
    return false;
}

bool Server::listen(std::string &error)
{
    if (!sockets.open(options.socketPath, options.port, error))
        return false;
    connectNotifier(unixNotifier, sockets.unixSocket(), this, SLOT(acceptUnix()));
    connectNotifier(tcpNotifier, sockets.tcpSocket(), this, SLOT(acceptTcp()));
    const bool hasPath = !options.socketPath.empty();
    std::printf("kivsim: listening on %s%s127.0.0.1:%d\n", options.socketPath.c_str(),
                hasPath ? " and " : "", sockets.port());
    std::fflush(stdout);
    return true;
}

void Server::acceptUnix()
{
    accept(sockets.unixSocket());
}

void Server::acceptTcp()
{
    accept(sockets.tcpSocket());
}

void Server::accept(int listeningSocket)
{
    const int socket = accept4(listeningSocket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            setAccepting(false);
            QTimer::singleShot(acceptPause, this, SLOT(acceptAgain()));
        }
        return;
    }
    if (sessions.size() >= size_t(options.maxClients)) {
        close(socket);
        return;
    }
    // Answers are small and waited for; on a Unix socket this fails and does not matter.
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Session *session = new Session(socket, nextNumber++, options, requestHandler, this);
    sessions.insert(session);
    connect(session, SIGNAL(closed()), this, SLOT(sessionClosed()));
}

void Server::setAccepting(bool accepting)
{
    if (unixNotifier)
        unixNotifier->setEnabled(accepting);
    if (tcpNotifier)
        tcpNotifier->setEnabled(accepting);
}

void Server::acceptAgain()
{
    setAccepting(true);
}

void Server::sessionClosed()
{
    Session *session = qobject_cast<Session *>(sender());
    subscriptions.removeAllOf(session);
    sessions.erase(session);
    session->deleteLater();
}

void Server::closeAllSessions()
{
    for (Session *session : sessions) {
        subscriptions.removeAllOf(session);
        delete session;
    }
    sessions.clear();
}

void Server::restart(int delay)
{
    // Whoever asks for it is a session that is still at work.
    upTimer.setInterval(delay);
    downTimer.start(0);
}

void Server::goDown()
{
    closeAllSessions();
    unixNotifier.reset();
    tcpNotifier.reset();
    sockets.close();
    upTimer.start();
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

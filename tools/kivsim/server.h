// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SERVER_H
#define KIVSIM_SERVER_H

#include "kivsim/listeningsockets.h"
#include "kivsim/requesthandler.h"
#include "kivsim/subscriptions.h"
#include "kivsim/tree.h"

#include <QtCore/QObject>
#include <QtCore/QScopedPointer>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <set>
#include <string>

namespace kivsim
{

class ScriptRunner;
class Session;
struct Options;

/** The daemon: listens, keeps the sessions and what they share. */
class Server : public QObject
{
    Q_OBJECT
public:
    /** @param options must outlive the server */
    explicit Server(const Options &options);
    virtual ~Server();

    /** @return whether the server is up; if not, error says why in one line */
    bool start(std::string &error);
    /** Goes away with all connections, and comes back with the data file read again. */
    void restart(int delay);
    /** Writes the tree to the file that the options name, if they do. @return whether it worked */
    bool save() const;

private Q_SLOTS:
    void acceptUnix();
    void acceptTcp();
    void sessionClosed();
    void goDown();
    void comeBack();
    void acceptAgain();

private:
    bool listen(std::string &error);
    void accept(int listeningSocket);
    void closeAllSessions();
    void setAccepting(bool accepting);

    const Options &options;
    Tree tree;
    Subscriptions subscriptions;
    RequestHandler requestHandler;
    QScopedPointer<ScriptRunner> scriptRunner;
    ListeningSockets sockets;
    QScopedPointer<QSocketNotifier> unixNotifier;
    QScopedPointer<QSocketNotifier> tcpNotifier;
    std::set<Session *> sessions;
    int nextNumber;
    QTimer downTimer;
    QTimer upTimer;
};

} // namespace kivsim

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SIGNALS_H
#define KIVSIM_SIGNALS_H

#include <QtCore/QObject>
#include <QtCore/QScopedPointer>
#include <QtCore/QSocketNotifier>

namespace kivsim
{

class Server;

/** Brings SIGTERM, SIGINT, SIGHUP and SIGUSR1 into the event loop. */
class Signals : public QObject
{
    Q_OBJECT
public:
    explicit Signals(Server &server);

    /** @return whether the handlers are installed */
    bool install();

private Q_SLOTS:
    void handle();

private:
    Server &server;
    QScopedPointer<QSocketNotifier> notifier;
};

} // namespace kivsim

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_CONVERSATION_H
#define TESTS_CONVERSATION_H

#include "kivinterface.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>

class Journal;

/**
 * Asks the daemon for this and that over both transports, and writes down what was asked and what
 * came. It keeps no list itself, so that what grows is the library.
 *
 * The reference of a request is made of the letter of the transport, the number of the connection
 * and the number of the request.
 */
class Conversation : public QObject
{
    Q_OBJECT
public:
    /** @param table what the daemon answers to a get of /soak/table */
    Conversation(Journal &journal, const QString &table, int port);

    /** Asks no more, and waits until all is answered, for some seconds at most. */
    void finish();

private Q_SLOTS:
    void ask();
    void takeOk(const QString &ref);
    void takeError(const QString &ref, const QString &type, const QString &message);
    void takeData(const QString &ref, const QString &data);
    void takeChange(const QString &ref, const QString &op, const QString &rpath,
                    const QString &spath, const QString &data);
    void localConnected();
    void localDisconnected();
    void domainConnected();
    void domainDisconnected();

private:
    struct Transport {
        KivInterface::KIVTARGET_ENUM target;
        const char *letter;
        bool connected;
        int connections;
        int requests;   ///< on all connections
        int unanswered; ///< on this connection
    };

    void connected(Transport &transport);
    void disconnected(Transport &transport);
    void ask(Transport &transport);
    bool send(const Transport &transport, const QString &kind, const QString &ref, int number);
    void note(Transport &transport, const QString &kind, const QString &ref, int number, bool sent);
    void answered(const QString &ref, const char *kind, const QString &value);

    Journal &journal;
    const QString table;
    KivInterface kiv;
    QTimer timer;
    Transport local;
    Transport domain;
};

#endif

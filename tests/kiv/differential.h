// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_DIFFERENTIAL_H
#define TESTS_DIFFERENTIAL_H

#include "kivinterface.h"
#include "recorder.h"
#include "trace.h"

#include <functional>

/** What is asked of a text, and how a reader of the caller gets that text. */
struct Question {
    QString path;
    QString rootPath;
    QString subPath;
    int index;
    QString xml;
};

/** How a reader that belongs to the caller gets its text. */
enum Delivery { AsText, AsBytes, FromDevice, InTwoPieces };
const int deliveryCount = 4;

/**
 * Compares the client, through its public operations, with the plain formulations over a bare
 * reader. Each comparison returns what differs: nothing, if all is as it should be.
 */
class Differential
{
public:
    Differential();
    ~Differential();

    /** All that is said of a body, and the checksum text that it leaves behind. */
    QByteArray body(const QString &body, bool debug);
    /** The same, with a second body that a slot hands to the client in the middle of it. */
    QByteArray bodyInBody(const QString &body, const QString &inner);

    /**
     * All that is said of frames that arrive, but for the diagnostic output on their arrival.
     * @param arrive lets them arrive, as they are or in bytes
     */
    QByteArray arrival(const std::function<void()> &arrive, const QStringList &frames, bool debug);

    /**
     * One of the handlers that work on the caller's reader: what is said, what is returned, and
     * where the reader stands then.
     * @param which any number
     * @param token the token at which the handler is called
     */
    QByteArray handler(const QString &body, Delivery delivery, int which, int token);
    /** What is logged of each token. */
    QByteArray debugNodes(const QString &body);

    /** The look-ups in a text. */
    QByteArray lookUps(const Question &question);
    /** Those on the caller's reader: results, and where the reader stands then. */
    QByteArray lookUpsByReader(const Question &question, Delivery delivery);

    KivInterface &client() { return kiv; }
    int signalCount() const { return recorder.signalCount; }
    /** How many look-ups have found what they looked for. */
    int foundCount;

private:
    /** Does something with a reader, and returns all that has come of it as a text. */
    typedef std::function<QString(QXmlStreamReader &)> Operation;

    QByteArray compareOnReaders(const QString &xml, Delivery delivery, const Operation &client,
                                const Operation &plain);
    QByteArray find(const Question &question, Delivery delivery);
    QByteArray crawlToNode(const Question &question, Delivery delivery);
    QByteArray crawlToList(const Question &question, Delivery delivery);
    QByteArray returnNode(const Question &question, Delivery delivery);

    Trace trace;
    KivInterface kiv;
    Recorder recorder;
};

#endif

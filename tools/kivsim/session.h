// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SESSION_H
#define KIVSIM_SESSION_H

#include "kivsim/client.h"
#include "kivsim/framesplitter.h"
#include "kivsim/misbehaviour.h"
#include "kivsim/outputqueue.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <cstddef>
#include <string>

namespace kivsim
{

class RequestHandler;
struct Options;

/** One connection. */
class Session : public QObject, public Client
{
    Q_OBJECT
public:
    /** @param socket connected and not blocking; closed with the session */
    Session(int socket, int number, const Options &options, RequestHandler &requests,
            QObject *parent);
    virtual ~Session();

    void send(const std::string &frame) override;
    void sendPlainly(const std::string &frame) override;
    void setMisbehaviour(const Misbehaviour &misbehaviour) override;

Q_SIGNALS:
    /** The connection is over. Comes from the event loop, never from within a call. */
    void closed();

private Q_SLOTS:
    void read();
    void proceed();

private:
    void enqueue(const std::string &frame, const Misbehaviour &manner);
    void write();
    void handleFrames();
    void awaitEvents();
    void end(const char *reason);
    void logDropped() const;
    void log(const char *what, const char *text, size_t length) const;
    bool isCongested() const;

    const Options &options;
    RequestHandler &requestHandler;
    int descriptor;
    int number;
    FrameSplitter input;
    OutputQueue output;
    QElapsedTimer clock; ///< of the output
    OutputQueue::State outputState;
    Misbehaviour misbehaviour;
    bool peerFinished; ///< whether the client has sent all it will
    bool ended;
    QSocketNotifier readNotifier;
    QSocketNotifier writeNotifier;
    QTimer timer; ///< fires when the next write is due, or when the end is to be told
};

} // namespace kivsim

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SESSION_H
#define KIVSIM_SESSION_H

#include "client.h"
#include "framesplitter.h"
#include "misbehaviour.h"
#include "outputqueue.h"

#include <cstddef>
#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <string>

namespace kivsim
{

class Requests;
struct Options;

/** One connection. */
class Session : public QObject, public Client
{
    Q_OBJECT
public:
    /** @param socket connected and not blocking; closed with the session */
    Session(int socket, int number, const Options &options, Requests &requests, QObject *parent);
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
    void enqueue(const std::string &frame, const Misbehaviour &misbehaviour);
    void write();
    void handleFrames();
    void awaitEvents();
    void end(const char *reason);
    void log(const char *what, const char *text, std::size_t length) const;
    bool isCongested() const;

    const Options &m_options;
    Requests &m_requests;
    int m_socket;
    int m_number;
    FrameSplitter m_input;
    OutputQueue m_output;
    QElapsedTimer m_clock; ///< of the output
    OutputQueue::State m_outputState;
    Misbehaviour m_misbehaviour;
    bool m_peerFinished; ///< whether the client has sent all it will
    bool m_ended;
    QSocketNotifier m_readNotifier;
    QSocketNotifier m_writeNotifier;
    QTimer m_timer; ///< fires when the next write is due, or when the end is to be told
};

} // namespace kivsim

#endif

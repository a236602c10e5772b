// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session.h"

#include "options.h"
#include "requests.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace kivsim
{

namespace
{

const std::size_t readSize = 1 << 16;
/** With this much unread, no further requests of the client are looked at. */
const std::size_t congestion = 1 << 20;
const std::size_t longestLogText = 300;

} // namespace

Session::Session(int socket, int number, const Options &options, Requests &requests,
                 QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_requests(requests)
    , m_socket(socket)
    , m_number(number)
    , m_input(static_cast<std::size_t>(options.maxFrame))
    , m_outputState(OutputQueue::Empty)
    , m_misbehaviour(options.misbehaviour)
    , m_peerFinished(false)
    , m_ended(false)
    , m_readNotifier(socket, QSocketNotifier::Read)
    , m_writeNotifier(socket, QSocketNotifier::Write)
{
    m_writeNotifier.setEnabled(false);
    m_timer.setSingleShot(true);
    m_clock.start();
    connect(&m_readNotifier, SIGNAL(activated(int)), this, SLOT(read()));
    connect(&m_writeNotifier, SIGNAL(activated(int)), this, SLOT(proceed()));
    connect(&m_timer, SIGNAL(timeout()), this, SLOT(proceed()));
    log("connected", "", 0);
}

Session::~Session()
{
    m_readNotifier.setEnabled(false);
    m_writeNotifier.setEnabled(false);
    ::close(m_socket);
}

void Session::send(const std::string &frame)
{
    enqueue(frame, m_misbehaviour);
}

void Session::sendPlainly(const std::string &frame)
{
    enqueue(frame, Misbehaviour());
}

void Session::setMisbehaviour(const Misbehaviour &misbehaviour)
{
    m_misbehaviour = misbehaviour;
}

void Session::enqueue(const std::string &frame, const Misbehaviour &misbehaviour)
{
    if (m_ended)
        return;
    if (m_output.size() > static_cast<std::size_t>(m_options.maxOutput)) {
        end("dropped, it does not read its notifications");
        return;
    }
    log("<-", frame.data(), frame.size());
    m_output.add(frame, misbehaviour, m_clock.elapsed());
    if (m_outputState == OutputQueue::Empty) {
        write();
        awaitEvents();
    }
}

void Session::write()
{
    m_outputState = m_output.write(m_socket, m_clock.elapsed());
    if (m_outputState == OutputQueue::CutShort)
        end("cut as ordered");
    else if (m_outputState == OutputQueue::Broken)
        end("lost");
}

void Session::read()
{
    static char buffer[readSize];
    const ssize_t length = ::recv(m_socket, buffer, sizeof buffer, MSG_DONTWAIT);
    if (length < 0) {
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK)
            end("lost");
        return;
    }
    if (length == 0)
        m_peerFinished = true;
    m_input.append(buffer, static_cast<std::size_t>(length));
    handleFrames();
    awaitEvents();
}

void Session::proceed()
{
    if (m_ended) {
        Q_EMIT closed();
        return;
    }
    write();
    handleFrames();
    awaitEvents();
}

void Session::handleFrames()
{
    const char *frame = nullptr;
    std::size_t length = 0;
    while (!m_ended && !isCongested()) {
        const FrameSplitter::Result result = m_input.next(frame, length);
        if (result == FrameSplitter::Incomplete) {
            if (m_peerFinished && m_outputState == OutputQueue::Empty)
                end("disconnected");
            return;
        }
        log("->", frame, length);
        if (result == FrameSplitter::Complete)
            m_requests.handleFrame(*this, frame, length);
        else
            m_requests.refuseLongFrame(*this, frame, length,
                                       static_cast<std::size_t>(m_options.maxFrame));
    }
}

/** Arms whatever the session has to hear of next. */
void Session::awaitEvents()
{
    if (m_ended)
        return;
    m_readNotifier.setEnabled(!m_peerFinished && !isCongested());
    m_writeNotifier.setEnabled(m_outputState == OutputQueue::Blocked);
    if (m_outputState == OutputQueue::Waiting)
        m_timer.start(m_output.waitTime(m_clock.elapsed()));
}

bool Session::isCongested() const
{
    return m_output.size() > congestion;
}

void Session::end(const char *reason)
{
    if (m_ended)
        return;
    m_ended = true;
    log(reason, "", 0);
    m_readNotifier.setEnabled(false);
    m_writeNotifier.setEnabled(false);
    // The client is to notice at once, but the object is still in use here.
    ::shutdown(m_socket, SHUT_RDWR);
    m_timer.start(0);
}

void Session::log(const char *what, const char *text, std::size_t length) const
{
    if (!m_options.verbose)
        return;
    std::string shown(text, std::min(length, longestLogText));
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; },
        ' ');
    std::fprintf(stderr, "kivsim: client %d %s %s%s\n", m_number, what, shown.c_str(),
                 length > longestLogText ? "..." : "");
}

} // namespace kivsim

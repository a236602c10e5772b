// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/session.h"

#include "kivsim/options.h"
#include "kivsim/requesthandler.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace kivsim
{

namespace
{

const size_t readSize = 1 << 16;
/** With this much unread, no further requests of the client are looked at. */
const size_t congestion = 1 << 20;
const size_t longestLogText = 300;

/** Makes blanks of what a terminal would obey; some of that has two bytes in UTF-8. */
void removeControls(std::string &text)
{
    bool afterLead = false;
    for (char &c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f || (afterLead && byte >= 0x80 && byte < 0xa0))
            c = ' ';
        afterLead = byte == 0xc2;
    }
}

} // namespace

Session::Session(int socket, int number, const Options &options, RequestHandler &requests,
                 QObject *parent)
    : QObject(parent)
    , options(options)
    , requestHandler(requests)
    , descriptor(socket)
    , number(number)
    , input(size_t(options.maxFrame))
    , outputState(OutputQueue::Empty)
    , misbehaviour(options.misbehaviour)
    , peerFinished(false)
    , ended(false)
    , readNotifier(socket, QSocketNotifier::Read)
    , writeNotifier(socket, QSocketNotifier::Write)
{
    writeNotifier.setEnabled(false);
    timer.setSingleShot(true);
    clock.start();
    connect(&readNotifier, SIGNAL(activated(int)), this, SLOT(read()));
    connect(&writeNotifier, SIGNAL(activated(int)), this, SLOT(proceed()));
    connect(&timer, SIGNAL(timeout()), this, SLOT(proceed()));
    log("connected", "", 0);
}

Session::~Session()
{
    readNotifier.setEnabled(false);
    writeNotifier.setEnabled(false);
    close(descriptor);
}

void Session::send(const std::string &frame)
{
    enqueue(frame, misbehaviour);
}

void Session::sendPlainly(const std::string &frame)
{
    enqueue(frame, Misbehaviour());
}

void Session::setMisbehaviour(const Misbehaviour &wanted)
{
    misbehaviour = wanted;
}

void Session::enqueue(const std::string &frame, const Misbehaviour &manner)
{
    if (ended)
        return;
    if (output.size() > size_t(options.maxOutput)) {
        end("dropped, it does not read its notifications");
        return;
    }
    log("<-", frame.data(), frame.size());
    output.add(frame, manner, clock.elapsed());
    if (outputState == OutputQueue::Empty) {
        write();
        awaitEvents();
    }
}

void Session::write()
{
    outputState = output.write(descriptor, clock.elapsed());
    if (outputState == OutputQueue::CutShort)
        end("cut as ordered");
    else if (outputState == OutputQueue::Broken)
        end("lost");
}

void Session::read()
{
    static char buffer[readSize];
    const ssize_t length = recv(descriptor, buffer, sizeof buffer, MSG_DONTWAIT);
    if (length < 0) {
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK)
            end("lost");
        return;
    }
    if (length == 0)
        peerFinished = true;
    input.append(buffer, size_t(length));
    handleFrames();
    awaitEvents();
}

void Session::proceed()
{
    if (ended) {
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
    size_t length = 0;
    while (!ended && !isCongested()) {
        const FrameSplitter::Result result = input.next(frame, length);
        if (result == FrameSplitter::Incomplete) {
            if (peerFinished && outputState == OutputQueue::Empty) {
                logDropped();
                end("disconnected");
            }
            return;
        }
        log("->", frame, length);
        if (result == FrameSplitter::Complete)
            requestHandler.handleFrame(*this, frame, length);
        else
            requestHandler.refuseLongFrame(*this, frame, length, size_t(options.maxFrame));
    }
}

/** Arms whatever the session has to hear of next. */
void Session::awaitEvents()
{
    if (ended)
        return;
    readNotifier.setEnabled(!peerFinished && !isCongested());
    writeNotifier.setEnabled(outputState == OutputQueue::Blocked);
    if (outputState == OutputQueue::Waiting)
        timer.start(output.waitTime(clock.elapsed()));
}

bool Session::isCongested() const
{
    return output.size() > congestion;
}

void Session::end(const char *reason)
{
    if (ended)
        return;
    ended = true;
    log(reason, "", 0);
    readNotifier.setEnabled(false);
    writeNotifier.setEnabled(false);
    // The client is to notice at once, but the object is still in use here.
    shutdown(descriptor, SHUT_RDWR);
    timer.start(0);
}

/** Whoever forgets the separator waits for an answer in vain. */
void Session::logDropped() const
{
    const size_t bytes = input.pendingBytes();
    if (bytes == 0)
        return;
    const std::string text = std::to_string(bytes) + " bytes dropped, no separator behind them";
    log(text.c_str(), "", 0);
}

void Session::log(const char *what, const char *text, size_t length) const
{
    if (!options.verbose)
        return;
    std::string shown(text, std::min(length, longestLogText));
    removeControls(shown);
    std::fprintf(stderr, "kivsim: client %d %s %s%s\n", number, what, shown.c_str(),
                 length > longestLogText ? "..." : "");
}

} // namespace kivsim

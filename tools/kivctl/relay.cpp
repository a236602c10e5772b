// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/relay.h"

#include <cerrno>
#include <sys/socket.h>

namespace kivctl
{

namespace
{

const std::size_t readSize = 1 << 16;
/** With this much waiting, the sender has to wait, too. */
const std::size_t mostWaiting = 1 << 20;
/** What is longer is shown in parts; nobody is held up by it. */
const std::size_t longestFrame = 1 << 20;

bool isTemporary(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

Relay::Relay(const Descriptor &source, const Descriptor &target, const FrameTaker &taker)
    : from(source)
    , to(target)
    , take(taker)
    , cutter(longestFrame)
    , ended(false)
    , refused(false)
{
}

bool Relay::wantsToRead() const
{
    return !ended && waiting.size() < mostWaiting;
}

void Relay::read()
{
    char buffer[readSize];
    const ssize_t length = ::recv(from.number(), buffer, sizeof buffer, 0);
    if (length < 0 && isTemporary(errno))
        return;
    if (length <= 0) {
        ended = true;
        passOnEnd();
        return;
    }
    const std::size_t size = static_cast<std::size_t>(length);
    // Read on even for nobody: the sender may have to be rid of it before it reads the other side.
    if (!refused)
        waiting.append(buffer, size);
    cutter.feed(buffer, size);
    std::string frame;
    while (cutter.next(frame))
        take(frame);
    if (cutter.isTooLong())
        take(cutter.takeRest());
    write();
}

void Relay::write()
{
    if (waiting.empty())
        return;
    const ssize_t length = ::send(to.number(), waiting.data(), waiting.size(), MSG_NOSIGNAL);
    if (length < 0 && isTemporary(errno))
        return;
    if (length < 0) {
        refused = true;
        waiting.clear();
        return;
    }
    waiting.erase(0, static_cast<std::size_t>(length));
    passOnEnd();
}

/** Who has said all may still listen. */
void Relay::passOnEnd()
{
    if (isDone())
        ::shutdown(to.number(), SHUT_WR);
}

void Relay::finish()
{
    const std::string rest = cutter.takeRest();
    if (!rest.empty())
        take(rest + " (no end of frame)");
}

} // namespace kivctl

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/outputqueue.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

namespace kivsim
{

namespace
{

/** A write up to this length is not torn apart by the kernel. */
const size_t wholeWrite = 4096;
const size_t separatorLength = 2;

bool isInPieces(const Misbehaviour &misbehaviour)
{
    return misbehaviour.pieceSize > 0 || misbehaviour.splitSeparator;
}

/** @return how much of a frame the next write is to send */
size_t writeLength(const Misbehaviour &misbehaviour, size_t sent, size_t total)
{
    if (isInPieces(misbehaviour))
        return pieceLength(misbehaviour, sent, total);
    const size_t rest = total - sent;
    // The separator of a long frame goes by itself, lest a full socket cut it in two.
    return rest > wholeWrite ? rest - separatorLength : rest;
}

} // namespace

OutputQueue::OutputQueue()
    : waiting(0)
    , nextPiece(0)
{
}

void OutputQueue::add(const std::string &frame, const Misbehaviour &misbehaviour, qint64 now)
{
    if (misbehaviour.garbage > 0) {
        Misbehaviour whole = misbehaviour;
        whole.cut = false;
        push(garbageFrame(misbehaviour.garbage), whole, now);
    }
    push(frame, misbehaviour, now);
}

void OutputQueue::push(const std::string &bytes, const Misbehaviour &misbehaviour, qint64 now)
{
    const size_t end = misbehaviour.cut ? cutPosition(misbehaviour, bytes.size()) : bytes.size();
    frames.push_back(Frame{bytes, 0, end, now + misbehaviour.delay, misbehaviour});
    waiting += end;
}

int OutputQueue::waitTime(qint64 now) const
{
    if (frames.empty())
        return 0;
    const Frame &frame = frames.front();
    const qint64 due = frame.sent == 0 ? std::max(frame.due, nextPiece) : nextPiece;
    return int(std::max<qint64>(due - now, 0));
}

OutputQueue::State OutputQueue::write(int socket, qint64 now)
{
    while (!frames.empty()) {
        if (waitTime(now) > 0)
            return Waiting;
        Frame &frame = frames.front();
        const size_t wanted =
            std::min(writeLength(frame.misbehaviour, frame.sent, frame.bytes.size()),
                     frame.end - frame.sent);
        if (wanted > 0) {
            const ssize_t written =
                send(socket, frame.bytes.data() + frame.sent, wanted, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0)
                return errno == EAGAIN || errno == EWOULDBLOCK ? Blocked : Broken;
            frame.sent += size_t(written);
            waiting -= size_t(written);
        }
        const bool inPieces = isInPieces(frame.misbehaviour);
        if (inPieces)
            nextPiece = now + frame.misbehaviour.gap;
        if (frame.sent == frame.end) {
            if (frame.end < frame.bytes.size())
                return CutShort;
            frames.pop_front();
        }
        if (inPieces && !frames.empty())
            return Waiting;
    }
    return Empty;
}

} // namespace kivsim

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_OUTPUTQUEUE_H
#define KIVSIM_OUTPUTQUEUE_H

#include "kivsim/misbehaviour.h"

#include <QtCore/QtGlobal>

#include <cstddef>
#include <deque>
#include <string>

namespace kivsim
{

/**
 * The frames that wait to be sent on one connection, each with the manner to send it in.
 *
 * The queue has no clock: @a now is the time in milliseconds by a clock of the caller's.
 */
class OutputQueue
{
public:
    /** What has to come before the next write. */
    enum State {
        Empty,    ///< another frame
        Blocked,  ///< room in the socket
        Waiting,  ///< the time given by waitTime()
        CutShort, ///< nothing: the connection is to be closed as ordered
        Broken    ///< nothing: the connection is lost
    };

    OutputQueue();

    void add(const std::string &frame, const Misbehaviour &misbehaviour, qint64 now);
    /** Writes as much as goes without blocking. */
    State write(int socket, qint64 now);
    /** @return the milliseconds until the next write */
    int waitTime(qint64 now) const;
    /** @return the number of bytes that wait */
    size_t size() const { return waiting; }

private:
    struct Frame {
        std::string bytes;
        size_t sent;
        size_t end; ///< where sending ends, before the end of the frame if it is to be cut
        qint64 due; ///< when sending may begin
        Misbehaviour misbehaviour;
    };

    void push(const std::string &bytes, const Misbehaviour &misbehaviour, qint64 now);

    std::deque<Frame> frames;
    size_t waiting;
    qint64 nextPiece; ///< when the next piece may be sent
};

} // namespace kivsim

#endif

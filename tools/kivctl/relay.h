// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_RELAY_H
#define KIVCTL_RELAY_H

#include "kivctl/framecutter.h"
#include "kivctl/sockets.h"

#include <functional>
#include <string>

namespace kivctl
{

/** One direction of a proxied connection: hands bytes on as they are, and cuts copies of them. */
class Relay
{
public:
    typedef std::function<void(const std::string &)> FrameTaker;

    /** @param take gets each frame, and what there is of one that does not end */
    Relay(const Descriptor &from, const Descriptor &to, const FrameTaker &take);

    bool wantsToRead() const;
    bool wantsToWrite() const { return !waiting.empty(); }
    /** Reads what there is. */
    void read();
    /** Writes what it can. */
    void write();
    /** @return whether all has been handed on that there is, and that the receiver takes */
    bool isDone() const { return (ended || refused) && waiting.empty(); }
    /** Shows what is left of a frame that will not be finished. */
    void finish();

private:
    void passOnEnd();

    const Descriptor &from;
    const Descriptor &to;
    const FrameTaker take;
    FrameCutter cutter;
    std::string waiting; ///< bytes that the receiver has not taken yet
    bool ended;          ///< whether nothing more will come
    bool refused;        ///< whether the receiver takes nothing more
};

} // namespace kivctl

#endif

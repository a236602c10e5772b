// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_MESSAGE_H
#define KIVCTL_MESSAGE_H

#include <string>
#include <vector>

namespace kivctl
{

/** One change that a notification tells of. */
struct Change {
    std::string op;
    std::string subscribedPath;
    std::string path;
    std::string data; ///< as it came
    std::string crc;  ///< empty if there is none
};

/** What the daemon says in one frame. */
struct Message {
    enum Kind {
        Ok,
        Data,
        Error,
        Notification,
        Unknown ///< anything else
    };
    Kind kind = Unknown;
    std::string ref;
    std::string data; ///< of a get, as it came
    std::string crc;
    std::string type; ///< of an error
    std::string text; ///< the same
    std::vector<Change> changes;
};

/** Reads a frame; nothing in it is trusted. */
Message parseMessage(const std::string &frame);

} // namespace kivctl

#endif

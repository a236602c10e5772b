// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_OPERATIONS_H
#define KIVCTL_OPERATIONS_H

#include <string>

namespace kivctl
{

/** What a client sends first. */
extern const char handshake[];

/** @return a text as a frame */
std::string frameOf(const std::string &text);

// The operations that stand in a request.
std::string getOperation(const std::string &path);
std::string editOperation(const std::string &op, const std::string &path, const std::string &data);
std::string deleteOperation(const std::string &path);

/** What a subscription is to report. */
struct Subscription {
    std::string path;
    bool oneLevel = false; ///< only the element and its direct children
    std::string match;     ///< a path below it; empty for all
    bool sendNow = false;  ///< whether to report the present state, too
    std::string tag = "subscription";
};
std::string subscribeOperation(const Subscription &subscription);

/** @return a whole request */
std::string requestOf(const std::string &ref, const std::string &operation);

} // namespace kivctl

#endif

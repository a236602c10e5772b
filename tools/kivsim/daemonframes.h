// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_DAEMONFRAMES_H
#define KIVSIM_DAEMONFRAMES_H

#include <string>

namespace kivsim
{

// The frames that the daemon sends, whole, with their separator. All arguments are plain text
// except content, which is markup.

/** The answer to an edit that was done. */
std::string editReply(const std::string &ref);
/** The answer to a subscription, to the validation switch and to the requests of kivsim's own. */
std::string sessionInfoReply(const std::string &ref);
/** The answer to a get, with the content and its checksum. */
std::string getReply(const std::string &ref, const std::string &path, const std::string &content);
/** The answer to anything that is refused. A long message is cut. */
std::string errorReply(const std::string &ref, const std::string &type, const std::string &message);

/** A change that a subscriber is told of. */
struct Change {
    std::string op;
    std::string subscribedPath;
    std::string changedPath;
    std::string content;
};
std::string notification(const std::string &ref, const Change &change);

} // namespace kivsim

#endif

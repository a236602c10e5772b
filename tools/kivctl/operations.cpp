// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/operations.h"

#include "kivctl/texts.h"

namespace kivctl
{

namespace
{

std::string element(const std::string &name, const std::string &content)
{
    return '<' + name + '>' + content + "</" + name + '>';
}

} // namespace

// The separator in front ends whatever the daemon still holds of an earlier connection.
const char handshake[] = "\f\nencode:xml\r\n\r\n\f\n";

std::string frameOf(const std::string &text)
{
    return text + "\r\n\f\n";
}

std::string getOperation(const std::string &path)
{
    return element("get", element("path", escaped(path)));
}

std::string editOperation(const std::string &op, const std::string &path, const std::string &data)
{
    return element("edit",
                   element("op", op) + element("path", escaped(path)) + element("data", data));
}

std::string deleteOperation(const std::string &path)
{
    return element("edit", element("op", "delete") + element("path", escaped(path)));
}

std::string subscribeOperation(const Subscription &subscription)
{
    std::string parts =
        element(subscription.oneLevel ? "ypath" : "path", escaped(subscription.path));
    if (!subscription.match.empty())
        parts += element("rpath_match", escaped(subscription.match));
    if (subscription.sendNow)
        parts += element("send_now", "true");
    return element("subscribe", element(subscription.tag, parts));
}

std::string requestOf(const std::string &ref, const std::string &operation)
{
    return frameOf(element("request", element("ref", ref) + element("rpc", operation)));
}

} // namespace kivctl

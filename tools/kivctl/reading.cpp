// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/node.h"
#include "kivctl/operations.h"
#include "kivctl/paths.h"
#include "kivctl/show.h"
#include "kivctl/texts.h"

#include <cstdio>
#include <unistd.h>

namespace kivctl
{

namespace
{

/** @param levels how many of them below these nodes; negative for all */
void showTree(const std::vector<Node> &nodes, long levels, const std::string &indent,
              Output &output)
{
    const std::vector<std::string> keys = distinctions(nodes);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const Node &node = nodes[i];
        if (!node.isElement())
            continue;
        std::string line = indent + output.coloured(Colour::Name, onOneLine(node.name + keys[i]));
        if (node.isLeaf())
            line += " = " + output.coloured(Colour::Value, onOneLine(node.text()));
        output.colouredLine(line);
        if (!node.isLeaf() && levels != 0)
            showTree(node.children, levels - 1, indent + "  ", output);
    }
}

void checkCrc(const Message &message)
{
    if (message.crc.empty())
        throw Failure(DaemonError, "the answer has no crc32");
    const std::string found = std::to_string(checksum(message.data));
    if (message.crc != found)
        throw Failure(DaemonError,
                      "the crc32 is said to be " + onOneLine(message.crc) + ", but is " + found);
}

} // namespace

Status ping(const Invocation &invocation, Context &context)
{
    const long count = invocation.count > 0 ? invocation.count : 1;
    for (long i = 0; i < count; ++i) {
        if (i > 0)
            ::sleep(1);
        if (!context.client.isConnected())
            context.client.connect(Deadline::in(invocation.timeout));
        // Any answer will do, and the shortest is that there is no such path.
        const double begin = Deadline::now();
        context.client.ask(getOperation("/kivctl_ping"), Deadline::in(invocation.timeout));
        char time[64];
        std::snprintf(time, sizeof time, "%.3f ms", (Deadline::now() - begin) * 1000);
        context.output.line("answer from " + context.client.address().text() + " in " + time);
    }
    return Done;
}

Status get(const Invocation &invocation, Context &context)
{
    for (const std::string &path : invocation.arguments) {
        const Message message = askFor(path, invocation, context);
        if (invocation.crc)
            checkCrc(message);
        showData(message.data, path, invocation.style, context.output);
    }
    return Done;
}

Status list(const Invocation &invocation, Context &context)
{
    const std::string &path = invocation.arguments[0];
    std::vector<Node> nodes = parseNodes(askFor(path, invocation, context).data);
    if (nodes.size() == 1 && nodes.front().name == lastStepName(path)) {
        const std::vector<Node> children = nodes.front().children;
        nodes = children;
    }
    const std::vector<std::string> keys = distinctions(nodes);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].isElement())
            context.output.line(onOneLine(nodes[i].name + keys[i]) +
                                (nodes[i].isLeaf() ? "" : "/"));
    }
    return Done;
}

Status tree(const Invocation &invocation, Context &context)
{
    const std::string &path = invocation.arguments[0];
    const Message message = askFor(path, invocation, context);
    // Of the root comes only what is in it, which is one level below.
    const bool isRoot = lastStepName(path).empty();
    const long levels = invocation.levels - (isRoot && invocation.levels > 0 ? 1 : 0);
    showTree(parseNodes(message.data), levels, std::string(), context.output);
    return Done;
}

} // namespace kivctl

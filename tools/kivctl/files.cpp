// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "files/textfile.h"
#include "kivctl/node.h"
#include "kivctl/operations.h"
#include "kivctl/paths.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

namespace kivctl
{

namespace
{

/** Elements of a file; an XML declaration in front is allowed, as editors put one there. */
std::vector<Node> readNodes(const std::string &name)
{
    std::vector<Node> nodes;
    try {
        nodes = parseNodes(readFile(name));
    } catch (const Failure &failure) {
        if (failure.status() != DaemonError)
            throw;
        throw FileFailure(name + ": " + failure.what());
    }
    for (const Node &node : nodes) {
        if (!node.isElement())
            throw FileFailure(name + " holds something else than elements");
    }
    return nodes;
}

/** How often each leaf is there. */
typedef std::map<std::string, long> LineCounts;

LineCounts countLines(const std::vector<Leaf> &leaves)
{
    LineCounts counts;
    for (const Leaf &leaf : leaves)
        ++counts[leafLine(leaf)];
    return counts;
}

/** Shows the lines that another set does not have. @return whether there are any */
bool showMissing(const std::vector<Leaf> &leaves, LineCounts others, const char *mark,
                 Colour colour, Output &output)
{
    bool any = false;
    for (const Leaf &leaf : leaves) {
        const std::string line = leafLine(leaf);
        long &count = others[line];
        if (count > 0) {
            --count;
            continue;
        }
        output.colouredLine(output.coloured(colour, mark + line));
        any = true;
    }
    return any;
}

} // namespace

std::string readFile(const std::string &name)
{
    std::string content;
    std::string error;
    const bool complete = name == "-" ? files::readStream(stdin, "standard input", content, error)
                                      : files::readTextFile(name, content, error);
    if (!complete)
        throw FileFailure(error);
    return content;
}

std::string contentOf(const std::string &argument)
{
    if (argument == "-")
        return readFile(argument);
    return argument[0] == '@' ? readFile(argument.substr(1)) : argument;
}

Status dump(const Invocation &invocation, Context &context)
{
    const Message message = askFor(invocation.arguments[0], invocation, context);
    const std::string content = pretty(parseNodes(message.data));
    if (invocation.arguments.size() < 2 || invocation.arguments[1] == "-") {
        context.output.line(content);
        return Done;
    }
    std::string error;
    if (!files::writeTextFile(invocation.arguments[1], content, error))
        throw FileFailure(error);
    return Done;
}

Status load(const Invocation &invocation, Context &context)
{
    const std::string &path = invocation.arguments[0];
    const std::string op = invocation.merge ? "patch" : "replace";
    std::vector<Node> nodes = readNodes(invocation.arguments[1]);
    if (nodes.empty())
        throw FileFailure("there is nothing in " + invocation.arguments[1]);
    if (!lastStepName(path).empty()) {
        askToEdit(editOperation(op, path, compact(nodes)), invocation, context);
        return Done;
    }
    // The root cannot be edited, but what is in it can; namesakes together, as each would replace
    // the one before.
    while (!nodes.empty()) {
        const std::string name = nodes.front().name;
        const auto others = std::stable_partition(
            nodes.begin(), nodes.end(), [&name](const Node &node) { return node.name == name; });
        askToEdit(editOperation(op, '/' + name, compact(std::vector<Node>(nodes.begin(), others))),
                  invocation, context);
        nodes.erase(nodes.begin(), others);
    }
    return Done;
}

Status diff(const Invocation &invocation, Context &context)
{
    const std::string &path = invocation.arguments[0];
    const std::vector<Leaf> ofFile = leavesOf(readNodes(invocation.arguments[1]), path);
    const std::vector<Leaf> ofDaemon =
        leavesOf(parseNodes(askFor(path, invocation, context).data), path);
    const bool removed =
        showMissing(ofFile, countLines(ofDaemon), "-", Colour::Mark, context.output);
    const bool added =
        showMissing(ofDaemon, countLines(ofFile), "+", Colour::Value, context.output);
    return removed || added ? Different : Done;
}

} // namespace kivctl

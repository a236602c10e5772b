// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/node.h"
#include "kivctl/operations.h"
#include "kivctl/paths.h"
#include "kivctl/show.h"
#include "kivctl/texts.h"

#include <ctime>

namespace kivctl
{

namespace
{

const char messagesPath[] = "/state/sys_messages";

std::string element(const std::string &name, const std::string &text)
{
    return '<' + name + '>' + escaped(text) + "</" + name + '>';
}

std::string valueOf(const Node &message, const char *name)
{
    for (const Node &child : message.children) {
        if (child.name == name)
            return onOneLine(child.text());
    }
    return std::string();
}

/** @return seconds since 1970 as local time, or as they are if they are none */
std::string timeOf(const std::string &seconds)
{
    const std::size_t mostDigits = 11;
    if (seconds.empty() || seconds.size() > mostDigits ||
        seconds.find_first_not_of("0123456789") != std::string::npos)
        return seconds.empty() ? "-" : seconds;
    const std::time_t time = static_cast<std::time_t>(std::stoll(seconds));
    char text[64];
    struct tm parts;
    if (!::localtime_r(&time, &parts))
        return seconds;
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
}

void showMessages(const std::vector<Node> &nodes, Output &output)
{
    for (const Node &node : nodes) {
        if (node.name != "sys_message") {
            showMessages(node.children, output);
            continue;
        }
        const std::string level = valueOf(node, "level");
        output.colouredLine(timeOf(valueOf(node, "timestamp")) + "  " +
                            output.coloured(Colour::Mark, level.empty() ? "-" : level) + "  " +
                            output.coloured(Colour::Name, valueOf(node, "reporter") + ' ' +
                                                              valueOf(node, "rep_ref")) +
                            "  " + valueOf(node, "text"));
    }
}

Status listMessages(const Invocation &invocation, Context &context)
{
    const Message message = askFor(messagesPath, invocation, context);
    if (invocation.hasStyle)
        showData(message.data, messagesPath, invocation.style, context.output);
    else
        showMessages(parseNodes(message.data), context.output);
    return Done;
}

Status putMessage(const Invocation &invocation, Context &context)
{
    const std::vector<std::string> &words = invocation.arguments;
    const std::string entry =
        element("reporter", words[1]) + element("rep_ref", words[2]) +
        element("src_path", messagesPath) + element("level", words[3]) +
        (invocation.line.empty() ? std::string() : element("line_id", invocation.line)) +
        element("timestamp", std::to_string(std::time(nullptr))) + element("text", words[4]) +
        element("msgdata", invocation.data);
    askToEdit(
        editOperation("patch", messagesPath,
                      "<sys_messages><sys_message>" + entry + "</sys_message></sys_messages>"),
        invocation, context);
    return Done;
}

Status deleteMessage(const Invocation &invocation, Context &context)
{
    const std::string path = std::string(messagesPath) +
                             "/sys_message[reporter=" + quoted(invocation.arguments[1]) +
                             "][rep_ref=" + quoted(invocation.arguments[2]) + ']';
    askToEdit(deleteOperation(path), invocation, context);
    return Done;
}

} // namespace

Status systemMessages(const Invocation &invocation, Context &context)
{
    const std::string &action = invocation.arguments[0];
    const std::size_t count = invocation.arguments.size();
    const bool hasContent = !invocation.line.empty() || !invocation.data.empty();
    if (action == "list" && count == 1 && !hasContent)
        return listMessages(invocation, context);
    if (action == "put" && count == 5 && !invocation.hasStyle)
        return putMessage(invocation, context);
    if (action == "del" && count == 3 && !hasContent && !invocation.hasStyle)
        return deleteMessage(invocation, context);
    throw Failure(Usage, "it is msg list [-o STYLE] | put REPORTER REF LEVEL TEXT [--line ID] "
                         "[--data TEXT] | del REPORTER REF");
}

} // namespace kivctl

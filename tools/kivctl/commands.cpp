// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/operations.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <unistd.h>

namespace kivctl
{

namespace
{

Status help(const Invocation &, Context &context)
{
    context.output.raw(helpText());
    return Done;
}

Status version(const Invocation &, Context &context)
{
    context.output.line(versionText());
    return Done;
}

struct Command {
    const char *name;
    Status (*run)(const Invocation &, Context &);
};

const Command commands[] = {{"ping", ping},    {"get", get},
                            {"ls", list},      {"tree", tree},
                            {"set", set},      {"patch", edit},
                            {"replace", edit}, {"delete", remove},
                            {"watch", watch},  {"wait", wait},
                            {"dump", dump},    {"load", load},
                            {"diff", diff},    {"msg", systemMessages},
                            {"raw", raw},      {"proxy", proxy},
                            {"--help", help},  {"--version", version}};

Status dispatch(const Invocation &invocation, Context &context)
{
    for (const Command &command : commands) {
        if (invocation.command == command.name)
            return command.run(invocation, context);
    }
    throw Failure(Usage, "unknown command '" + invocation.command + "'");
}

Status fail(const Failure &failure)
{
    complain(std::string(failure.what()) + failure.hint());
    return failure.status();
}

/** Carries out one line. */
Status runLine(const std::string &line, const Invocation &defaults, Context &context)
{
    try {
        const std::vector<std::string> words = wordsOf(line);
        if (words.empty())
            return Done;
        const Invocation invocation = parseInvocation(words, defaults);
        if (invocation.address.text() != defaults.address.text())
            throw Failure(Usage, "all commands go to " + defaults.address.text());
        return runCommand(invocation, context);
    } catch (const Failure &failure) {
        return fail(failure);
    }
}

} // namespace

Status runCommand(const Invocation &invocation, Context &context)
{
    try {
        return dispatch(invocation, context);
    } catch (const Failure &failure) {
        return fail(failure);
    }
}

Status runBatch(const Invocation &defaults, Context &context)
{
    const bool isDialogue = ::isatty(STDIN_FILENO) && context.output.isTerminal();
    Status first = Done;
    std::string line;
    for (;;) {
        if (isDialogue)
            context.output.raw("kiv> ");
        if (!std::getline(std::cin, line))
            break;
        const Status status = runLine(line, defaults, context);
        if (first == Done)
            first = status;
        // Whoever reads on would take later answers for those of earlier commands.
        if (!isDialogue && (status == NoConnection || status == ConnectionLost))
            break;
    }
    if (std::ferror(stdin)) {
        const FileFailure failure(std::string("cannot read standard input: ") +
                                  std::strerror(errno));
        const Status status = fail(failure);
        return first == Done ? status : first;
    }
    return first;
}

Message askFor(const std::string &path, const Invocation &invocation, Context &context)
{
    Message message =
        context.client.askForSuccess(getOperation(path), Deadline::in(invocation.timeout));
    if (message.kind != Message::Data)
        throw Failure(DaemonError, "the daemon's answer holds no data");
    return message;
}

void askToEdit(const std::string &operation, const Invocation &invocation, Context &context)
{
    context.client.askForSuccess(operation, Deadline::in(invocation.timeout));
}

} // namespace kivctl

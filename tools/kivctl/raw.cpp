// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/operations.h"

namespace kivctl
{

/** Prints frames as they come: the next one, or so many, or all within a time. */
Status raw(const Invocation &invocation, Context &context)
{
    const Deadline patience = Deadline::in(invocation.timeout);
    const std::string text = contentOf(invocation.arguments[0]);
    if (!context.client.isConnected())
        context.client.connect(patience);
    context.client.send(frameOf(text), patience);
    const bool hasTime = invocation.seconds >= 0;
    const long wanted = invocation.count > 0 ? invocation.count : 1;
    const Deadline deadline = hasTime ? Deadline::in(invocation.seconds) : patience;
    bool failed = false;
    std::string frame;
    for (long count = 0; (hasTime && invocation.count == 0) || count < wanted; ++count) {
        if (!context.client.receive(frame, deadline)) {
            if (hasTime && invocation.count == 0)
                break;
            throw Failure(Timeout, "timed out, the daemon does not answer");
        }
        context.output.line(frame);
        failed = failed || parseMessage(frame).kind == Message::Error;
    }
    return failed ? DaemonError : Done;
}

} // namespace kivctl

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_COMMANDS_H
#define KIVCTL_COMMANDS_H

#include "kivctl/client.h"
#include "kivctl/failure.h"
#include "kivctl/invocation.h"
#include "kivctl/output.h"

#include <string>

namespace kivctl
{

/** What a command works with. */
struct Context {
    Client &client;
    Output &output;
};

// One for each command. They throw Failure where they do not succeed.
Status ping(const Invocation &invocation, Context &context);
Status get(const Invocation &invocation, Context &context);
Status list(const Invocation &invocation, Context &context);
Status tree(const Invocation &invocation, Context &context);
Status set(const Invocation &invocation, Context &context);
Status edit(const Invocation &invocation, Context &context);
Status remove(const Invocation &invocation, Context &context);
Status watch(const Invocation &invocation, Context &context);
Status wait(const Invocation &invocation, Context &context);
Status dump(const Invocation &invocation, Context &context);
Status load(const Invocation &invocation, Context &context);
Status diff(const Invocation &invocation, Context &context);
Status systemMessages(const Invocation &invocation, Context &context);
Status raw(const Invocation &invocation, Context &context);
Status proxy(const Invocation &invocation, Context &context);

/** Carries out one command, and says in one line why it fails if it does. */
Status runCommand(const Invocation &invocation, Context &context);
/** Carries out commands from standard input. @return the first status that is not Done */
Status runBatch(const Invocation &defaults, Context &context);

/** Asks for what a path designates. */
Message askFor(const std::string &path, const Invocation &invocation, Context &context);
/** Carries out an edit; @see operations.h */
void askToEdit(const std::string &operation, const Invocation &invocation, Context &context);

/** @return what an argument stands for: "@FILE" its content, "-" standard input, or itself */
std::string contentOf(const std::string &argument);
/** @return what is in a file, "-" for standard input */
std::string readFile(const std::string &name);

} // namespace kivctl

#endif

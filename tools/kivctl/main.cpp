// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include <cstdio>

int main(int argc, char *argv[])
{
    using namespace kivctl;
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        const Invocation invocation = parseInvocation(words, Invocation());
        if (invocation.command == "--help")
            return std::fputs(helpText().c_str(), stdout) < 0;
        if (invocation.command == "--version")
            return std::puts("kivctl " KIVCTL_VERSION) < 0;
        Client client(invocation.address);
        Output output(invocation.colours);
        Context context = {client, output};
        return invocation.command.empty() ? runBatch(invocation, context)
                                          : runCommand(invocation, context);
    } catch (const Failure &failure) {
        complain(std::string(failure.what()) + failure.hint());
        return failure.status();
    }
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include <fcntl.h>
#include <unistd.h>

namespace
{

/** A socket or a file that is opened later must not be taken for a standard stream that is closed. */
void occupyStandardStreams()
{
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // Using it is to fail as before, so it is open for the other direction.
        const int mode = number == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(number, F_GETFD) < 0 && ::open("/dev/null", mode) < 0)
            return;
    }
}

} // namespace

int main(int argc, char *argv[])
{
    using namespace kivctl;
    occupyStandardStreams();
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        const Invocation invocation = parseInvocation(words, Invocation());
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

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/output.h"

#include "kivctl/failure.h"
#include "kivctl/texts.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace kivctl
{

namespace
{

const char *const sequences[] = {"", "\033[36m", "\033[32m", "\033[33m"};
const char noColour[] = "\033[0m";

bool wantsColours()
{
    const char *const type = std::getenv("TERM");
    return !std::getenv("NO_COLOR") && type && std::strcmp(type, "dumb") != 0;
}

} // namespace

Output::Output(When when)
    : terminal(::isatty(STDOUT_FILENO) != 0)
    , colours(when == Always || (when == Auto && terminal && wantsColours()))
{
}

std::string Output::safe(const std::string &text) const
{
    return terminal ? harmless(text) : text;
}

void Output::line(const std::string &text)
{
    colouredLine(safe(text));
}

std::string Output::coloured(Colour colour, const std::string &text) const
{
    if (!colours || colour == Colour::None)
        return text;
    return sequences[static_cast<int>(colour)] + text + noColour;
}

void Output::colouredLine(const std::string &text)
{
    const bool isEnded = !text.empty() && text.back() == '\n';
    raw(isEnded ? text : text + '\n');
}

void Output::raw(const std::string &bytes)
{
    // Each piece at once: who reads a pipe waits for it.
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() ||
        std::fflush(stdout) != 0)
        throw FileFailure(std::string("cannot write: ") + std::strerror(errno));
}

void complain(const std::string &text)
{
    std::string line = harmless(text);
    // A word or the name of a file that it speaks of may have lines.
    for (std::size_t at = line.find('\n'); at != std::string::npos; at = line.find('\n', at))
        line.replace(at, 1, "\\n");
    std::fprintf(stderr, "kivctl: %s\n", line.c_str());
}

} // namespace kivctl

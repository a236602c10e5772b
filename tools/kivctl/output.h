// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_OUTPUT_H
#define KIVCTL_OUTPUT_H

#include <string>

namespace kivctl
{

enum class Colour { None, Name, Value, Mark };

/** Standard output. Only on a terminal, control characters of the daemon's are made harmless. */
class Output
{
public:
    enum When { Auto, Always, Never };
    explicit Output(When colours = Auto);

    /** Writes a text and ends the line, unless it ends already. */
    void line(const std::string &text);
    /** @return a text in a colour, if there are any; to be used with colouredLine() */
    std::string coloured(Colour colour, const std::string &text) const;
    /** Writes a text in whose parts there is nothing that has to be made harmless. */
    void colouredLine(const std::string &text);
    /** Writes bytes as they are. */
    void raw(const std::string &bytes);
    /** @return the text, harmless if this is a terminal */
    std::string safe(const std::string &text) const;

    bool isTerminal() const { return terminal; }

private:
    const bool terminal;
    bool colours;
};

/** Writes one line to standard error. */
void complain(const std::string &text);

} // namespace kivctl

#endif

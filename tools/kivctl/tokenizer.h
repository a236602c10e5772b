// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_TOKENIZER_H
#define KIVCTL_TOKENIZER_H

#include <cstddef>
#include <string>

namespace kivctl
{

/** A piece of XML, by its place in the text. */
struct Token {
    enum Type {
        Start, ///< of an element
        End,
        Empty, ///< an element without content, <a/>
        Text,
        CData,
        Other, ///< a comment, a processing instruction, a declaration
        NoMore,
        Bad ///< not well-formed
    };
    Type type;
    std::size_t begin; ///< of the whole piece
    std::size_t end;
    std::string name;       ///< of an element
    std::string attributes; ///< of an element, as they are written
};

/** Takes XML apart without changing anything in it. */
class Scanner
{
public:
    /** @param text must outlive the scanner */
    Scanner(const std::string &text, std::size_t begin, std::size_t end);

    Token next();

private:
    Token special(const char *opening, const char *closing, Token::Type type);
    Token tag();
    Token bad();
    bool startsWith(const char *prefix) const;

    const std::string &text;
    std::size_t at;
    std::size_t limit;
};

/** @return what stands between the marks of a CDATA section */
std::string cdataContent(const std::string &section);

} // namespace kivctl

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/tokenizer.h"

#include <algorithm>
#include <cstring>

namespace kivctl
{

namespace
{

const char cdataBegin[] = "<![CDATA[";
const char cdataEnd[] = "]]>";
const char blanks[] = " \t\r\n";

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

} // namespace

Scanner::Scanner(const std::string &xml, std::size_t begin, std::size_t end)
    : text(xml)
    , at(begin)
    , limit(end)
{
}

bool Scanner::startsWith(const char *prefix) const
{
    const std::size_t length = std::strlen(prefix);
    return limit - at >= length && text.compare(at, length, prefix) == 0;
}

Token Scanner::bad()
{
    Token token = {Token::Bad, at, limit, std::string(), std::string()};
    at = limit;
    return token;
}

Token Scanner::special(const char *opening, const char *closing, Token::Type type)
{
    const std::size_t found = text.find(closing, at + std::strlen(opening));
    const std::size_t end = found + std::strlen(closing);
    if (found == std::string::npos || end > limit)
        return bad();
    Token token = {type, at, end, std::string(), std::string()};
    at = end;
    return token;
}

/** Reads "<name attribute='value'>", "</name>" or "<name/>". */
Token Scanner::tag()
{
    std::size_t end = at + 1;
    char quote = '\0';
    while (end < limit && (quote || text[end] != '>')) {
        const char c = text[end++];
        if (quote)
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '<')
            return bad();
    }
    if (end == limit)
        return bad();
    Token token = {Token::Start, at, end + 1, std::string(), std::string()};
    std::size_t nameBegin = at + 1;
    std::size_t contentEnd = end;
    if (text[nameBegin] == '/') {
        token.type = Token::End;
        ++nameBegin;
    } else if (text[end - 1] == '/') {
        token.type = Token::Empty;
        --contentEnd;
    }
    if (nameBegin > contentEnd)
        return bad();
    const std::size_t nameEnd = static_cast<std::size_t>(
        std::find_if(text.begin() + static_cast<std::ptrdiff_t>(nameBegin),
                     text.begin() + static_cast<std::ptrdiff_t>(contentEnd), isBlank) -
        text.begin());
    token.name = text.substr(nameBegin, nameEnd - nameBegin);
    token.attributes = text.substr(nameEnd, contentEnd - nameEnd);
    token.attributes.erase(token.attributes.find_last_not_of(blanks) + 1);
    if (token.name.empty() || token.name.find_first_of("\"'=/&") != std::string::npos)
        return bad();
    // Written again, without the blanks behind it, the slash would end the element.
    if (!token.attributes.empty() && token.attributes.back() == '/')
        return bad();
    at = end + 1;
    return token;
}

Token Scanner::next()
{
    if (at == limit)
        return {Token::NoMore, at, at, std::string(), std::string()};
    if (text[at] != '<') {
        const std::size_t end = std::min(text.find('<', at), limit);
        Token token = {Token::Text, at, end, std::string(), std::string()};
        at = end;
        return token;
    }
    if (startsWith("<!--"))
        return special("<!--", "-->", Token::Other);
    if (startsWith(cdataBegin))
        return special(cdataBegin, cdataEnd, Token::CData);
    if (startsWith("<?"))
        return special("<?", "?>", Token::Other);
    if (startsWith("<!"))
        return special("<!", ">", Token::Other);
    return tag();
}

std::string cdataContent(const std::string &section)
{
    const std::size_t begin = std::strlen(cdataBegin);
    return section.substr(begin, section.size() - begin - std::strlen(cdataEnd));
}

} // namespace kivctl

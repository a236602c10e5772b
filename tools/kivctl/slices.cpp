// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/slices.h"

#include "kivctl/tokenizer.h"

namespace kivctl
{

bool findElements(const std::string &text, std::size_t begin, std::size_t end,
                  std::vector<Slice> &elements)
{
    Scanner scanner(text, begin, end);
    std::vector<std::string> open;
    elements.clear();
    for (;;) {
        const Token token = scanner.next();
        switch (token.type) {
        case Token::Start:
            if (open.empty())
                elements.push_back(Slice{token.name, token.end, token.end});
            open.push_back(token.name);
            break;
        case Token::Empty:
            if (open.empty())
                elements.push_back(Slice{token.name, token.end, token.end});
            break;
        case Token::End:
            if (open.empty() || open.back() != token.name)
                return false;
            open.pop_back();
            if (open.empty())
                elements.back().end = token.begin;
            break;
        case Token::NoMore:
            return open.empty();
        case Token::Bad:
            return false;
        default:
            break;
        }
    }
}

} // namespace kivctl

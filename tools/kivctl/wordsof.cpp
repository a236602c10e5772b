// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/failure.h"
#include "kivctl/invocation.h"

namespace kivctl
{

std::vector<std::string> wordsOf(const std::string &line)
{
    const std::string meaningful = "\"\\$`";
    std::vector<std::string> words;
    bool inWord = false;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        const bool isBlank = c == ' ' || c == '\t' || c == '\r';
        if (!quote && isBlank) {
            inWord = false;
            continue;
        }
        if (!quote && !inWord && c == '#')
            break;
        if (!inWord)
            words.emplace_back();
        inWord = true;
        if (quote ? c == quote : c == '\'' || c == '"') {
            quote = quote ? '\0' : c;
            continue;
        }
        if (c == '\\' && quote != '\'') {
            if (++i == line.size())
                throw Failure(Usage, "a backslash at the end of the line");
            c = line[i];
            // In double quotes it only stands for itself in front of most characters.
            if (quote && meaningful.find(c) == std::string::npos)
                words.back() += '\\';
        }
        words.back() += c;
    }
    if (quote)
        throw Failure(Usage, "a quote without its end");
    return words;
}

} // namespace kivctl

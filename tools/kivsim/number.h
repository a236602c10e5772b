// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_NUMBER_H
#define KIVSIM_NUMBER_H

#include <string>

namespace kivsim
{

/** Reads a decimal number; @return whether the text is one from smallest to largest. */
inline bool parseNumber(const std::string &text, int smallest, int largest, int &number)
{
    const size_t mostDigits = 9;
    if (text.empty() || text.size() > mostDigits ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    number = std::stoi(text);
    return number >= smallest && number <= largest;
}

} // namespace kivsim

#endif

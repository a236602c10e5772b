// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/texts.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <sys/time.h>

namespace kivctl
{

namespace
{

const struct {
    const char *name;
    char character;
} references[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};

void appendUtf8(std::string &out, unsigned long code)
{
    const auto rest = [code](int shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3f));
    };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xc0 | code >> 6);
        out += rest(0);
    } else if (code < 0x10000) {
        out += static_cast<char>(0xe0 | code >> 12);
        out += {rest(6), rest(0)};
    } else {
        out += static_cast<char>(0xf0 | code >> 18);
        out += {rest(12), rest(6), rest(0)};
    }
}

/** @param name what stands between "&" and ";" */
bool appendReference(std::string &out, const std::string &name)
{
    for (const auto &known : references) {
        if (name == known.name) {
            out += known.character;
            return true;
        }
    }
    const bool isHex = name.size() > 1 && name[1] == 'x';
    const std::string digits = name.size() > 1 ? name.substr(isHex ? 2 : 1) : std::string();
    const char *const allowed = isHex ? "0123456789abcdefABCDEF" : "0123456789";
    const std::size_t mostDigits = 8;
    if (name[0] != '#' || digits.empty() || digits.size() > mostDigits ||
        digits.find_first_not_of(allowed) != std::string::npos)
        return false;
    const unsigned long code = std::stoul(digits, nullptr, isHex ? 16 : 10);
    const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
    if (code == 0 || code > 0x10ffff || isSurrogate)
        return false;
    appendUtf8(out, code);
    return true;
}

unsigned int byteOf(char c)
{
    return static_cast<unsigned char>(c);
}

/**
 * @return how many bytes the control character takes that stands somewhere, 0 if none stands there.
 * Terminals obey those of two bytes, too: U+009B is as good as an escape and a bracket.
 */
std::size_t controlLength(const std::string &text, std::size_t at)
{
    if (byteOf(text[at]) < 0x20 || text[at] == 0x7f)
        return 1;
    const bool isTwo = text[at] == '\xc2' && at + 1 < text.size() && byteOf(text[at + 1]) >= 0x80 &&
                       byteOf(text[at + 1]) < 0xa0;
    return isTwo ? 2 : 0;
}

/**
 * Appends what stands somewhere in a text, a control character as its number.
 * @return how many bytes that are
 */
std::size_t appendHarmless(std::string &out, const std::string &text, std::size_t at)
{
    const std::size_t length = controlLength(text, at);
    if (length == 0) {
        out += text[at];
        return 1;
    }
    char number[8];
    std::snprintf(number, sizeof number, "\\x%02x", byteOf(text[at + length - 1]));
    out += number;
    return length;
}

/** @return the letter that stands for a character behind a backslash, 0 if there is none */
char shortForm(char c)
{
    switch (c) {
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    case '\t':
        return 't';
    case '\f':
        return 'f';
    case '\\':
        return '\\';
    default:
        return '\0';
    }
}

} // namespace

std::string escaped(const std::string &text)
{
    std::string result;
    for (const char c : text) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else if (c == '\r') // which readers would take for the end of a line
            result += "&#13;";
        else
            result += c;
    }
    return result;
}

std::string unescaped(const std::string &markup)
{
    const std::size_t longestName = 10;
    std::string result;
    std::size_t at = 0;
    while (at < markup.size()) {
        const std::size_t ampersand = std::min(markup.find('&', at), markup.size());
        result.append(markup, at, ampersand - at);
        at = ampersand;
        if (at == markup.size())
            break;
        const std::string name = markup.substr(at + 1, longestName + 1);
        const std::size_t semicolon = name.find(';');
        if (semicolon != std::string::npos && semicolon > 0 &&
            appendReference(result, name.substr(0, semicolon)))
            at += semicolon + 2;
        else
            result += markup[at++];
    }
    return result;
}

std::string onOneLine(const std::string &text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const char letter = shortForm(text[at]);
        if (letter) {
            result += {'\\', letter};
            ++at;
        } else {
            at += appendHarmless(result, text, at);
        }
    }
    return result;
}

std::string harmless(const std::string &text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '\n' || text[at] == '\t')
            result += text[at++];
        else
            at += appendHarmless(result, text, at);
    }
    return result;
}

std::uint32_t checksum(const std::string &bytes)
{
    std::uint32_t crc = 0xffffffff;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xedb88320 : crc >> 1;
    }
    return ~crc;
}

std::string timeOfDay()
{
    timeval now;
    ::gettimeofday(&now, nullptr);
    struct tm parts;
    char date[64] = "";
    if (::localtime_r(&now.tv_sec, &parts))
        std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &parts);
    char text[96];
    std::snprintf(text, sizeof text, "%s.%03d", date, static_cast<int>(now.tv_usec / 1000));
    return text;
}

} // namespace kivctl

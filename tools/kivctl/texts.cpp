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
    if (code == 0 || code > 0x10ffff)
        return false;
    appendUtf8(out, code);
    return true;
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

void appendHex(std::string &out, char c)
{
    char text[8];
    std::snprintf(text, sizeof text, "\\x%02x",
                  static_cast<unsigned int>(static_cast<unsigned char>(c)));
    out += text;
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
    for (const char c : text) {
        if (c == '\n')
            result += "\\n";
        else if (c == '\r')
            result += "\\r";
        else if (c == '\t')
            result += "\\t";
        else if (c == '\f')
            result += "\\f";
        else if (c == '\\')
            result += "\\\\";
        else if (isControl(c))
            appendHex(result, c);
        else
            result += c;
    }
    return result;
}

std::string harmless(const std::string &text)
{
    std::string result;
    for (const char c : text) {
        if (isControl(c) && c != '\n' && c != '\t')
            appendHex(result, c);
        else
            result += c;
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

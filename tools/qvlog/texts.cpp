// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/texts.h"

#include <algorithm>

namespace qvlog
{

namespace
{

unsigned char byteOf(char c)
{
    return static_cast<unsigned char>(c);
}

bool isControl(unsigned char c)
{
    return c < 0x20 || (c >= 0x7f && c < 0xa0);
}

bool isPlain(char c)
{
    return byteOf(c) >= 0x20 && byteOf(c) < 0x7f;
}

void appendHex(std::string &out, const char *prefix, unsigned char c)
{
    static const char digits[] = "0123456789abcdef";
    out += prefix;
    out += digits[c >> 4];
    out += digits[c & 15];
}

void appendUtf8(std::string &out, unsigned char c)
{
    out += static_cast<char>(0xc0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3f));
}

} // namespace

void appendReadable(std::string &out, const char *text, std::size_t length, bool utf8)
{
    const char *const end = text + length;
    while (text != end) {
        const char *const odd = std::find_if_not(text, end, isPlain);
        out.append(text, odd);
        text = odd;
        if (text == end)
            return;
        const unsigned char c = byteOf(*text++);
        if (isControl(c))
            appendHex(out, "\\x", c);
        else if (utf8)
            appendUtf8(out, c);
        else
            out += static_cast<char>(c);
    }
}

void appendJson(std::string &out, const std::string &text)
{
    out += '"';
    for (const char character : text) {
        const unsigned char c = byteOf(character);
        if (isControl(c)) {
            appendHex(out, "\\u00", c);
        } else if (c >= 0x80) {
            appendUtf8(out, c);
        } else {
            if (c == '"' || c == '\\')
                out += '\\';
            out += character;
        }
    }
    out += '"';
}

void appendCsv(std::string &out, const std::string &text, bool utf8)
{
    std::string readable;
    appendReadable(readable, text.data(), text.size(), utf8);
    if (readable.find_first_of("\",") == std::string::npos) {
        out += readable;
        return;
    }
    out += '"';
    for (const char c : readable)
        out.append(c == '"' ? 2 : 1, c);
    out += '"';
}

std::string toLatin1(const std::string &text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = byteOf(text[i]);
        if (c < 0x80) {
            result += text[i];
        } else if ((c == 0xc2 || c == 0xc3) && i + 1 < text.size() &&
                   (byteOf(text[i + 1]) & 0xc0) == 0x80) {
            result += static_cast<char>((c & 3) << 6 | (byteOf(text[++i]) & 0x3f));
        } else {
            return text;
        }
    }
    return result;
}

} // namespace qvlog

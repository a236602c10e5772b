// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/xmlinput.h"

#include <algorithm>
#include <cstring>

namespace kivsim
{

namespace
{

MarkupError notWellFormed(const std::string &reason, ptrdiff_t offset)
{
    return MarkupError("not well-formed: " + reason, offset);
}

bool startsWith(const char *begin, const char *end, const char *prefix)
{
    const size_t length = std::strlen(prefix);
    return size_t(end - begin) >= length && std::memcmp(begin, prefix, length) == 0;
}

/** @return the position behind a terminator, or null if there is none */
const char *behind(const char *begin, const char *end, const char *terminator)
{
    const char *const terminatorEnd = terminator + std::strlen(terminator);
    const char *found = std::search(begin, end, terminator, terminatorEnd);
    return found == end ? nullptr : found + (terminatorEnd - terminator);
}

bool isXmlCharacter(unsigned long code)
{
    return code == 9 || code == 10 || code == 13 || (code >= 0x20 && code <= 0xd7ff) ||
           (code >= 0xe000 && code <= 0xfffd) || (code >= 0x10000 && code <= 0x10ffff);
}

/** @param name what stands between "&#" and ";" */
bool isCharacterReference(const std::string &name)
{
    const bool hex = !name.empty() && name[0] == 'x';
    const std::string digits = name.substr(hex ? 1 : 0);
    const char *allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.size() > 8 ||
        digits.find_first_not_of(allowed) != std::string::npos)
        return false;
    return isXmlCharacter(std::stoul(digits, nullptr, hex ? 16 : 10));
}

/** @param text begins with an ampersand */
bool isReference(const char *text, const char *end)
{
    const ptrdiff_t longest = 12;
    const char *const limit = text + std::min(end - text, longest);
    const char *const semicolon = std::find(text, limit, ';');
    if (semicolon == limit)
        return false;
    const std::string name(text + 1, semicolon);
    if (name[0] == '#')
        return isCharacterReference(name.substr(1));
    return name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
}

/** @return the position behind a section that holds no references, or null if it is none */
const char *skipSection(const char *at, const char *begin, const char *end)
{
    static const char *const sections[][2] = {{"<![CDATA[", "]]>"}, {"<!--", "-->"}, {"<?", "?>"}};
    for (const auto &section : sections) {
        if (!startsWith(at, end, section[0]))
            continue;
        const char *next = behind(at + std::strlen(section[0]), end, section[1]);
        if (!next)
            throw notWellFormed("section without end", at - begin);
        return next;
    }
    if (startsWith(at, end, "<!"))
        throw notWellFormed("declarations are not supported", at - begin);
    return nullptr;
}

void checkReferences(const char *begin, const char *end)
{
    const char *at = begin;
    while (at != end) {
        if (*at == '<') {
            const char *next = skipSection(at, begin, end);
            at = next ? next : at + 1;
            continue;
        }
        if (*at == '&' && !isReference(at, end))
            throw notWellFormed("bad reference", at - begin);
        ++at;
    }
}

void checkCharacters(const char *begin, const char *end)
{
    const char *bad = std::find_if(begin, end, [](char c) {
        return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\r' && c != '\n';
    });
    if (bad != end)
        throw protocolError("control character in the message");
}

void checkTopLevel(const pugi::xml_document &document)
{
    int elements = 0;
    for (const pugi::xml_node &node : document.children()) {
        if (node.type() == pugi::node_element)
            ++elements;
        else if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata)
            throw protocolError("text outside of the element");
    }
    if (elements != 1)
        throw protocolError(elements ? "more than one element in the message"
                                     : "no element in the message");
}

bool isBlank(const pugi::xml_node &node)
{
    return node.type() == pugi::node_pcdata && !node.value()[std::strspn(node.value(), " \t\r\n")];
}

/** Removes layout that was written in references, as the parser does with any other. */
void removeLayout(pugi::xml_node element)
{
    pugi::xml_node child = element.first_child();
    while (child) {
        const pugi::xml_node next = child.next_sibling();
        if (isBlank(child) && (next || child.previous_sibling()))
            element.remove_child(child);
        child = next;
    }
}

/** The parser makes line feeds of other ends of lines, but not in processing instructions. */
void removeCarriageReturns(pugi::xml_node instruction)
{
    std::string text = instruction.value();
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    instruction.set_value(text.c_str());
}

/** Visits every node: checks names and depth, drops attributes and layout. */
class Cleaner : public pugi::xml_tree_walker
{
public:
    bool for_each(pugi::xml_node &node) override
    {
        if (node.type() == pugi::node_pi)
            removeCarriageReturns(node);
        if (node.type() != pugi::node_element)
            return true;
        if (depth() >= maxXmlDepth)
            throw protocolError("elements nested deeper than " + std::to_string(maxXmlDepth) +
                                " levels");
        if (!isPlainName(node.name()))
            throw protocolError("element name not supported");
        while (pugi::xml_attribute attribute = node.first_attribute())
            node.remove_attribute(attribute);
        removeLayout(node);
        return true;
    }
};

/** Readers take a carriage return for the end of a line, unless it is written like this. */
const char carriageReturn[] = "&#13;";

class StringWriter : public pugi::xml_writer
{
public:
    void write(const void *data, size_t size) override
    {
        const char *from = static_cast<const char *>(data);
        const char *const end = from + size;
        while (from != end) {
            const char *const found = std::find(from, end, '\r');
            text.append(from, found);
            from = found;
            if (from != end) {
                text += carriageReturn;
                ++from;
            }
        }
    }
    std::string text;
};

/** Counts what is written. */
class SizeWriter : public pugi::xml_writer
{
public:
    void write(const void *data, size_t size) override
    {
        const char *const from = static_cast<const char *>(data);
        const auto returns = size_t(std::count(from, from + size, '\r'));
        bytes += size + returns * (sizeof carriageReturn - 2);
    }
    size_t bytes = 0;
};

void print(const pugi::xml_node &node, pugi::xml_writer &writer)
{
    node.print(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
}

} // namespace

MarkupError::MarkupError(const std::string &reason, ptrdiff_t offset)
    : RequestError("protocol", reason + " at byte " + std::to_string(offset))
    , errorReason(reason)
    , errorOffset(offset)
{
}

std::string escaped(const std::string &text)
{
    std::string result;
    result.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '\r':
            result += carriageReturn;
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string elementWithText(const std::string &name, const std::string &text)
{
    return '<' + name + '>' + escaped(text) + "</" + name + '>';
}

std::string ownText(const pugi::xml_node &element)
{
    std::string text;
    for (const pugi::xml_node &node : element.children()) {
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata)
            text += node.value();
    }
    return text;
}

pugi::xml_node firstElement(const pugi::xml_node &parent)
{
    pugi::xml_node node = parent.first_child();
    while (node && node.type() != pugi::node_element)
        node = node.next_sibling();
    return node;
}

pugi::xml_node nextElement(const pugi::xml_node &element)
{
    pugi::xml_node node = element.next_sibling();
    while (node && node.type() != pugi::node_element)
        node = node.next_sibling();
    return node;
}

std::string markup(const pugi::xml_node &node)
{
    StringWriter writer;
    print(node, writer);
    return writer.text;
}

std::string indentedMarkup(const pugi::xml_document &document)
{
    StringWriter writer;
    document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
    return writer.text;
}

size_t markupSize(const pugi::xml_node &node)
{
    SizeWriter writer;
    print(node, writer);
    return writer.bytes;
}

bool isPlainName(const std::string &name)
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
    static const char others[] = "0123456789-.";
    if (name.empty() || !std::strchr(letters, name[0]))
        return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return c != '\0' && (std::strchr(letters, c) || std::strchr(others, c));
    });
}

void parseXml(pugi::xml_document &document, const char *text, size_t length,
              bool processingInstructions)
{
    checkCharacters(text, text + length);
    checkReferences(text, text + length);
    // Blanks between elements are layout, a blank alone in an element is a value. The fragment
    // flag keeps text outside of the element, so that it can be refused.
    unsigned int flags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_fragment;
    if (processingInstructions)
        flags |= pugi::parse_pi;
    const pugi::xml_parse_result result =
        document.load_buffer(text, length, flags, pugi::encoding_utf8);
    if (!result)
        throw notWellFormed(result.description(), result.offset);
    checkTopLevel(document);
    Cleaner cleaner;
    document.traverse(cleaner);
}

} // namespace kivsim

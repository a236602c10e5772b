// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_XMLINPUT_H
#define KIVSIM_XMLINPUT_H

#include "kivsim/requesterror.h"

#include <pugixml.hpp>

#include <cstddef>
#include <string>

namespace kivsim
{

/** Markup that cannot be used, with the place where that shows. */
class MarkupError : public RequestError
{
public:
    /** @param offset in bytes */
    MarkupError(const std::string &reason, ptrdiff_t offset);

    const std::string &reason() const { return errorReason; }
    ptrdiff_t offset() const { return errorOffset; }

private:
    std::string errorReason;
    ptrdiff_t errorOffset;
};

/** Deepest nesting of elements in a message or in the data file. */
const int maxXmlDepth = 128;

/** @return the text with markup characters escaped */
std::string escaped(const std::string &text);

/** @return the markup of an element that holds a text alone */
std::string elementWithText(const std::string &name, const std::string &text);

/** @return all the text that stands directly in an element */
std::string ownText(const pugi::xml_node &element);

/** @return the first child that is an element, or a null node */
pugi::xml_node firstElement(const pugi::xml_node &parent);
/** @return the next sibling that is an element, or a null node */
pugi::xml_node nextElement(const pugi::xml_node &element);

/** @return the markup of one node with all that is in it, on one line */
std::string markup(const pugi::xml_node &node);

/** @return the markup of a document for people, on many lines */
std::string indentedMarkup(const pugi::xml_document &document);

/** @return the length of the markup on one line */
size_t markupSize(const pugi::xml_node &node);

/** @return whether the name is one that every reader of the protocol copes with */
bool isPlainName(const std::string &name);

/**
 * Parses XML in UTF-8 that holds exactly one element at the top, and drops all attributes.
 *
 * The parser alone is too lenient for a stand-in: what it lets through here the real daemon might
 * not, and what it stores must be readable for every client that gets it.
 * @param processingInstructions whether to keep these
 * @throws RequestError of type protocol
 */
void parseXml(pugi::xml_document &document, const char *text, size_t length,
              bool processingInstructions);

} // namespace kivsim

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/node.h"

#include "kivctl/failure.h"
#include "kivctl/texts.h"
#include "kivctl/tokenizer.h"

#include <algorithm>
#include <cstring>

namespace kivctl
{

namespace
{

/** A text that is nested deeper would exhaust the stack where it is read. */
const std::size_t deepest = 256;

bool isElement(const Node &node)
{
    return node.isElement();
}

/** Takes out the white space between elements. */
void removeLayout(std::vector<Node> &nodes)
{
    if (std::none_of(nodes.begin(), nodes.end(), isElement))
        return;
    // Where there is other text between the elements, white space belongs to it.
    const bool isMixed = std::any_of(nodes.begin(), nodes.end(), [](const Node &node) {
        return !node.isElement() && !node.isBlank();
    });
    if (!isMixed)
        nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                                   [](const Node &node) { return !node.isElement(); }),
                    nodes.end());
}

std::string tagBegin(const Node &node)
{
    return '<' + node.name + node.attributes;
}

void appendCompact(std::string &out, const std::vector<Node> &nodes)
{
    for (const Node &node : nodes) {
        if (!node.isElement()) {
            out += node.markup;
        } else if (node.children.empty()) {
            out += tagBegin(node) + "/>";
        } else {
            out += tagBegin(node) + '>';
            appendCompact(out, node.children);
            out += "</" + node.name + '>';
        }
    }
}

void appendPretty(std::string &out, const std::vector<Node> &nodes, std::size_t level)
{
    for (const Node &node : nodes) {
        const std::string indent(2 * level, ' ');
        // White space would become part of a text.
        const bool hasText = !node.isElement() || node.children.empty() ||
                             !std::all_of(node.children.begin(), node.children.end(), isElement);
        out += indent;
        if (hasText) {
            appendCompact(out, std::vector<Node>(1, node));
        } else {
            out += tagBegin(node) + ">\n";
            appendPretty(out, node.children, level + 1);
            out += indent + "</" + node.name + '>';
        }
        out += '\n';
    }
}

/** Reads nodes up to the end of the element that is open. */
class NodeReader
{
public:
    explicit NodeReader(const std::string &text)
        : xml(text)
        , scanner(text, 0, text.size())
    {
    }

    std::vector<Node> read()
    {
        std::vector<Node> nodes;
        readInto(nodes, std::string(), 0);
        return nodes;
    }

private:
    void readInto(std::vector<Node> &nodes, const std::string &open, std::size_t depth)
    {
        for (;;) {
            const Token token = scanner.next();
            if (token.type == Token::Bad || (token.type == Token::NoMore && !open.empty()) ||
                (token.type == Token::End && token.name != open))
                throw Failure(DaemonError,
                              "the data is not well-formed at byte " + std::to_string(token.begin));
            if (token.type == Token::NoMore || token.type == Token::End)
                break;
            add(nodes, token, depth);
        }
        removeLayout(nodes);
    }

    void add(std::vector<Node> &nodes, const Token &token, std::size_t depth)
    {
        if (token.type == Token::Other)
            return;
        Node node;
        if (token.type == Token::Text || token.type == Token::CData) {
            node.markup = xml.substr(token.begin, token.end - token.begin);
        } else {
            if (depth == deepest)
                throw Failure(DaemonError, "the data is nested deeper than " +
                                               std::to_string(deepest) + " levels");
            node.name = token.name;
            node.attributes = token.attributes;
        }
        nodes.push_back(node);
        if (token.type == Token::Start)
            readInto(nodes.back().children, token.name, depth + 1);
    }

    const std::string &xml;
    Scanner scanner;
};

} // namespace

bool Node::isLeaf() const
{
    return isElement() && std::none_of(children.begin(), children.end(), kivctl::isElement);
}

std::string Node::text() const
{
    if (!isElement())
        return markup.compare(0, 2, "<!") == 0 ? cdataContent(markup) : unescaped(markup);
    std::string all;
    for (const Node &child : children) {
        if (!child.isElement())
            all += child.text();
    }
    return all;
}

bool Node::isBlank() const
{
    return !isElement() && markup.find_first_not_of(" \t\r\n") == std::string::npos;
}

std::vector<Node> parseNodes(const std::string &xml)
{
    return NodeReader(xml).read();
}

std::string compact(const std::vector<Node> &nodes)
{
    std::string out;
    appendCompact(out, nodes);
    return out;
}

std::string pretty(const std::vector<Node> &nodes)
{
    std::string out;
    appendPretty(out, nodes, 0);
    return out;
}

} // namespace kivctl

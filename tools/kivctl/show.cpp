// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/show.h"

#include "kivctl/node.h"
#include "kivctl/paths.h"
#include "kivctl/texts.h"

namespace kivctl
{

namespace
{

void showTexts(const std::vector<Node> &nodes, Output &output)
{
    for (const Node &node : nodes) {
        if (node.isLeaf() || !node.isElement())
            output.line(node.text());
        else
            showTexts(node.children, output);
    }
}

void showLines(const std::vector<Node> &nodes, const std::string &path, Output &output)
{
    for (const Leaf &leaf : leavesOf(nodes, path))
        output.colouredLine(output.coloured(Colour::Name, onOneLine(leaf.first)) + '=' +
                            output.coloured(Colour::Value, onOneLine(leaf.second)));
}

} // namespace

void showData(const std::string &data, const std::string &path, Style style, Output &output)
{
    switch (style) {
    case Style::Xml:
        output.line(data);
        break;
    case Style::Pretty:
        output.line(pretty(parseNodes(data)));
        break;
    case Style::Text:
        showTexts(parseNodes(data), output);
        break;
    case Style::Lines:
        showLines(parseNodes(data), path, output);
        break;
    }
}

} // namespace kivctl

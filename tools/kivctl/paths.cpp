// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/paths.h"

#include "kivctl/failure.h"
#include "kivctl/texts.h"

#include <algorithm>
#include <map>
#include <set>

namespace kivctl
{

namespace
{

const std::size_t mostKeys = 3;

/** @return the path without slashes at its end */
std::string trimmed(const std::string &path)
{
    return path.substr(0, path.find_last_not_of('/') + 1);
}

bool hasBothQuotes(const std::string &value)
{
    return value.find('\'') != std::string::npos && value.find('"') != std::string::npos;
}

/** @return the first so many leaves of an element as keys; nothing if they cannot be that */
std::string leadingKeys(const Node &node, std::size_t count)
{
    std::string keys;
    for (std::size_t i = 0; i < count; ++i) {
        if (i >= node.children.size() || !node.children[i].isLeaf())
            return std::string();
        const std::string value = node.children[i].text();
        if (value.empty() || hasBothQuotes(value) || value.size() > 100)
            return std::string();
        keys += '[' + node.children[i].name + '=' + quoted(value) + ']';
    }
    return keys;
}

/** @return the names of the same leaves */
std::vector<std::string> leadingNames(const Node &node, std::size_t count)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i)
        names.push_back(node.children[i].name);
    return names;
}

typedef std::vector<std::size_t> Places;

/** @return whether so many leading keys tell these nodes apart */
bool distinguish(const std::vector<Node> &nodes, const Places &places, std::size_t count,
                 std::vector<std::string> &result)
{
    std::set<std::string> seen;
    std::vector<std::string> names;
    for (const std::size_t place : places) {
        const std::string keys = leadingKeys(nodes[place], count);
        if (keys.empty() || !seen.insert(keys).second)
            return false;
        if (names.empty())
            names = leadingNames(nodes[place], count);
        // What is a key in one only could be the same in another, further behind.
        if (names != leadingNames(nodes[place], count))
            return false;
        result[place] = keys;
    }
    // A look-up compares the first of a name alone.
    return std::set<std::string>(names.begin(), names.end()).size() == count;
}

/** Reads one attribute after the other. */
void appendAttributes(std::vector<Leaf> &leaves, const std::string &attributes,
                      const std::string &path)
{
    std::size_t at = 0;
    for (;;) {
        const std::size_t name = attributes.find_first_not_of(" \t\r\n", at);
        const std::size_t quote = attributes.find_first_of("\"'", at);
        if (name == std::string::npos || quote == std::string::npos || quote <= name)
            return;
        const std::size_t end = attributes.find(attributes[quote], quote + 1);
        if (end == std::string::npos)
            return;
        const std::string beforeQuote = attributes.substr(name, quote - name);
        const std::string attribute = beforeQuote.substr(0, beforeQuote.find_first_of("= \t\r\n"));
        std::string leafPath = path;
        leafPath.append("/@").append(attribute);
        leaves.push_back(Leaf(leafPath, unescaped(attributes.substr(quote + 1, end - quote - 1))));
        at = end + 1;
    }
}

void appendLeaves(std::vector<Leaf> &leaves, const std::vector<Node> &nodes,
                  const std::string &parent);

void appendElement(std::vector<Leaf> &leaves, const Node &node, const std::string &path)
{
    appendAttributes(leaves, node.attributes, path);
    // In mixed content an element with others in it has a text, too.
    if (node.isLeaf() || !node.text().empty())
        leaves.push_back(Leaf(path, node.text()));
    if (!node.isLeaf())
        appendLeaves(leaves, node.children, path);
}

void appendLeaves(std::vector<Leaf> &leaves, const std::vector<Node> &nodes,
                  const std::string &parent)
{
    const std::vector<std::string> keys = distinctions(nodes);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].isElement())
            appendElement(leaves, nodes[i], parent + '/' + nodes[i].name + keys[i]);
    }
}

/** @return the path without its last step */
std::string parentOf(const std::string &path)
{
    std::size_t slash = std::string::npos;
    char quote = '\0';
    for (std::size_t i = 0; i < path.size(); ++i) {
        const char c = path[i];
        if (quote)
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '/')
            slash = i;
    }
    return slash == std::string::npos ? std::string() : trimmed(path.substr(0, slash));
}

} // namespace

std::string lastStepName(const std::string &path)
{
    const std::string whole = trimmed(path);
    const std::string parent = parentOf(whole);
    const std::size_t begin = whole.find_first_not_of('/', parent.size());
    if (begin == std::string::npos)
        return std::string();
    return whole.substr(begin, whole.find('[', begin) - begin);
}

std::string quoted(const std::string &value)
{
    if (hasBothQuotes(value))
        throw Failure(Usage, "a value with both kinds of quotes cannot stand in a path: " + value);
    const char quote = value.find('\'') == std::string::npos ? '\'' : '"';
    return quote + value + quote;
}

std::vector<std::string> distinctions(const std::vector<Node> &nodes)
{
    std::map<std::string, Places> namesakes;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].isElement())
            namesakes[nodes[i].name].push_back(i);
    }
    std::vector<std::string> result(nodes.size());
    for (const auto &name : namesakes) {
        const Places &places = name.second;
        if (places.size() < 2)
            continue;
        std::size_t count = 1;
        while (count <= mostKeys && !distinguish(nodes, places, count, result))
            ++count;
        for (std::size_t i = 0; count > mostKeys && i < places.size(); ++i)
            result[places[i]] = '[' + std::to_string(i + 1) + ']';
    }
    return result;
}

std::vector<Leaf> leavesOf(const std::vector<Node> &nodes, const std::string &path)
{
    std::vector<Leaf> leaves;
    const std::string whole = trimmed(path);
    const bool isItself = std::all_of(nodes.begin(), nodes.end(), [&whole](const Node &node) {
        return node.isElement() && node.name == lastStepName(whole);
    });
    if (isItself && nodes.size() == 1) {
        // With the keys that the path has, which the element alone does not tell.
        appendElement(leaves, nodes.front(), whole);
    } else {
        appendLeaves(leaves, nodes, isItself ? parentOf(whole) : whole);
    }
    return leaves;
}

std::string leafLine(const Leaf &leaf)
{
    return onOneLine(leaf.first) + '=' + onOneLine(leaf.second);
}

} // namespace kivctl

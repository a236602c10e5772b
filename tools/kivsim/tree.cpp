// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/tree.h"

#include "files/textfile.h"
#include "kivsim/requesterror.h"
#include "kivsim/xmlinput.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace kivsim
{

namespace
{

bool hasKey(const pugi::xml_node &entry, const Key &key)
{
    const pugi::xml_node child = entry.child(key.name.c_str());
    return child && ownText(child) == key.value;
}

/** @return a place in a text for people: line and column, in bytes, both from 1 */
std::string lineAndColumn(const std::string &text, ptrdiff_t offset)
{
    const auto place = text.begin() + std::min(offset, ptrdiff_t(text.size()));
    const auto line = std::count(text.begin(), place, '\n') + 1;
    const auto begin = std::find(std::string::const_reverse_iterator(place), text.rend(), '\n');
    return std::to_string(line) + ':' + std::to_string(place - begin.base() + 1);
}

/** Copies an element with its own text only. */
pugi::xml_node copyShallow(pugi::xml_node target, const pugi::xml_node &element)
{
    pugi::xml_node copy = target.append_child(element.name());
    const std::string text = ownText(element);
    if (!text.empty())
        copy.append_child(pugi::node_pcdata).set_value(text.c_str());
    return copy;
}

} // namespace

std::vector<pugi::xml_node> childrenMatching(const pugi::xml_node &parent, const Step &step)
{
    std::vector<pugi::xml_node> result;
    for (const pugi::xml_node &child : parent.children(step.name.c_str())) {
        if (std::all_of(step.keys.begin(), step.keys.end(),
                        [&child](const Key &key) { return hasKey(child, key); }))
            result.push_back(child);
    }
    return result;
}

Tree::Tree(size_t limit)
    : limit(limit)
    , mostBytes(0)
{
}

bool Tree::load(const std::string &fileName, std::string &error)
{
    std::string text;
    if (!files::readTextFile(fileName, text, error))
        return false;
    pugi::xml_document loaded;
    try {
        parseXml(loaded, text.data(), text.size(), true);
    } catch (const MarkupError &failure) {
        error = "cannot use " + fileName + ':' + lineAndColumn(text, failure.offset()) + ": " +
                failure.reason();
        return false;
    } catch (const RequestError &failure) {
        error = "cannot use " + fileName + ": " + failure.what();
        return false;
    }
    const size_t size = markupSize(loaded);
    if (size > limit) {
        error = "cannot use " + fileName + ": larger than " + std::to_string(limit) + " bytes";
        return false;
    }
    document.reset(loaded);
    mostBytes = size;
    readListKeys();
    return true;
}

bool Tree::save(const std::string &fileName, std::string &error) const
{
    return files::writeTextFile(fileName, indentedMarkup(document), error);
}

void Tree::makeRoom(size_t bytes)
{
    // Deletions are not followed. To measure the tree takes long, so it is done when it decides.
    if (bytes > limit || mostBytes > limit - bytes)
        mostBytes = markupSize(document);
    if (bytes > limit || mostBytes > limit - bytes)
        throw applicationError("the tree would be larger than " + std::to_string(limit) + " bytes");
    mostBytes += bytes;
}

void Tree::readListKeys()
{
    keysOfLists.clear();
    keysOfLists["sys_message"] = {"reporter", "rep_ref"};
    for (const pugi::xml_node &node : document.children()) {
        if (node.type() != pugi::node_pi || std::strcmp(node.name(), "kivsim-keys") != 0)
            continue;
        std::istringstream declarations(node.value());
        std::string declaration;
        while (declarations >> declaration) {
            const size_t equals = declaration.find('=');
            if (equals == std::string::npos)
                continue;
            std::vector<std::string> &keys = keysOfLists[declaration.substr(0, equals)];
            keys.clear();
            std::istringstream names(declaration.substr(equals + 1));
            std::string name;
            while (std::getline(names, name, ','))
                keys.push_back(name);
        }
    }
}

pugi::xml_node Tree::root() const
{
    return document.document_element();
}

std::vector<pugi::xml_node> Tree::find(const Path &path) const
{
    std::vector<pugi::xml_node> found(1, root());
    for (const Step &step : path.steps()) {
        std::vector<pugi::xml_node> next;
        for (const pugi::xml_node &node : found) {
            const std::vector<pugi::xml_node> children = childrenMatching(node, step);
            next.insert(next.end(), children.begin(), children.end());
        }
        found.swap(next);
    }
    return found;
}

std::string Tree::content(const Path &path) const
{
    std::string result;
    if (path.isRoot()) {
        for (const pugi::xml_node &child : root().children())
            result += markup(child);
        return result;
    }
    for (const pugi::xml_node &node : find(path))
        result += markup(node);
    return result;
}

std::string Tree::shallowContent(const Path &path) const
{
    pugi::xml_document shallow;
    for (const pugi::xml_node &node : find(path)) {
        pugi::xml_node top = path.isRoot() ? shallow : copyShallow(shallow, node);
        for (pugi::xml_node child = firstElement(node); child; child = nextElement(child)) {
            pugi::xml_node copy = copyShallow(top, child);
            for (const Key &key : entryKeys(child))
                copy.append_child(key.name.c_str()).text().set(key.value.c_str());
        }
    }
    std::string result;
    for (const pugi::xml_node &node : shallow.children())
        result += markup(node);
    return result;
}

const std::vector<std::string> &Tree::listKeys(const std::string &name) const
{
    static const std::vector<std::string> none;
    const auto found = keysOfLists.find(name);
    return found == keysOfLists.end() ? none : found->second;
}

std::vector<Key> Tree::entryKeys(const pugi::xml_node &element) const
{
    std::vector<Key> keys;
    for (const std::string &name : listKeys(element.name())) {
        const pugi::xml_node child = element.child(name.c_str());
        if (!child)
            return std::vector<Key>();
        keys.push_back(Key{name, ownText(child)});
    }
    return keys;
}

} // namespace kivsim

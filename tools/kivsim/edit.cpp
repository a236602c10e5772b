// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/edit.h"

#include "kivsim/requesterror.h"
#include "kivsim/tree.h"
#include "kivsim/xmlinput.h"

#include <unordered_map>
#include <vector>

namespace kivsim
{

namespace
{

const char *const opNames[] = {"patch", "replace", "delete"};

/** A byte of a path becomes at most this many bytes of markup, as "/a" becomes "<a></a>". */
const size_t mostMarkup = 6;

/**
 * Tells which elements of two parents correspond: list entries by their keys, others by their
 * name and by how many namesakes stand before them. Looking up by text keeps large lists linear.
 */
class Identities
{
public:
    explicit Identities(const Tree &tree)
        : tree(tree)
    {
    }

    std::string next(const pugi::xml_node &element)
    {
        std::string identity = element.name();
        const std::vector<Key> keys = tree.entryKeys(element);
        if (keys.empty())
            return identity + '#' + std::to_string(counts[identity]++);
        for (const Key &key : keys)
            identity += '\0' + key.value;
        return identity;
    }

private:
    const Tree &tree;
    std::unordered_map<std::string, size_t> counts;
};

/** Adds elements behind the last one of the same name, one behind the other. */
class Inserter
{
public:
    explicit Inserter(pugi::xml_node parent)
        : parent(parent)
        , indexed(false)
    {
    }
    pugi::xml_node insert(const pugi::xml_node &element)
    {
        if (!indexed)
            index();
        pugi::xml_node &last = lasts[element.name()];
        last = last ? parent.insert_copy_after(element, last) : parent.append_copy(element);
        return last;
    }

private:
    // A search for each name would take as many steps as there are children, each time.
    void index()
    {
        for (const pugi::xml_node &child : parent.children())
            lasts[child.name()] = child;
        indexed = true;
    }

    pugi::xml_node parent;
    bool indexed;
    std::unordered_map<std::string, pugi::xml_node> lasts; ///< by their names
};

/** Gives an element a text in place of all it holds. */
void setText(pugi::xml_node element, const std::string &text)
{
    element.remove_children();
    if (!text.empty())
        element.append_child(pugi::node_pcdata).set_value(text.c_str());
}

/** @return whether the target had to change */
bool mergeLeaf(pugi::xml_node target, const pugi::xml_node &source)
{
    const std::string text = ownText(source);
    // An empty element says nothing about the children of its counterpart.
    if (firstElement(target) ? text.empty() : text == ownText(target))
        return false;
    setText(target, text);
    return true;
}

/** @return whether the target had to change */
bool merge(const Tree &tree, pugi::xml_node target, const pugi::xml_node &source)
{
    if (!firstElement(source))
        return mergeLeaf(target, source);
    bool changed = false;
    if (!firstElement(target) && !ownText(target).empty()) {
        setText(target, std::string());
        changed = true;
    }
    std::unordered_map<std::string, pugi::xml_node> present;
    Identities targetIdentities(tree);
    for (pugi::xml_node child = firstElement(target); child; child = nextElement(child))
        present.insert(std::make_pair(targetIdentities.next(child), child));

    Inserter inserter(target);
    Identities sourceIdentities(tree);
    for (pugi::xml_node child = firstElement(source); child; child = nextElement(child)) {
        pugi::xml_node &counterpart = present[sourceIdentities.next(child)];
        if (counterpart) {
            changed = merge(tree, counterpart, child) || changed;
        } else {
            counterpart = inserter.insert(child);
            changed = true;
        }
    }
    return changed;
}

/** Gives an element the keys that its path states. */
void setKeys(pugi::xml_node element, const Step &step, bool validate)
{
    for (auto key = step.keys.rbegin(); key != step.keys.rend(); ++key) {
        pugi::xml_node child = element.child(key->name.c_str());
        if (!child)
            child = element.prepend_child(key->name.c_str());
        else if (validate && ownText(child) != key->value)
            throw applicationError("key in the data contradicts the path: " + key->name);
        setText(child, key->value);
    }
}

/** Refuses list entries that lack a key. */
class KeyChecker : public pugi::xml_tree_walker
{
public:
    /** @param topIsKnown whether the path has found the entry that the data is merged into */
    KeyChecker(const Tree &tree, bool topIsKnown)
        : tree(tree)
        , topIsKnown(topIsKnown)
    {
    }
    bool for_each(pugi::xml_node &node) override
    {
        // A leaf may bear the name of some other list's entries.
        if (!firstElement(node) || (topIsKnown && depth() == 0))
            return true;
        for (const std::string &key : tree.listKeys(node.name())) {
            if (!node.child(key.c_str()))
                throw applicationError(std::string("list entry without its key: ") + node.name() +
                                       '/' + key);
        }
        return true;
    }

private:
    const Tree &tree;
    bool topIsKnown;
};

bool dataMatchesPath(const pugi::xml_node &data, const std::string &name)
{
    if (!firstElement(data) || !ownText(data).empty())
        return false;
    for (pugi::xml_node node = firstElement(data); node; node = nextElement(node)) {
        if (name != node.name())
            return false;
    }
    return true;
}

/** Brings the data of an edit into the form of the elements that its path designates. */
void readIncoming(pugi::xml_document &incoming, const Edit &edit)
{
    const Step &last = edit.path.steps().back();
    if (dataMatchesPath(edit.data, last.name)) {
        for (pugi::xml_node node = firstElement(edit.data); node; node = nextElement(node))
            incoming.append_copy(node);
    } else if (edit.validate) {
        throw applicationError("data does not match the last step of the path: " +
                               edit.path.text());
    } else {
        pugi::xml_node element = incoming.append_child(last.name.c_str());
        for (const pugi::xml_node &node : edit.data.children())
            element.append_copy(node);
    }
    for (const pugi::xml_node &node : incoming.children())
        setKeys(node, last, edit.validate);
}

/** Finds the one element that is to hold what the path designates. */
pugi::xml_node findParent(const Tree &tree, const Edit &edit)
{
    const std::vector<pugi::xml_node> parents = tree.find(edit.path.parent());
    if (parents.size() > 1)
        throw applicationError("path is ambiguous: " + edit.path.text());
    if (parents.empty() && edit.validate)
        throw applicationError("no such parent: " + edit.path.parent().text());
    return parents.empty() ? pugi::xml_node() : parents.front();
}

/** Creates whatever is missing on the way to an element. */
pugi::xml_node createPath(const Tree &tree, const Path &path)
{
    pugi::xml_node node = tree.root();
    for (const Step &step : path.steps()) {
        const std::vector<pugi::xml_node> children = childrenMatching(node, step);
        if (children.empty()) {
            node = node.append_child(step.name.c_str());
            setKeys(node, step, false);
        } else {
            node = children.front();
        }
    }
    return node;
}

bool patch(const Tree &tree, pugi::xml_node parent, const std::vector<pugi::xml_node> &designated,
           const pugi::xml_document &incoming, const Step &step)
{
    if (!step.keys.empty() && !designated.empty())
        return merge(tree, designated.front(), incoming.first_child());
    std::unordered_map<std::string, pugi::xml_node> present;
    Identities targetIdentities(tree);
    for (const pugi::xml_node &node : designated)
        present.insert(std::make_pair(targetIdentities.next(node), node));

    bool changed = false;
    Inserter inserter(parent);
    Identities sourceIdentities(tree);
    for (const pugi::xml_node &node : incoming.children()) {
        pugi::xml_node &counterpart = present[sourceIdentities.next(node)];
        if (counterpart) {
            changed = merge(tree, counterpart, node) || changed;
        } else {
            counterpart = inserter.insert(node);
            changed = true;
        }
    }
    return changed;
}

bool replace(pugi::xml_node parent, const std::vector<pugi::xml_node> &designated,
             const pugi::xml_document &incoming, const std::string &content)
{
    std::string oldContent;
    for (const pugi::xml_node &node : designated)
        oldContent += markup(node);
    if (oldContent == content)
        return false;
    Inserter inserter(parent);
    for (const pugi::xml_node &node : incoming.children()) {
        if (designated.empty())
            inserter.insert(node);
        else
            parent.insert_copy_before(node, designated.front());
    }
    for (const pugi::xml_node &node : designated)
        parent.remove_child(node);
    return true;
}

EditResult removeAll(const Tree &tree, const Path &path)
{
    const std::vector<pugi::xml_node> nodes = tree.find(path);
    if (nodes.empty())
        throw applicationError("no such path: " + path.text());
    for (pugi::xml_node node : nodes)
        node.parent().remove_child(node);
    return EditResult{true, std::string()};
}

/** The last chance to refuse an edit: nothing has been changed yet. */
void check(const Tree &tree, const Edit &edit, const std::vector<pugi::xml_node> &designated,
           pugi::xml_document &incoming)
{
    const bool byKeys = !edit.path.steps().back().keys.empty();
    if (byKeys && (designated.size() > 1 || nextElement(incoming.first_child())))
        throw applicationError("path is ambiguous: " + edit.path.text());
    if (edit.validate) {
        KeyChecker checker(tree, edit.op == Edit::Patch && byKeys && !designated.empty());
        incoming.traverse(checker);
    }
}

std::string contentOf(const pugi::xml_document &document)
{
    std::string content;
    for (const pugi::xml_node &node : document.children())
        content += markup(node);
    return content;
}

} // namespace

const char *opName(Edit::Op op)
{
    return opNames[op];
}

Edit::Op opFromName(const std::string &name)
{
    for (Edit::Op op : {Edit::Patch, Edit::Replace, Edit::Delete}) {
        if (name == opNames[op])
            return op;
    }
    throw protocolError("unknown op: " + name);
}

EditResult applyEdit(Tree &tree, const Edit &edit)
{
    if (edit.path.isRoot())
        throw applicationError("the root cannot be edited");
    if (edit.op == Edit::Delete)
        return removeAll(tree, edit.path);
    if (!edit.data)
        throw applicationError(std::string(opName(edit.op)) + " without data");

    pugi::xml_node parent = findParent(tree, edit);
    const Step &last = edit.path.steps().back();
    const std::vector<pugi::xml_node> designated = childrenMatching(parent, last);
    pugi::xml_document incoming;
    readIncoming(incoming, edit);
    check(tree, edit, designated, incoming);

    const std::string content = contentOf(incoming);
    tree.makeRoom(content.size() + mostMarkup * edit.path.text().size());
    if (!parent)
        parent = createPath(tree, edit.path.parent());
    const bool changed = edit.op == Edit::Patch ? patch(tree, parent, designated, incoming, last)
                                                : replace(parent, designated, incoming, content);
    return EditResult{changed, content};
}

} // namespace kivsim

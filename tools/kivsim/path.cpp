// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/path.h"

#include "kivsim/requesterror.h"
#include "kivsim/xmlinput.h"

#include <algorithm>

namespace kivsim
{

namespace
{

/** With this limit and that of a message the tree cannot grow deep enough to exhaust the stack. */
const size_t maxSteps = 64;
/** Each key is looked for among the children of each entry, so that many keep everybody waiting. */
const size_t maxKeys = 16;

/** Reads a path text from left to right. */
class PathReader
{
public:
    explicit PathReader(const std::string &text)
        : text(text)
    {
    }

    std::vector<Step> read()
    {
        if (text.empty())
            fail("empty");
        std::vector<Step> steps;
        while (!atEnd()) {
            if (peek() == '/') {
                ++at;
                continue;
            }
            steps.push_back(readStep());
            if (steps.size() > maxSteps)
                fail("more than " + std::to_string(maxSteps) + " steps");
        }
        return steps;
    }

private:
    Step readStep()
    {
        Step step;
        step.name = readName("/[");
        while (!atEnd() && peek() == '[') {
            step.keys.push_back(readKey());
            if (step.keys.size() > maxKeys)
                fail("more than " + std::to_string(maxKeys) + " keys");
        }
        if (!atEnd() && peek() != '/')
            fail("no slash behind a key");
        return step;
    }

    Key readKey()
    {
        Key key;
        ++at;
        key.name = readName("=/[]");
        expect('=');
        const char quote = atEnd() ? '\0' : peek();
        if (quote != '\'' && quote != '"')
            fail("key value without quotes");
        const size_t end = text.find(quote, at + 1);
        if (end == std::string::npos)
            fail("key value without closing quote");
        key.value = text.substr(at + 1, end - at - 1);
        at = end + 1;
        expect(']');
        return key;
    }

    std::string readName(const char *delimiters)
    {
        const size_t end = std::min(text.find_first_of(delimiters, at), text.size());
        std::string name = text.substr(at, end - at);
        if (!isPlainName(name))
            fail("bad name");
        at = end;
        return name;
    }

    void expect(char c)
    {
        if (atEnd() || peek() != c)
            fail(std::string("no '") + c + "'");
        ++at;
    }

    bool atEnd() const { return at >= text.size(); }
    char peek() const { return text[at]; }

    [[noreturn]] void fail(const std::string &reason) const
    {
        throw protocolError("bad path: " + reason + " at character " + std::to_string(at));
    }

    const std::string &text;
    size_t at = 0;
};

bool hasKey(const Step &step, const Key &key)
{
    return std::any_of(step.keys.begin(), step.keys.end(), [&key](const Key &other) {
        return other.name == key.name && other.value == key.value;
    });
}

bool hasKeysOf(const Step &step, const Step &other)
{
    return std::all_of(other.keys.begin(), other.keys.end(),
                       [&step](const Key &key) { return hasKey(step, key); });
}

} // namespace

Path Path::parse(const std::string &text)
{
    Path path;
    path.allSteps = PathReader(text).read();
    return path;
}

std::string Path::text() const
{
    if (isRoot())
        return "/";
    std::string text;
    for (const Step &step : allSteps) {
        text += '/' + step.name;
        for (const Key &key : step.keys) {
            const char quote = key.value.find('\'') == std::string::npos ? '\'' : '"';
            text += '[' + key.name + '=' + quote + key.value + quote + ']';
        }
    }
    return text;
}

Path Path::parent() const
{
    Path result(*this);
    result.allSteps.pop_back();
    return result;
}

Path Path::joined(const Path &relative) const
{
    Path result(*this);
    result.allSteps.insert(result.allSteps.end(), relative.allSteps.begin(),
                           relative.allSteps.end());
    return result;
}

bool Path::isWithin(const Path &other) const
{
    if (other.allSteps.size() > allSteps.size())
        return false;
    return std::equal(
        other.allSteps.begin(), other.allSteps.end(), allSteps.begin(),
        [](const Step &a, const Step &b) { return a.name == b.name && hasKeysOf(b, a); });
}

bool Path::mayMeet(const Path &other) const
{
    // Keys do not count: an edit may change the very key that another path chooses by.
    const size_t common = std::min(allSteps.size(), other.allSteps.size());
    return std::equal(allSteps.begin(), allSteps.begin() + ptrdiff_t(common),
                      other.allSteps.begin(),
                      [](const Step &a, const Step &b) { return a.name == b.name; });
}

} // namespace kivsim

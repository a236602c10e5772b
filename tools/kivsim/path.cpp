// SPDX-License-Identifier: LGPL-2.1-or-later
#include "path.h"

#include "requesterror.h"
#include "xmltext.h"

#include <algorithm>

namespace kivsim
{

namespace
{

/** With this limit and that of a message the tree cannot grow deep enough to exhaust the stack. */
const std::size_t maxSteps = 64;

/** Reads a path text from left to right. */
class PathReader
{
public:
    explicit PathReader(const std::string &text)
        : m_text(text)
    {
    }

    std::vector<Step> read()
    {
        if (m_text.empty())
            fail("empty");
        std::vector<Step> steps;
        while (!atEnd()) {
            if (peek() == '/') {
                ++m_at;
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
        while (!atEnd() && peek() == '[')
            step.keys.push_back(readKey());
        if (!atEnd() && peek() != '/')
            fail("no slash behind a key");
        return step;
    }

    Key readKey()
    {
        Key key;
        ++m_at;
        key.name = readName("=/[]");
        expect('=');
        const char quote = atEnd() ? '\0' : peek();
        if (quote != '\'' && quote != '"')
            fail("key value without quotes");
        const std::size_t end = m_text.find(quote, m_at + 1);
        if (end == std::string::npos)
            fail("key value without closing quote");
        key.value = m_text.substr(m_at + 1, end - m_at - 1);
        m_at = end + 1;
        expect(']');
        return key;
    }

    std::string readName(const char *delimiters)
    {
        const std::size_t end = std::min(m_text.find_first_of(delimiters, m_at), m_text.size());
        std::string name = m_text.substr(m_at, end - m_at);
        if (!isPlainName(name))
            fail("bad name");
        m_at = end;
        return name;
    }

    void expect(char c)
    {
        if (atEnd() || peek() != c)
            fail(std::string("no '") + c + "'");
        ++m_at;
    }

    bool atEnd() const { return m_at >= m_text.size(); }
    char peek() const { return m_text[m_at]; }

    [[noreturn]] void fail(const std::string &reason) const
    {
        throw protocolError("bad path: " + reason + " at character " + std::to_string(m_at));
    }

    const std::string &m_text;
    std::size_t m_at = 0;
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
    path.m_steps = PathReader(text).read();
    return path;
}

std::string Path::text() const
{
    if (isRoot())
        return "/";
    std::string text;
    for (const Step &step : m_steps) {
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
    result.m_steps.pop_back();
    return result;
}

Path Path::joined(const Path &relative) const
{
    Path result(*this);
    result.m_steps.insert(result.m_steps.end(), relative.m_steps.begin(), relative.m_steps.end());
    return result;
}

bool Path::isWithin(const Path &other) const
{
    if (other.m_steps.size() > m_steps.size())
        return false;
    return std::equal(
        other.m_steps.begin(), other.m_steps.end(), m_steps.begin(),
        [](const Step &a, const Step &b) { return a.name == b.name && hasKeysOf(b, a); });
}

bool Path::mayMeet(const Path &other) const
{
    // Keys do not count: an edit may change the very key that another path chooses by.
    const std::size_t common = std::min(m_steps.size(), other.m_steps.size());
    return std::equal(m_steps.begin(), m_steps.begin() + static_cast<std::ptrdiff_t>(common),
                      other.m_steps.begin(),
                      [](const Step &a, const Step &b) { return a.name == b.name; });
}

} // namespace kivsim

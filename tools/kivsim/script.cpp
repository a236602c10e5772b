// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/script.h"

#include "files/textfile.h"
#include "kivsim/number.h"
#include "kivsim/requesterror.h"
#include "kivsim/xmlinput.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace kivsim
{

namespace
{

const int longestTime = 86400000; // a day
const int largestNumber = 99999999;
const char blanks[] = " \t\r";

/** Takes the first word off a line. */
std::string takeWord(std::string &line)
{
    const size_t begin = std::min(line.find_first_not_of(blanks), line.size());
    const size_t end = std::min(line.find_first_of(blanks, begin), line.size());
    std::string word = line.substr(begin, end - begin);
    const size_t next = std::min(line.find_first_not_of(blanks, end), line.size());
    line.erase(0, next);
    return word;
}

/** Takes a path off a line; in the value of a key there may be blanks. */
std::string takePath(std::string &line)
{
    size_t end = 0;
    char quote = '\0';
    while (end < line.size() && (quote || !std::strchr(blanks, line[end]))) {
        const char c = line[end++];
        if (quote)
            quote = c == quote ? '\0' : quote;
        else if (c == '\'' || c == '"')
            quote = c;
    }
    std::string path = line.substr(0, end);
    line.erase(0, std::min(line.find_first_not_of(blanks, end), line.size()));
    return path;
}

RequestError scriptError(const std::string &reason)
{
    return applicationError(reason);
}

int number(const std::string &word, int smallest, int largest)
{
    const bool isNegative = !word.empty() && word[0] == '-';
    int value = 0;
    if (!parseNumber(word.substr(isNegative ? 1 : 0), 0, largest, value) ||
        (isNegative ? -value : value) < smallest)
        throw scriptError("a number from " + std::to_string(smallest) + " to " +
                          std::to_string(largest) + " is needed, not '" + word + "'");
    return isNegative ? -value : value;
}

/** Reads the lines of a script one by one. */
class ScriptReader
{
public:
    explicit ScriptReader(Script &target)
        : script(target)
    {
    }

    void readLine(std::string line, int lineNumber)
    {
        const std::string word = takeWord(line);
        if (word.empty() || word[0] == '#')
            return;
        line.erase(line.find_last_not_of(blanks) + 1);
        ScriptStep step;
        step.line = lineNumber;
        if (word == "wait")
            readWait(step, line);
        else if (word == "repeat")
            readRepeat(step, line);
        else if (word == "end")
            readEnd(step, line);
        else if (word == "walk")
            readWalk(step, line);
        else
            readChange(step, word, line);
        script.push_back(step);
    }

    void finish() const
    {
        if (!open.empty())
            throw scriptError("repeat without end");
    }

private:
    void readWait(ScriptStep &step, const std::string &rest)
    {
        step.kind = ScriptStep::Wait;
        step.time = number(rest, 1, longestTime);
        hasWaited = true;
    }

    void readRepeat(ScriptStep &step, const std::string &rest)
    {
        step.kind = ScriptStep::Repeat;
        step.times = rest.empty() ? 0 : number(rest, 1, largestNumber);
        open.push_back(script.size());
        hasWaited = false;
    }

    void readEnd(ScriptStep &step, const std::string &rest)
    {
        if (open.empty() || !rest.empty())
            throw scriptError("end without repeat");
        // Nobody would be served any more.
        if (!hasWaited)
            throw scriptError("a loop needs a wait in it");
        step.kind = ScriptStep::End;
        step.other = open.back();
        script[open.back()].other = script.size();
        open.pop_back();
    }

    void readWalk(ScriptStep &step, std::string rest)
    {
        step.kind = ScriptStep::Walk;
        step.path = takePath(rest);
        Path::parse(step.path);
        step.smallest = number(takeWord(rest), -largestNumber, largestNumber);
        step.largest = number(takeWord(rest), step.smallest, largestNumber);
        step.stride = number(rest, 1, largestNumber);
    }

    void readChange(ScriptStep &step, const std::string &word, std::string rest)
    {
        const bool isSet = word == "set";
        step.kind = ScriptStep::Change;
        step.op = isSet ? Edit::Patch : opFromName(word);
        step.path = takePath(rest);
        const Path path = Path::parse(step.path);
        if (path.isRoot())
            throw scriptError("the root cannot be edited");
        if (step.op == Edit::Delete && !rest.empty())
            throw scriptError("delete needs a path and nothing else");
        if (isSet)
            rest = elementWithText(path.steps().back().name, rest);
        step.data = "<data>" + rest + "</data>";
        pugi::xml_document document;
        parseXml(document, step.data.data(), step.data.size(), false);
    }

    Script &script;
    std::vector<size_t> open; ///< the Repeats whose End is still to come
    bool hasWaited = false;
};

} // namespace

bool parseScript(const std::string &text, const std::string &fileName, Script &script,
                 std::string &error)
{
    script.clear();
    ScriptReader reader(script);
    std::istringstream lines(text);
    int lineNumber = 0;
    try {
        std::string line;
        while (std::getline(lines, line))
            reader.readLine(line, ++lineNumber);
        reader.finish();
        return true;
    } catch (const RequestError &failure) {
        error = "cannot use " + fileName + ':' + std::to_string(lineNumber) + ": " + failure.what();
        return false;
    }
}

bool loadScript(const std::string &fileName, Script &script, std::string &error)
{
    std::string text;
    return files::readTextFile(fileName, text, error) && parseScript(text, fileName, script, error);
}

} // namespace kivsim

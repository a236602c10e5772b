// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/scriptrunner.h"

#include "kivsim/requesterror.h"
#include "kivsim/subscriptions.h"
#include "kivsim/tree.h"
#include "kivsim/xmlinput.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kivsim
{

ScriptRunner::ScriptRunner(Tree &tree, Subscriptions &subscriptions, const Script &script,
                           const std::string &fileName)
    : tree(tree)
    , subscriptions(subscriptions)
    , script(script)
    , fileName(fileName)
    , rounds(script.size())
{
    timer.setSingleShot(true);
    connect(&timer, SIGNAL(timeout()), this, SLOT(proceed()));
}

void ScriptRunner::start()
{
    timer.start(0);
}

/** Carries out steps up to the next wait, or to the end of the script. */
void ScriptRunner::proceed()
{
    while (at < script.size()) {
        const ScriptStep &step = script[at];
        if (step.kind == ScriptStep::Wait) {
            ++at;
            timer.start(step.time);
            return;
        }
        carryOut(step);
    }
}

void ScriptRunner::carryOut(const ScriptStep &step)
{
    if (step.kind == ScriptStep::Repeat) {
        const bool isOver = step.times > 0 && rounds[at] == step.times;
        rounds[at] = isOver ? 0 : std::min(rounds[at] + 1, step.times);
        at = isOver ? step.other + 1 : at + 1;
        return;
    }
    at = step.kind == ScriptStep::End ? step.other : at + 1;
    try {
        if (step.kind == ScriptStep::Change)
            change(step);
        else if (step.kind == ScriptStep::Walk)
            walk(step);
    } catch (const RequestError &failure) {
        std::fprintf(stderr, "kivsim: %s:%d: %s\n", fileName.c_str(), step.line, failure.what());
    }
}

void ScriptRunner::change(const ScriptStep &step)
{
    edit(step.op, step.path, step.data);
}

/** Moves a number by a random step, within its limits. */
void ScriptRunner::walk(const ScriptStep &step)
{
    const Path path = Path::parse(step.path);
    const std::vector<pugi::xml_node> elements = tree.find(path);
    if (elements.size() != 1 || path.isRoot())
        throw applicationError("not one element: " + step.path);
    const long smallest = step.smallest;
    const long largest = step.largest;
    const long found = std::strtol(ownText(elements.front()).c_str(), nullptr, 10);
    const long present = std::max(smallest, std::min(largest, found));
    const long next = present - step.stride + random(2 * step.stride + 1);
    const long limited = std::max(smallest, std::min(largest, next));
    edit(Edit::Patch, step.path,
         "<data>" + elementWithText(path.steps().back().name, std::to_string(limited)) + "</data>");
}

void ScriptRunner::edit(Edit::Op op, const std::string &path, const std::string &data)
{
    pugi::xml_document document;
    parseXml(document, data.data(), data.size(), false);
    const Edit edit = {op, Path::parse(path), document.document_element(), true};
    const std::vector<Subscriptions::Candidate> candidates = subscriptions.candidates(edit.path);
    const EditResult result = applyEdit(tree, edit);
    subscriptions.reportChange(candidates, edit, result);
}

int ScriptRunner::random(int limit)
{
    unsigned int number = randomBits();
    if (limit > 1 << 24)
        number = number << 7 ^ randomBits();
    return int(number % unsigned(limit));
}

/** @return 24 of them: those below repeat too soon */
unsigned int ScriptRunner::randomBits()
{
    state = state * 1103515245u + 12345u;
    return state >> 8;
}

} // namespace kivsim

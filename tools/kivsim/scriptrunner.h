// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SCRIPTRUNNER_H
#define KIVSIM_SCRIPTRUNNER_H

#include "kivsim/script.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <string>
#include <vector>

namespace kivsim
{

class Subscriptions;
class Tree;

/** Lets a script change the tree in its time; subscribers are told as of any other edit. */
class ScriptRunner : public QObject
{
    Q_OBJECT
public:
    /** @param fileName for what is said of steps that fail */
    ScriptRunner(Tree &tree, Subscriptions &subscriptions, const Script &script,
                 const std::string &fileName);

    void start();

private Q_SLOTS:
    void proceed();

private:
    void carryOut(const ScriptStep &step);
    void change(const ScriptStep &step);
    void walk(const ScriptStep &step);
    void edit(Edit::Op op, const std::string &path, const std::string &data);
    int random(int limit);
    unsigned int randomBits();

    Tree &tree;
    Subscriptions &subscriptions;
    const Script script;
    const std::string fileName;
    size_t at = 0;           ///< the step that comes next
    std::vector<int> rounds; ///< how often each step that is a Repeat has begun
    unsigned int state = 1;  ///< of the random numbers, which are the same in each run
    QTimer timer;
};

} // namespace kivsim

#endif

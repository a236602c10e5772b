// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/node.h"
#include "kivctl/operations.h"
#include "kivctl/paths.h"
#include "kivctl/show.h"
#include "kivctl/subscriber.h"
#include "kivctl/texts.h"

namespace kivctl
{

namespace
{

std::vector<Subscription> subscriptionsOf(const Invocation &invocation)
{
    std::vector<Subscription> subscriptions;
    for (const std::string &path : invocation.arguments) {
        Subscription subscription;
        subscription.path = path;
        subscription.oneLevel = invocation.oneLevel;
        subscription.match = invocation.match;
        subscription.sendNow = invocation.now;
        if (!invocation.tag.empty())
            subscription.tag = invocation.tag;
        subscriptions.push_back(subscription);
    }
    return subscriptions;
}

void showChange(const Change &change, const Invocation &invocation, Output &output)
{
    const std::string time = invocation.time ? timeOfDay() + ' ' : std::string();
    const std::string begin =
        time + output.coloured(Colour::Mark, output.safe(onOneLine(change.op))) + ' ';
    const std::string path = output.coloured(Colour::Name, output.safe(onOneLine(change.path)));
    if (invocation.style == Style::Lines && !change.data.empty()) {
        for (const Leaf &leaf : leavesOf(parseNodes(change.data), change.path))
            output.colouredLine(begin + leafLine(leaf));
        return;
    }
    if (invocation.style == Style::Xml || change.data.empty()) {
        output.colouredLine(begin + path + (change.data.empty() ? "" : " ") +
                            output.safe(change.data));
        return;
    }
    output.colouredLine(begin + path);
    showData(change.data, change.path, invocation.style, output);
}

/** Reads the element that a wait is for. @return its text, or whether it is not there */
bool readValue(Client &client, const std::string &path, const Deadline &deadline,
               std::string &value)
{
    const Message message = client.ask(getOperation(path), deadline);
    if (message.kind == Message::Error && message.type != "application")
        throwError(message);
    if (message.kind != Message::Data)
        return false;
    const std::vector<Node> nodes = parseNodes(message.data);
    value = nodes.empty() ? std::string() : nodes.front().text();
    return nodes.size() == 1;
}

} // namespace

Status watch(const Invocation &invocation, Context &context)
{
    Subscriber subscriber(context.client, subscriptionsOf(invocation), invocation.timeout);
    const Deadline deadline =
        invocation.seconds >= 0 ? Deadline::in(invocation.seconds) : Deadline::never();
    long seen = 0;
    const bool isComplete = subscriber.run(
        deadline, []() { return true; },
        [&](const Change &change) {
            showChange(change, invocation, context.output);
            return ++seen != invocation.count;
        });
    // What still comes is for nobody.
    context.client.disconnect();
    if (!isComplete && invocation.count > 0)
        throw Failure(Timeout, "timed out, only " + std::to_string(seen) + " of " +
                                   std::to_string(invocation.count) + " changes have come");
    return Done;
}

Status wait(const Invocation &invocation, Context &context)
{
    Invocation one = invocation;
    one.arguments.resize(1);
    const std::string &path = invocation.arguments[0];
    const std::string &wanted = invocation.arguments[1];
    const double patience = Invocation().timeout; // for one answer; -t is for all of it
    Subscriber subscriber(context.client, subscriptionsOf(one), patience);
    const Deadline deadline =
        invocation.hasTimeout ? Deadline::in(invocation.timeout) : Deadline::never();
    std::string value;
    const auto isStillOther = [&]() {
        const Deadline ofAnswer = Deadline::in(patience).orEarlier(deadline);
        return !readValue(context.client, path, ofAnswer, value) || value != wanted;
    };
    const bool isReached =
        subscriber.run(deadline, isStillOther, [&](const Change &) { return isStillOther(); });
    context.client.disconnect();
    if (!isReached)
        throw Failure(Timeout, "timed out, " + path + " is not " + onOneLine(wanted));
    return Done;
}

} // namespace kivctl

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/subscriptions.h"

#include "kivsim/client.h"
#include "kivsim/daemonframes.h"
#include "kivsim/edit.h"
#include "kivsim/requesterror.h"
#include "kivsim/tree.h"

#include <algorithm>

namespace kivsim
{

namespace
{

const ptrdiff_t mostPerClient = 1000;

void tell(const Subscription &subscription, const std::string &op, const Path &changed,
          const std::string &content)
{
    const Change change = {op, subscription.subscribedPath, changed.text(), content};
    subscription.client->send(notification(subscription.ref, change));
}

} // namespace

Subscriptions::Subscriptions(const Tree &tree)
    : tree(tree)
{
}

void Subscriptions::add(const Subscription &subscription)
{
    const ptrdiff_t present = std::count_if(
        subscriptions.begin(), subscriptions.end(),
        [&subscription](const Subscription &s) { return s.client == subscription.client; });
    if (present >= mostPerClient)
        throw applicationError("more than " + std::to_string(mostPerClient) + " subscriptions");
    subscriptions.push_back(subscription);
}

void Subscriptions::removeAllOf(const Client *client)
{
    subscriptions.erase(
        std::remove_if(subscriptions.begin(), subscriptions.end(),
                       [client](const Subscription &s) { return s.client == client; }),
        subscriptions.end());
}

std::string Subscriptions::seenBy(const Subscription &subscription) const
{
    return subscription.singleLevel ? tree.shallowContent(subscription.watched)
                                    : tree.content(subscription.watched);
}

void Subscriptions::reportPresent(const Subscription &subscription) const
{
    tell(subscription, "current", subscription.watched, seenBy(subscription));
}

std::vector<Subscriptions::Candidate> Subscriptions::candidates(const Path &edited) const
{
    std::vector<Candidate> result;
    for (const Subscription &subscription : subscriptions) {
        if (!subscription.watched.mayMeet(edited))
            continue;
        // Whoever watches all that is edited sees every change. Others are told only if what they
        // see has become different.
        const bool contains = !subscription.singleLevel && edited.isWithin(subscription.watched);
        result.push_back(
            Candidate{&subscription, contains, contains ? std::string() : seenBy(subscription)});
    }
    return result;
}

void Subscriptions::reportChange(const std::vector<Candidate> &candidates, const Edit &edit,
                                 const EditResult &result) const
{
    if (!result.changed)
        return;
    for (const Candidate &candidate : candidates) {
        const Subscription &subscription = *candidate.subscription;
        if (candidate.containsEdit) {
            tell(subscription, opName(edit.op), edit.path, result.content);
            continue;
        }
        const std::string after = seenBy(subscription);
        if (after == candidate.before)
            continue;
        const bool ofChild = subscription.singleLevel && edit.path.isWithin(subscription.watched);
        const Path &changed = ofChild ? edit.path : subscription.watched;
        const std::string content = ofChild ? tree.shallowContent(changed) : after;
        tell(subscription, opName(content.empty() ? Edit::Delete : edit.op), changed, content);
    }
}

} // namespace kivsim

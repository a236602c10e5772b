// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/subscriber.h"

#include <poll.h>

namespace kivctl
{

namespace
{

const double retryInterval = 0.5; // seconds

void pause(double seconds)
{
    ::poll(nullptr, 0, static_cast<int>(seconds * 1000));
}

} // namespace

Subscriber::Subscriber(Client &daemon, const std::vector<Subscription> &wanted, double patience)
    : client(daemon)
    , subscriptions(wanted)
    , timeout(patience)
    , wasSubscribed(false)
{
}

bool Subscriber::run(const Deadline &deadline, const StartTaker &startTaker,
                     const ChangeTaker &changeTaker)
{
    started = startTaker;
    changed = changeTaker;
    while (!deadline.isOver()) {
        try {
            if (!subscribe(deadline) || !follow(deadline))
                return true;
        } catch (const Failure &failure) {
            const bool isGone = failure.status() == ConnectionLost ||
                                failure.status() == NoConnection || failure.status() == Timeout;
            if (!isGone || !wasSubscribed)
                throw;
            if (failure.status() == ConnectionLost)
                complain(failure.what() + std::string("; trying again"));
            client.disconnect();
            pause(retryInterval);
        }
    }
    return false;
}

/** Makes all subscriptions. @return whether to go on */
bool Subscriber::subscribe(const Deadline &deadline)
{
    const Deadline patience = Deadline::in(timeout).orEarlier(deadline);
    early.clear();
    for (const Subscription &subscription : subscriptions) {
        const std::string ref = client.sendRequest(subscribeOperation(subscription), patience);
        for (;;) {
            std::string frame;
            if (!client.receive(frame, patience))
                throw Failure(Timeout, "timed out, the daemon does not answer");
            const Message message = parseMessage(frame);
            if (message.kind == Message::Notification) {
                early.push_back(message);
                continue;
            }
            if (message.kind == Message::Error && (message.ref == ref || message.ref.empty()))
                throwError(message);
            if (message.ref == ref)
                break;
        }
    }
    if (wasSubscribed)
        complain("connected again, and subscribed");
    wasSubscribed = true;
    if (!started())
        return false;
    for (const Message &message : early) {
        if (!handOn(message))
            return false;
    }
    return true;
}

/** Hands on notifications until the time is over. @return whether to go on */
bool Subscriber::follow(const Deadline &deadline)
{
    std::string frame;
    while (client.receive(frame, deadline)) {
        const Message message = parseMessage(frame);
        if (message.kind == Message::Notification && !handOn(message))
            return false;
    }
    return true;
}

bool Subscriber::handOn(const Message &message)
{
    for (const Change &change : message.changes) {
        if (!changed(change))
            return false;
    }
    return true;
}

} // namespace kivctl

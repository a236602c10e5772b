// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_SUBSCRIBER_H
#define KIVCTL_SUBSCRIBER_H

#include "kivctl/commands.h"
#include "kivctl/operations.h"

#include <functional>
#include <string>
#include <vector>

namespace kivctl
{

/**
 * Keeps subscriptions up: when the connection is lost it connects again, for as long as it takes,
 * and says so on standard error.
 */
class Subscriber
{
public:
    /** Takes what the daemon tells; @return whether to go on */
    typedef std::function<bool(const Change &)> ChangeTaker;
    /** Called whenever all subscriptions have just been made; @return whether to go on */
    typedef std::function<bool()> StartTaker;

    /** @param timeout in seconds, for each answer */
    Subscriber(Client &client, const std::vector<Subscription> &subscriptions, double timeout);

    /** @return whether it was stopped by a taker, and not by the time */
    bool run(const Deadline &deadline, const StartTaker &started, const ChangeTaker &changed);

private:
    bool subscribe(const Deadline &deadline);
    bool follow(const Deadline &deadline);
    bool handOn(const Message &message);

    Client &client;
    const std::vector<Subscription> subscriptions;
    const double timeout;
    StartTaker started;
    ChangeTaker changed;
    std::vector<Message> early; ///< notifications that came before the last subscription was made
    bool wasSubscribed;
};

} // namespace kivctl

#endif

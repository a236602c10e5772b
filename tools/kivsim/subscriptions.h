// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SUBSCRIPTIONS_H
#define KIVSIM_SUBSCRIPTIONS_H

#include "kivsim/path.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kivsim
{

class Client;
class Tree;
struct Edit;
struct EditResult;

struct Subscription {
    Client *client;
    std::string ref;
    std::string subscribedPath; ///< as the client has written it
    Path watched;               ///< that path, narrowed by a match on the relative path
    bool singleLevel;           ///< whether only the element and its direct children count
};

/** Who is to be told of what. */
class Subscriptions
{
public:
    explicit Subscriptions(const Tree &tree);

    /** @throws RequestError if the client has too many */
    void add(const Subscription &subscription);
    void removeAllOf(const Client *client);

    /** Reports the present state to one subscriber. */
    void reportPresent(const Subscription &subscription) const;

    /** A subscription that an edit may touch, with what it saw before where that matters. */
    struct Candidate {
        const Subscription *subscription;
        bool containsEdit;
        std::string before;
    };
    /** To be called before an edit. */
    std::vector<Candidate> candidates(const Path &edited) const;
    /** To be called after the edit; tells those who see a change. */
    void reportChange(const std::vector<Candidate> &candidates, const Edit &edit,
                      const EditResult &result) const;

private:
    std::string seenBy(const Subscription &subscription) const;

    const Tree &tree;
    std::vector<Subscription> subscriptions;
};

} // namespace kivsim

#endif

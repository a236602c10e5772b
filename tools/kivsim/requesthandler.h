// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_REQUESTHANDLER_H
#define KIVSIM_REQUESTHANDLER_H

#include <pugixml.hpp>

#include <cstddef>
#include <functional>
#include <string>

namespace kivsim
{

class Client;
class Refusals;
class Subscriptions;
class Tree;

/** Reads the frames of clients, does what they ask for and answers. */
class RequestHandler
{
public:
    /** @param restart is given the milliseconds to stay away when a client asks for a restart */
    RequestHandler(Tree &tree, Subscriptions &subscriptions, const Refusals &refusals,
                   const std::function<void(int)> &restart);

    /** Handles one frame without its separator. */
    void handleFrame(Client &client, const char *frame, size_t length);
    /** Handles a frame beyond the limit, of which only the beginning is known. */
    void refuseLongFrame(Client &client, const char *frame, size_t length, size_t limit);

private:
    void handleMessage(Client &client, const pugi::xml_node &message, std::string &ref);
    void handleOperation(Client &client, const std::string &ref, const pugi::xml_node &operation);
    void get(Client &client, const std::string &ref, const pugi::xml_node &operation);
    void edit(Client &client, const std::string &ref, const pugi::xml_node &operation);
    void subscribe(Client &client, const std::string &ref, const pugi::xml_node &operation);
    void kivdDebug(Client &client, const std::string &ref, const pugi::xml_node &operation);
    void misbehave(Client &client, const std::string &ref, const pugi::xml_node &operation);

    Tree &tree;
    Subscriptions &subscriptions;
    const Refusals &refusals;
    std::function<void(int)> restart;
};

} // namespace kivsim

#endif

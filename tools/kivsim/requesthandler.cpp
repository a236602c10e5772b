// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/requesthandler.h"

#include "kivsim/client.h"
#include "kivsim/daemonframes.h"
#include "kivsim/edit.h"
#include "kivsim/misbehaviour.h"
#include "kivsim/refusals.h"
#include "kivsim/requesterror.h"
#include "kivsim/subscriptions.h"
#include "kivsim/tree.h"
#include "kivsim/xmlinput.h"

#include <algorithm>
#include <cstring>

namespace kivsim
{

namespace
{

const size_t longestRef = 4096;

/** @return the text of a child, or throws what is to be said if there is none */
std::string requiredText(const pugi::xml_node &parent, const char *name)
{
    const pugi::xml_node child = parent.child(name);
    if (!child)
        throw protocolError(std::string(parent.name()) + " without " + name);
    return ownText(child);
}

/** Reads a switch; nothing at all means off. */
bool readSwitch(const pugi::xml_node &element)
{
    const std::string text = ownText(element);
    if (text == "1" || text == "true" || text == "yes")
        return true;
    if (text.empty() || text == "0" || text == "false" || text == "no")
        return false;
    throw protocolError(std::string("bad ") + element.name() + ": " + text);
}

/**
 * Checks what stands before the message in a frame.
 * @return whether the frame is complete without a message
 */
bool checkHeader(const std::string &header)
{
    static const char encoding[] = "encode:";
    bool hasEncoding = false;
    size_t begin = 0;
    while (begin < header.size()) {
        const size_t end = std::min(header.find('\n', begin), header.size());
        std::string line = header.substr(begin, end - begin);
        line.erase(line.find_last_not_of("\r \t") + 1);
        begin = end + 1;
        if (line.empty())
            continue;
        if (line.compare(0, std::strlen(encoding), encoding) != 0)
            throw protocolError("header line not understood");
        if (line != "encode:xml")
            throw protocolError("encoding not supported");
        hasEncoding = true;
    }
    return hasEncoding;
}

/** @return the reference of a frame that cannot be parsed, as far as it can be made out */
std::string guessRef(const char *frame, size_t length)
{
    static const char begin[] = "<ref>";
    static const char end[] = "</ref>";
    const char *const frameEnd = frame + length;
    const char *from = std::search(frame, frameEnd, begin, begin + std::strlen(begin));
    const char *limit = frame + std::min(length, longestRef);
    const char *to = std::search(std::min(from, limit), limit, end, end + std::strlen(end));
    if (from >= limit || to == limit)
        return std::string();
    to += std::strlen(end);
    try {
        pugi::xml_document document;
        parseXml(document, from, size_t(to - from), false);
        return ownText(document.document_element());
    } catch (const RequestError &) {
        return std::string();
    }
}

} // namespace

RequestHandler::RequestHandler(Tree &tree, Subscriptions &subscriptions, const Refusals &refusals,
                               const std::function<void(int)> &restart)
    : tree(tree)
    , subscriptions(subscriptions)
    , refusals(refusals)
    , restart(restart)
{
}

void RequestHandler::handleFrame(Client &client, const char *frame, size_t length)
{
    // Two separators in a row only make sure that the next frame starts afresh.
    if (length == 0)
        return;
    std::string ref;
    bool parsed = false;
    try {
        const char *const end = frame + length;
        const char *const body = std::find(frame, end, '<');
        const bool complete = checkHeader(std::string(frame, body));
        if (body == end) {
            if (!complete)
                throw protocolError("frame without a message");
            return;
        }
        pugi::xml_document document;
        parseXml(document, body, size_t(end - body), false);
        parsed = true;
        handleMessage(client, document.document_element(), ref);
    } catch (const RequestError &error) {
        if (!parsed)
            ref = guessRef(frame, length);
        client.send(errorReply(ref, error.type(), error.what()));
    }
}

void RequestHandler::refuseLongFrame(Client &client, const char *frame, size_t length, size_t limit)
{
    client.send(errorReply(guessRef(frame, length), "protocol",
                           "frame longer than " + std::to_string(limit) + " bytes"));
}

void RequestHandler::handleMessage(Client &client, const pugi::xml_node &message, std::string &ref)
{
    const bool isBare = std::strcmp(message.name(), "rpc") == 0;
    if (!isBare) {
        if (std::strcmp(message.name(), "request") != 0)
            throw protocolError(std::string("unknown message: ") + message.name());
        const std::string text = requiredText(message, "ref");
        if (text.size() > longestRef)
            throw protocolError("ref longer than " + std::to_string(longestRef) + " bytes");
        ref = text;
        requiredText(message, "rpc");
    }
    const pugi::xml_node rpc = isBare ? message : message.child("rpc");
    const pugi::xml_node operation = firstElement(rpc);
    if (!operation)
        throw protocolError("rpc without operation");
    if (nextElement(operation))
        throw protocolError("rpc with more than one operation");
    const std::string name = operation.name();
    if (isBare && name != "kivd_debug" && name != "kivsim")
        throw protocolError("request without ref");
    handleOperation(client, ref, operation);
}

void RequestHandler::handleOperation(Client &client, const std::string &ref,
                                     const pugi::xml_node &operation)
{
    const std::string name = operation.name();
    if (name == "get")
        get(client, ref, operation);
    else if (name == "edit")
        edit(client, ref, operation);
    else if (name == "subscribe")
        subscribe(client, ref, operation);
    else if (name == "kivd_debug")
        kivdDebug(client, ref, operation);
    else if (name == "kivsim")
        misbehave(client, ref, operation);
    else
        throw protocolError("unknown operation: " + name);
}

void RequestHandler::get(Client &client, const std::string &ref, const pugi::xml_node &operation)
{
    const std::string text = requiredText(operation, "path");
    const Path path = Path::parse(text);
    refusals.check(path);
    const std::string content = tree.content(path);
    if (content.empty() && !path.isRoot())
        throw applicationError("no such path: " + path.text());
    client.send(getReply(ref, text, content));
}

void RequestHandler::edit(Client &client, const std::string &ref, const pugi::xml_node &operation)
{
    const Edit::Op op = opFromName(requiredText(operation, "op"));
    const Path path = Path::parse(requiredText(operation, "path"));
    refusals.check(path);
    const Edit edit = {op, path, operation.child("data"), client.validates()};
    const std::vector<Subscriptions::Candidate> candidates = subscriptions.candidates(path);
    const EditResult result = applyEdit(tree, edit);
    client.send(editReply(ref));
    subscriptions.reportChange(candidates, edit, result);
}

void RequestHandler::subscribe(Client &client, const std::string &ref,
                               const pugi::xml_node &operation)
{
    // The name of this element is the client's own word for the kind of subscription.
    const pugi::xml_node kind = firstElement(operation);
    if (!kind)
        throw protocolError("subscribe without a kind");
    const bool singleLevel = !kind.child("path") && kind.child("ypath");
    const std::string text = requiredText(kind, singleLevel ? "ypath" : "path");
    Subscription subscription = {&client, ref, text, Path::parse(text), singleLevel};
    refusals.check(subscription.watched);
    const std::string match = singleLevel ? std::string() : ownText(kind.child("rpath_match"));
    if (!match.empty()) {
        const Path narrowed = Path::parse(match);
        // A match may be written as the relative path or as the whole one.
        subscription.watched = narrowed.isWithin(subscription.watched)
                                   ? narrowed
                                   : subscription.watched.joined(narrowed);
    }
    const bool sendNow = readSwitch(kind.child("send_now"));
    subscriptions.add(subscription);
    client.send(sessionInfoReply(ref));
    if (sendNow)
        subscriptions.reportPresent(subscription);
}

void RequestHandler::kivdDebug(Client &client, const std::string &ref,
                               const pugi::xml_node &operation)
{
    requiredText(operation, "validate_off");
    client.setValidates(!readSwitch(operation.child("validate_off")));
    client.send(sessionInfoReply(ref));
}

void RequestHandler::misbehave(Client &client, const std::string &ref,
                               const pugi::xml_node &operation)
{
    MisbehaviourOrder order;
    std::string error;
    if (!parseMisbehaviour(requiredText(operation, "misbehave"), order, error))
        throw protocolError(error);
    if (!order.restart)
        client.setMisbehaviour(order.misbehaviour);
    // The client must be able to rely on this answer.
    client.sendPlainly(sessionInfoReply(ref));
    if (order.restart)
        restart(order.restartDelay);
}

} // namespace kivsim

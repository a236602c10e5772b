// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/message.h"

#include "kivctl/slices.h"
#include "kivctl/texts.h"

namespace kivctl
{

namespace
{

/** The elements in one part of a frame. */
class Elements
{
public:
    Elements(const std::string &xml, std::size_t begin, std::size_t end)
        : text(xml)
    {
        good = findElements(xml, begin, end, elements);
    }
    Elements(const std::string &xml, const Slice &parent)
        : Elements(xml, parent.begin, parent.end)
    {
    }

    bool isGood() const { return good; }
    const std::vector<Slice> &all() const { return elements; }
    const Slice *find(const char *name) const
    {
        for (const Slice &element : elements) {
            if (element.name == name)
                return &element;
        }
        return nullptr;
    }
    /** What is in an element, as it came; empty if there is none of that name. */
    std::string content(const char *name) const
    {
        const Slice *const element = find(name);
        return element ? text.substr(element->begin, element->end - element->begin) : std::string();
    }
    std::string value(const char *name) const { return unescaped(content(name)); }

private:
    const std::string &text;
    std::vector<Slice> elements;
    bool good;
};

void readOut(const std::string &xml, const Slice &out, Message &message)
{
    const Elements elements(xml, out);
    if (const Slice *const error = elements.find("error")) {
        const Elements parts(xml, *error);
        message.kind = Message::Error;
        message.type = parts.value("type");
        message.text = parts.value("message");
    } else if (const Slice *const get = elements.find("get")) {
        const Elements parts(xml, *get);
        message.kind = Message::Data;
        message.data = parts.content("data");
        message.crc = parts.value("crc32");
    } else if (!elements.all().empty()) {
        const Elements parts(xml, elements.all().front());
        message.kind = parts.find("ok") ? Message::Ok : Message::Unknown;
    }
}

void readEvent(const std::string &xml, const Slice &event, Message &message)
{
    const Elements changes(xml, event);
    for (const Slice &change : changes.all()) {
        if (change.name != "change")
            continue;
        const Elements parts(xml, change);
        message.changes.push_back(Change{parts.value("op"), parts.value("spath"),
                                         parts.value("rpath"), parts.content("data"),
                                         parts.value("crc32")});
    }
}

} // namespace

Message parseMessage(const std::string &frame)
{
    Message message;
    const std::size_t body = frame.find('<');
    if (body == std::string::npos)
        return message;
    const Elements top(frame, body, frame.size());
    if (!top.isGood() || top.all().size() != 1)
        return message;
    const Slice &element = top.all().front();
    const Elements parts(frame, element);
    message.ref = parts.value("ref");
    if (element.name == "reply") {
        if (const Slice *const out = parts.find("out"))
            readOut(frame, *out, message);
    } else if (element.name == "notify") {
        message.kind = Message::Notification;
        for (const Slice &event : parts.all()) {
            if (event.name == "event")
                readEvent(frame, event, message);
        }
    }
    return message;
}

} // namespace kivctl

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/notifications.h"

#include "common/debugline.h"
#include "kiv/children.h"
#include "kiv/kivlog.h"
#include "kiv/markup.h"
#include "kiv/texts.h"

using namespace qvcommon;

// Each of these functions reads one element from behind its start tag, and tells whether it came to
// the element's end tag.

namespace
{

/** Tells on Qt's debug output why a change could not be read to its end. */
void reportOpenChange(const TokenReader &xml, const char *reason, const char *label = nullptr)
{
    DebugLine line;
    line << "handleNotifyEventChange" << reason;
    if (label)
        line << label;
    line << xml.name().toString();
}

/** Tells why a change has ended without its end tag, unless what follows is wrong in itself. */
void reportEndOfChange(const TokenReader &xml, TokenReader::TokenType lastToken)
{
    if (lastToken == QXmlStreamReader::EndElement) {
        reportOpenChange(xml, "Incomplete notify kiv message : xml.name");
    } else if (lastToken == QXmlStreamReader::NoToken || isCutOff(xml)) {
        if (xml.atEnd())
            reportOpenChange(xml, "xml.atEnd", "xml.name");
        if (xml.hasError())
            reportOpenChange(xml, "xml.hasError", "xml.name");
    }
}

bool readChange(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    QString op;
    QString spath;
    QString rpath;
    QString data;
    Children children(xml, "change", "event", "notify");
    while (children.next()) {
        const XmlText name = xml.name();
        if (is(name, "op"))
            readFollowingText(xml, op);
        else if (is(name, "spath"))
            readFollowingText(xml, spath);
        else if (is(name, "rpath"))
            readFollowingText(xml, rpath);
        else if (is(name, "crc32"))
            readFollowingText(xml, KivInterface::crc32);
        else if (is(name, "data") && !appendData(data, xml))
            return false;
    }
    if (!children.closed()) {
        reportEndOfChange(xml, children.lastToken());
        return false;
    }
    if (!isSimpleText(op) || !isSimpleText(rpath) || !isSimpleText(spath))
        return false;
    emitter.notify(ref, op, rpath, spath, data);
    return true;
}

bool readEvent(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    Children children(xml, "event");
    while (children.next()) {
        if (is(xml.name(), "change") && !readChange(emitter, xml, ref))
            return false;
    }
    const TokenReader::TokenType last = children.lastToken();
    if (last == QXmlStreamReader::EndDocument ||
        (last == QXmlStreamReader::Invalid && isCutOff(xml)))
        logEndOfDocument();
    return children.closed();
}

} // namespace

bool qvcommon::readNotification(const SignalEmitter &emitter, TokenReader &xml)
{
    QString ref;
    Children children(xml, "notify");
    while (children.next()) {
        const XmlText name = xml.name();
        if (is(name, "ref"))
            readFollowingText(xml, ref);
        else if (is(name, "event") && isSimpleText(ref) && !readEvent(emitter, xml, ref))
            return false;
    }
    return children.closed();
}

bool KivInterface::handleNotify(QXmlStreamReader &xml)
{
    TokenReader tokens(xml);
    return readNotification(SignalEmitter(*this), tokens);
}

bool KivInterface::handleNotifyEvent(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readEvent(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleNotifyEventChange(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readChange(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleNotifyEventChangeData(QXmlStreamReader &xml, QString &data)
{
    TokenReader tokens(xml);
    return appendData(data, tokens);
}

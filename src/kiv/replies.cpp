// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/replies.h"

#include "kiv/children.h"
#include "kiv/kivlog.h"
#include "kiv/markup.h"
#include "kiv/texts.h"

using namespace qvcommon;

// Each of these functions reads one element from behind its start tag, and tells whether it came to
// the element's end tag.

namespace
{

/** What an edit and a session_info have in them. */
bool readOks(const SignalEmitter &emitter, TokenReader &xml, const char *element,
             const QString &ref)
{
    Children children(xml, element);
    while (children.next()) {
        if (is(xml.name(), "ok"))
            emitter.ok(ref);
    }
    return children.closed();
}

bool readEdit(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    return readOks(emitter, xml, "edit", ref);
}

bool readSessionInfo(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    return readOks(emitter, xml, "session_info", ref);
}

bool readError(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    QString type;
    QString message;
    Children children(xml, "error");
    while (children.next()) {
        const XmlText name = xml.name();
        if (is(name, "type"))
            readFollowingText(xml, type);
        else if (is(name, "message"))
            readFollowingText(xml, message);
    }
    if (!children.closed() || !isSimpleText(type) || !isSimpleText(message) || !isSimpleText(ref))
        return false;
    emitter.error(ref, type, message);
    return true;
}

bool readGetData(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    if (isFinished(xml))
        return false;
    QString data;
    if (appendData(data, xml)) {
        emitter.get(ref, data);
        return true;
    }
    if (xml.tokenType() == QXmlStreamReader::EndDocument || isCutOff(xml))
        logEndOfDocument();
    return false;
}

bool readGet(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    Children children(xml, "get");
    while (children.next()) {
        const XmlText name = xml.name();
        if (is(name, "path"))
            xml.readNext(); // the path is not used
        else if (is(name, "crc32"))
            readFollowingText(xml, KivInterface::crc32);
        else if (is(name, "data") && !readGetData(emitter, xml, ref))
            return false;
    }
    return children.closed();
}

typedef bool (*ReadAnswer)(const SignalEmitter &, TokenReader &, const QString &);

/** What reads an element of that name inside an out element, or null. */
ReadAnswer answerReader(const XmlText &name)
{
    return is(name, "edit")           ? readEdit
           : is(name, "get")          ? readGet
           : is(name, "error")        ? readError
           : is(name, "session_info") ? readSessionInfo
                                      : nullptr;
}

bool readOut(const SignalEmitter &emitter, TokenReader &xml, const QString &ref)
{
    Children children(xml, "out");
    while (children.next()) {
        const ReadAnswer read = answerReader(xml.name());
        if (read && isSimpleText(ref) && !read(emitter, xml, ref))
            return false;
    }
    return children.closed();
}

} // namespace

bool qvcommon::readReply(const SignalEmitter &emitter, TokenReader &xml)
{
    QString ref;
    Children children(xml, "reply");
    while (children.next()) {
        const XmlText name = xml.name();
        if (is(name, "ref"))
            readFollowingText(xml, ref);
        else if (is(name, "out") && !readOut(emitter, xml, ref))
            return false;
    }
    return children.closed();
}

bool KivInterface::handleReply(QXmlStreamReader &xml)
{
    TokenReader tokens(xml);
    return readReply(SignalEmitter(*this), tokens);
}

bool KivInterface::handleReplyOut(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readOut(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleReplyOutGet(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readGet(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleReplyOutGetData(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readGetData(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleReplyOutEdit(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readEdit(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleReplyOutSessionInfo(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readSessionInfo(SignalEmitter(*this), tokens, ref);
}

bool KivInterface::handleReplyOutError(QXmlStreamReader &xml, QString &ref)
{
    TokenReader tokens(xml);
    return readError(SignalEmitter(*this), tokens, ref);
}

void KivInterface::removeXmlEscapeCharacters(QString &text)
{
    removeSpecialCharacters(text);
}

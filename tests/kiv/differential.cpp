// SPDX-License-Identifier: LGPL-2.1-or-later
#include "differential.h"

#include "kiv/entities.h"
#include "plainhandlers.h"
#include "plainlookups.h"
#include "plainreceiver.h"
#include "qtcompat/xml.h"
#include "tokenof.h"

#include <QtCore/QBuffer>

#include <memory>

namespace
{

/** What a text holds that nobody has touched. */
const char untouched[] = "(untouched)";

/** Says through the recorder what the client would say. */
class SpeakingHandlers : public PlainHandlers
{
public:
    SpeakingHandlers(Recorder &recorder, bool debug)
        : PlainHandlers(debug)
        , recorder(recorder)
    {
        crc32 = QLatin1String(untouched);
    }

private:
    void signal(const char *name, const QStringList &arguments)
    {
        recorder.signal(name, arguments);
    }
    void log(const char *function, const QString &message)
    {
        const int deviceGroup = 8;
        const int debugLevel = 1;
        Trace::log(deviceGroup, debugLevel, QLatin1String("KivInterface"), QLatin1String(function),
                   message);
    }
    void debugOutput(const QString &line) { recorder.debugOutput(line); }

    Recorder &recorder;
};

/** A reader as an application may have one. */
class CallersReader
{
public:
    CallersReader(const QString &text, Delivery delivery)
    {
        const int half = int(text.length()) / 2;
        switch (delivery) {
        case AsText:
            xml.addData(text);
            break;
        case AsBytes:
            xml.addData(text.toUtf8());
            break;
        case FromDevice:
            buffer.setData(text.toUtf8());
            buffer.open(QIODevice::ReadOnly);
            xml.setDevice(&buffer);
            break;
        case InTwoPieces:
            xml.addData(text.left(half));
            rest = text.mid(half);
            break;
        }
    }

    /** Adds what has not been there yet. */
    void complete()
    {
        if (!rest.isEmpty())
            xml.addData(rest);
    }

private:
    QBuffer buffer;
    QString rest;

public:
    QXmlStreamReader xml;
};

QByteArray difference(const char *what, const QString &actual, const QString &expected)
{
    const int longest = 400;
    if (actual == expected)
        return QByteArray();
    int same = 0; // characters at the front
    while (same < int(actual.length()) && same < int(expected.length()) &&
           actual.at(same) == expected.at(same))
        ++same;
    const int from = same > longest / 2 ? same - longest / 2 : 0;
    return QByteArray(what) + ":\n    " + shown(actual.mid(from, longest)) +
           "\n    instead of\n    " + shown(expected.mid(from, longest)) + "\n";
}

QString joined(const QStringList &record)
{
    return record.join(QLatin1String("\n"));
}

QString outcome(bool result, const QString &text)
{
    return QLatin1String(result ? "true " : "false ") + quoted(text);
}

/** A record without what the diagnostic output says of reads and unfinished frames. */
QStringList withoutArrivals(const QStringList &record)
{
    const char *const beginnings[] = {"debug: Rcv ", "debug: Incomplete Rcv ",
                                      "debug: Last 20 bytes", "debug: Prev + new pkg"};
    QStringList rest;
    for (const QString &line : record) {
        bool isArrival = false;
        for (const char *const beginning : beginnings)
            isArrival = isArrival || line.startsWith(QLatin1String(beginning));
        if (!isArrival)
            rest << line;
    }
    return rest;
}

/** A difference with the name of what differs, if there is one. */
QByteArray named(const char *name, const QByteArray &difference)
{
    return difference.isEmpty() ? difference : QByteArray(name) + ": " + difference;
}

/** Whether the library refuses a text in place of Qt's reader, which then is no measure of it. */
bool isRefused(const QString &xml)
{
    return !qvcommon::limitsEntities() && qvcommon::hasGrowingEntities(xml);
}

/** A handler that works on the caller's reader, with the reference or the data that it takes. */
struct Handler {
    const char *name;
    bool (*client)(KivInterface &, QXmlStreamReader &, QString &);
    bool (*plain)(PlainHandlers &, QXmlStreamReader &, QString &);
};

typedef KivInterface K;
typedef PlainHandlers P;
typedef QXmlStreamReader X;
typedef QString S;

const Handler handlers[] = {
    {"handleReply", [](K &k, X &x, S &) { return k.handleReply(x); },
     [](P &p, X &x, S &) { return p.reply(x); }},
    {"handleReplyOut", [](K &k, X &x, S &s) { return k.handleReplyOut(x, s); },
     [](P &p, X &x, S &s) { return p.replyOut(x, s); }},
    {"handleReplyOutGet", [](K &k, X &x, S &s) { return k.handleReplyOutGet(x, s); },
     [](P &p, X &x, S &s) { return p.get(x, s); }},
    {"handleReplyOutGetData", [](K &k, X &x, S &s) { return k.handleReplyOutGetData(x, s); },
     [](P &p, X &x, S &s) { return p.getData(x, s); }},
    {"handleReplyOutEdit", [](K &k, X &x, S &s) { return k.handleReplyOutEdit(x, s); },
     [](P &p, X &x, S &s) { return p.okInside(x, s, "edit"); }},
    {"handleReplyOutSessionInfo",
     [](K &k, X &x, S &s) { return k.handleReplyOutSessionInfo(x, s); },
     [](P &p, X &x, S &s) { return p.okInside(x, s, "session_info"); }},
    {"handleReplyOutError", [](K &k, X &x, S &s) { return k.handleReplyOutError(x, s); },
     [](P &p, X &x, S &s) { return p.error(x, s); }},
    {"handleRequest", [](K &k, X &x, S &) { return k.handleRequest(x); },
     [](P &p, X &, S &) { return p.request(); }},
    {"handleNotify", [](K &k, X &x, S &) { return k.handleNotify(x); },
     [](P &p, X &x, S &) { return p.notify(x); }},
    {"handleNotifyEvent", [](K &k, X &x, S &s) { return k.handleNotifyEvent(x, s); },
     [](P &p, X &x, S &s) { return p.event(x, s); }},
    {"handleNotifyEventChange", [](K &k, X &x, S &s) { return k.handleNotifyEventChange(x, s); },
     [](P &p, X &x, S &s) { return p.change(x, s); }},
    {"handleNotifyEventChangeData",
     [](K &k, X &x, S &s) { return k.handleNotifyEventChangeData(x, s); },
     [](P &p, X &x, S &s) { return p.changeData(x, s); }},
};

const int handlerCount = int(sizeof handlers / sizeof *handlers);

/** The text behind the reference: null, simple, and not simple. */
QString referenceFor(int which)
{
    static const char *const references[] = {nullptr, "r1", "\xd7\x90"};
    const char *const reference = references[which / handlerCount % 3];
    return reference ? QString::fromUtf8(reference) : QString();
}

} // namespace

Differential::Differential()
    : foundCount(0)
    , trace(nullptr)
    , kiv(nullptr)
    , recorder(&kiv, &trace)
{
    recorder.take();
}

Differential::~Differential()
{
    KivInterface::crc32 = QString();
}

QByteArray Differential::body(const QString &body, bool debug)
{
    if (isRefused(body))
        return QByteArray();
    SpeakingHandlers plain(recorder, debug);
    plain.handleBody(body);
    const QString expected = joined(recorder.take());

    QString text = body;
    KivInterface::crc32 = QLatin1String(untouched);
    KivInterface::enableDebugPrint = debug;
    kiv.handleKivMsgBody(text);
    KivInterface::enableDebugPrint = false;
    const QString actual = joined(recorder.take());
    return difference("said", actual, expected) +
           difference("crc32", quoted(KivInterface::crc32), quoted(plain.crc32)) +
           difference("body", text, body);
}

QByteArray Differential::bodyInBody(const QString &body, const QString &inner)
{
    if (isRefused(body) || isRefused(inner))
        return QByteArray();
    SpeakingHandlers plain(recorder, false);
    recorder.atSignal = [&] { plain.handleBody(inner); };
    plain.handleBody(body);
    const QString expected = joined(recorder.take());

    QString text = body;
    QString innerText = inner;
    KivInterface::crc32 = QLatin1String(untouched);
    recorder.atSignal = [&] { kiv.handleKivMsgBody(innerText); };
    kiv.handleKivMsgBody(text);
    const QString actual = joined(recorder.take());
    return difference("said with a body inside", actual, expected) +
           difference("crc32", quoted(KivInterface::crc32), quoted(plain.crc32));
}

QByteArray Differential::arrival(const std::function<void()> &arrive, const QStringList &frames,
                                 bool debug)
{
    recorder.take(); // what has been said of connections
    SpeakingHandlers plain(recorder, debug);
    for (const QString &frame : frames) {
        const int bodyBegin = int(frame.indexOf(QLatin1Char('<')));
        plain.handleHeader(frame.left(bodyBegin));
        if (bodyBegin >= 0)
            plain.handleBody(frame.mid(bodyBegin));
    }
    const QString expected = joined(recorder.take());

    KivInterface::crc32 = QLatin1String(untouched);
    KivInterface::enableDebugPrint = debug;
    arrive();
    KivInterface::enableDebugPrint = false;
    const QString actual = joined(withoutArrivals(recorder.take()));
    return difference("said", actual, expected) +
           difference("crc32", quoted(KivInterface::crc32), quoted(plain.crc32));
}

QByteArray Differential::compareOnReaders(const QString &xml, Delivery delivery,
                                          const Operation &client, const Operation &plain)
{
    CallersReader ours(xml, delivery);
    CallersReader theirs(xml, delivery);
    for (int i = 0; i < 2; ++i) {
        const QString expected = plain(theirs.xml);
        const QString actual = client(ours.xml);
        const QByteArray result = difference("outcome", actual, expected) +
                                  difference("place", tokenOf(ours.xml), tokenOf(theirs.xml));
        if (!result.isEmpty())
            return result;
        ours.complete();
        theirs.complete();
    }
    ours.xml.readNext();
    theirs.xml.readNext();
    return difference("token behind it", tokenOf(ours.xml), tokenOf(theirs.xml));
}

QByteArray Differential::handler(const QString &body, Delivery delivery, int which, int token)
{
    const Handler &handler = handlers[which % handlerCount];
    SpeakingHandlers plain(recorder, false);
    QString plainText = referenceFor(which);
    QString text = plainText;
    int plainToken = token;
    const QByteArray result = compareOnReaders(
        body, delivery,
        [&](QXmlStreamReader &xml) {
            for (; token > 0; --token)
                xml.readNext();
            KivInterface::crc32 = QLatin1String(untouched);
            const bool closed = handler.client(kiv, xml, text);
            return joined(recorder.take() << outcome(closed, text) << quoted(KivInterface::crc32));
        },
        [&](QXmlStreamReader &xml) {
            for (; plainToken > 0; --plainToken)
                xml.readNext();
            plain.crc32 = QLatin1String(untouched);
            const bool closed = handler.plain(plain, xml, plainText);
            return joined(recorder.take() << outcome(closed, plainText) << quoted(plain.crc32));
        });
    return named(handler.name, result);
}

QByteArray Differential::debugNodes(const QString &body)
{
    SpeakingHandlers plain(recorder, false);
    QXmlStreamReader xml(body);
    do {
        xml.readNext();
        plain.debugNode(xml);
        const QString expected = joined(recorder.take());
        kiv.debugXmlNode(xml);
        const QByteArray result = difference("debugXmlNode", joined(recorder.take()), expected);
        if (!result.isEmpty())
            return result;
    } while (!xml.atEnd() && !xml.hasError());
    return QByteArray();
}

QByteArray Differential::lookUps(const Question &question)
{
    const QString &path = question.path;
    const QString &root = question.rootPath;
    const QString &sub = question.subPath;
    const QString &xml = question.xml;
    if (isRefused(xml))
        return QByteArray();
    QString actual = QLatin1String(untouched);
    QString expected = actual;
    const auto compare = [&](const char *what, bool found, bool toBeFound) {
        const QByteArray result =
            difference(what, outcome(found, actual), outcome(toBeFound, expected));
        foundCount += toBeFound;
        actual = expected = QLatin1String(untouched);
        return result;
    };
    QByteArray result =
        compare("with a prefix", KivInterface::xpathGetTextNode(actual, path, root, xml),
                PlainLookUps::getTextNode(expected, path, root, xml));
    result +=
        compare("with two prefixes", KivInterface::xpathGetTextNode(actual, path, root, sub, xml),
                PlainLookUps::getTextNode(expected, path, root, sub, xml, 0));
    result += compare("with an index",
                      KivInterface::xpathGetTextNode(actual, path, root, sub, xml, question.index),
                      PlainLookUps::getTextNode(expected, path, root, sub, xml, question.index));
    return result;
}

QByteArray Differential::lookUpsByReader(const Question &question, Delivery delivery)
{
    return named("xpathFindTextNode", find(question, delivery)) +
           named("xpathCrawlToXmlNode", crawlToNode(question, delivery)) +
           named("xpathCrawlToXmlList", crawlToList(question, delivery)) +
           named("xpathReturnXmlNode", returnNode(question, delivery));
}

QByteArray Differential::find(const Question &question, Delivery delivery)
{
    QStringList steps = question.path.split(QLatin1Char('/'));
    QStringList plainSteps = steps;
    QString text = QLatin1String(untouched);
    QString plainText = text;
    return compareOnReaders(
        question.xml, delivery,
        [&](QXmlStreamReader &reader) {
            const bool found = KivInterface::xpathFindTextNode(text, steps, reader, question.index);
            return joined(QStringList(outcome(found, text)) << steps);
        },
        [&](QXmlStreamReader &reader) {
            const bool found =
                PlainLookUps::findTextNode(plainText, plainSteps, reader, question.index);
            return joined(QStringList(outcome(found, plainText)) << plainSteps);
        });
}

QByteArray Differential::crawlToNode(const Question &question, Delivery delivery)
{
    const QString name = question.path.section(QLatin1Char('/'), -1);
    return compareOnReaders(
        question.xml, delivery,
        [&](QXmlStreamReader &reader) {
            return outcome(KivInterface::xpathCrawlToXmlNode(name, reader), name);
        },
        [&](QXmlStreamReader &reader) {
            return outcome(PlainLookUps::crawlToXmlNode(name, reader), name);
        });
}

QByteArray Differential::crawlToList(const Question &question, Delivery delivery)
{
    QString list;
    QString key;
    QString value;
    for (const QString &step : question.path.split(QLatin1Char('/'))) {
        if (PlainLookUps::validateListNode(step, list, key, value))
            break;
    }
    return compareOnReaders(
        question.xml, delivery,
        [&](QXmlStreamReader &reader) {
            const bool found = KivInterface::xpathCrawlToXmlList(list, key, value, reader);
            return outcome(found, list + key + value);
        },
        [&](QXmlStreamReader &reader) {
            const bool found = PlainLookUps::crawlToXmlList(list, key, value, reader);
            return outcome(found, list + key + value);
        });
}

QByteArray Differential::returnNode(const Question &question, Delivery delivery)
{
    QString name = question.path.section(QLatin1Char('/'), -1);
    QString text = QLatin1String(untouched);
    QString plainText = text;
    return compareOnReaders(
        question.xml, delivery,
        [&](QXmlStreamReader &reader) {
            const bool found = KivInterface::xpathReturnXmlNode(text, name, reader, question.index);
            return outcome(found, text);
        },
        [&](QXmlStreamReader &reader) {
            const bool found = PlainLookUps::returnXmlNode(plainText, name, reader, question.index);
            return outcome(found, plainText);
        });
}

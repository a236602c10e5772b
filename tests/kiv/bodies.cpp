// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bodies.h"

#include "kivfixture.h"
#include "plainhandlers.h"
#include "plainreceiver.h"
#include "random.h"

#include <QtTest/QtTest>

#include <cstdio>

QString reported()
{
    return traced("reportKivParsingErr", "Kiv meg frame error");
}

QString signalled(const char *name, const QString &arguments)
{
    return QLatin1String("signal: ") + QLatin1String(name) + QLatin1Char('(') + arguments +
           QLatin1Char(')');
}

namespace
{

/** Leaves a record like that of KivFixture. */
class RecordingHandlers : public PlainHandlers
{
public:
    RecordingHandlers()
        : PlainHandlers(false)
    {
    }

    QStringList record;

private:
    void signal(const char *name, const QStringList &arguments)
    {
        record << signalled(name, arguments.join(QLatin1String(", ")));
    }
    void log(const char *function, const QString &message) { record << traced(function, message); }
    void debugOutput(const QString &line) { record << QLatin1String("debug: ") + line; }
};

/** What is said of a body with the debug output on, from what is said of it without. */
QStringList underDebug(const QString &body, const QStringList &record)
{
    if (body.isEmpty())
        return record;
    QStringList result(traced("handleKivMsgBody", body));
    for (const QString &entry : record) {
        result << entry;
        if (entry == reported())
            result << traced("reportKivParsingErr", body);
    }
    return result;
}

bool handle(KivFixture &fixture, const QString &body, bool debug, const QStringList &expected,
            const QString &crc32)
{
    KivInterface::enableDebugPrint = debug;
    KivInterface::crc32 = QString();
    fixture.take();
    QString text = body;
    fixture.kiv->handleKivMsgBody(text);
    KivInterface::enableDebugPrint = false;
    const bool same = sameRecord(fixture.take(), debug ? underDebug(body, expected) : expected);
    if (!same || text != body || KivInterface::crc32 != crc32) {
        std::fprintf(stderr, "body: %s\ncrc32: %s\n", shown(body.left(2000)).constData(),
                     shown(KivInterface::crc32).constData());
        return false;
    }
    return true;
}

QStringList signalsIn(const QStringList &record)
{
    QStringList result;
    for (const QString &entry : record) {
        if (entry.startsWith(QLatin1String("signal: ")))
            result << entry;
    }
    return result;
}

const char *anyOf(Random &random, const char *const *list, int size)
{
    return list[random.below(size)];
}

#define ANY(random, list) anyOf(random, list, int(sizeof list / sizeof *list))

QString randomText(Random &random)
{
    static const char *const texts[] = {"",
                                        "7",
                                        " ",
                                        "\r\n",
                                        "a b",
                                        "&amp;",
                                        "x &lt;&gt;&quot;&apos; y",
                                        "&#65;",
                                        "<![CDATA[<c & d>]]>",
                                        "<!-- no -->",
                                        "<?pi no?>",
                                        "\xd7\x90",
                                        "\xe1\x84\x80",
                                        "\xc3\xa9",
                                        "%1",
                                        "<x/>"};
    return QString::fromUtf8(ANY(random, texts));
}

QString randomElement(Random &random, const char *const *names, int count, int depth)
{
    const QString name = QLatin1String(anyOf(random, names, count));
    QString content = randomText(random);
    for (int children = depth > 0 ? random.below(4) : 0; children > 0; --children)
        content += randomElement(random, names, count, depth - 1) + randomText(random);
    const char *const attributes[] = {"", "", "", " a='1'", " xmlns:p='q' p:b=\"&amp;\""};
    const QString begin = QLatin1Char('<') + name + QLatin1String(ANY(random, attributes));
    if (content.isEmpty())
        return begin + QLatin1String("/>");
    return begin + QLatin1Char('>') + content + QLatin1String("</") + name + QLatin1Char('>');
}

void addElement(QString &body, Random &random, const char *name)
{
    static const char *const names[] = {"x", "data", "ok", "ref", "change", "out"};
    const QString tag = QLatin1String(name);
    body += QLatin1Char('<') + tag + QLatin1Char('>');
    if (random.below(4) == 0)
        body += randomElement(random, names, 6, 2);
    body += randomText(random) + QLatin1String("</") + tag + QLatin1Char('>');
}

/** Damages a body in one place, or not. */
void damage(QString &body, Random &random)
{
    const int length = int(body.length());
    const int at = random.below(length);
    switch (random.below(6)) {
    case 0:
        body.truncate(at);
        break;
    case 1:
        body.remove(at, 1 + random.below(8));
        break;
    case 2:
        body.insert(at, randomText(random));
        break;
    case 3:
        body.insert(at, QLatin1Char("<>&/\"'"[random.below(6)]));
        break;
    default:
        break;
    }
}

/** Makes a long text of a body, in one place or spread over it. */
void lengthen(QString &body, Random &random)
{
    const int most = 9000;
    const QString unit = random.below(3) == 0 ? QLatin1String("\xe9") : randomText(random);
    const QString text = QString(unit + QLatin1Char('x')).repeated(100 + random.below(most / 3));
    const QString end = QLatin1String("</data>");
    if (random.below(2) == 0 || !body.contains(end))
        body.insert(1 + int(body.indexOf(QLatin1Char('>'), random.below(int(body.length())))),
                    text);
    else
        body.replace(end, text + end);
}

QString randomNotification(Random &random)
{
    static const char *const parts[] = {"op", "spath", "rpath", "data", "crc32", "x", "data"};
    QString body = QLatin1String("<notify>");
    addElement(body, random, "ref");
    for (int events = random.below(3); events >= 0; --events) {
        body += QLatin1String("<event>");
        for (int changes = random.below(3); changes >= 0; --changes) {
            body += QLatin1String("<change>");
            for (int count = random.below(6); count > 0; --count)
                addElement(body, random, ANY(random, parts));
            body += QLatin1String("</change>");
        }
        body += QLatin1String("</event>");
    }
    return body + QLatin1String("</notify>");
}

QString randomReply(Random &random)
{
    static const char *const kinds[] = {"edit", "get", "error", "session_info", "x"};
    static const char *const parts[] = {"ok", "path", "data", "crc32", "type", "message", "data"};
    QString body = QLatin1String("<reply>");
    addElement(body, random, "ref");
    body += QLatin1String("<out>");
    for (int count = random.below(3); count >= 0; --count) {
        const QString kind = QLatin1String(ANY(random, kinds));
        body += QLatin1Char('<') + kind + QLatin1Char('>');
        for (int inner = random.below(5); inner > 0; --inner)
            addElement(body, random, ANY(random, parts));
        body += QLatin1String("</") + kind + QLatin1Char('>');
    }
    return body + QLatin1String("</out></reply>");
}

} // namespace

bool saysOf(KivFixture &fixture, const QString &body, const QStringList &expected,
            const QString &crc32)
{
    return handle(fixture, body, false, expected, crc32) &&
           handle(fixture, body, true, expected, crc32);
}

bool likePlain(KivFixture &fixture, const QString &body)
{
    RecordingHandlers plain;
    plain.handleBody(body);
    return handle(fixture, body, false, plain.record, plain.crc32);
}

bool survivesCuts(KivFixture &fixture, const QString &body)
{
    RecordingHandlers whole;
    whole.handleBody(body);
    const QStringList allSignals = signalsIn(whole.record);
    bool good = saysOf(fixture, body, whole.record, whole.crc32);
    for (int length = 1; good && length < int(body.length()); ++length) {
        RecordingHandlers plain;
        plain.handleBody(body.left(length));
        const QStringList some = signalsIn(plain.record);
        good = saysOf(fixture, body.left(length), plain.record, plain.crc32) &&
               plain.record.count(reported()) == 1 &&
               some == QStringList(allSignals.mid(0, some.size()));
        if (!good)
            std::fprintf(stderr, "cut behind %d characters\n", length);
    }
    return good;
}

QString randomBody(Random &random, bool notification)
{
    static const char *const names[] = {
        "reply", "notify", "request", "ref",   "out",   "edit", "ok",      "get",
        "path",  "data",   "crc32",   "error", "type",  "op",   "message", "session_info",
        "event", "change", "spath",   "rpath", "p:out", "x"};
    QString body;
    if (random.below(3) == 0)
        body = randomElement(random, names, int(sizeof names / sizeof *names), 6);
    else
        body = notification ? randomNotification(random) : randomReply(random);
    if (random.below(8) == 0)
        lengthen(body, random);
    if (random.below(2) == 0)
        damage(body, random);
    return body;
}

void addRowsOfData()
{
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("received");
    addRowOfData("<a>1</a><b/>", "<a>1</a><b></b>");
    addRowOfData("x &amp; y", "x  y");
    addRowOfData("<![CDATA[<a> & 'b']]>", "a  b");
    addRowOfData("a<!-- c -->b<?p i?>c", "abc");
    addRowOfData(" <a> 1 </a> ", " <a> 1 </a> ");
    addRowOfData("<crc32>1</crc32>", "<crc32>1</crc32>");
    addRowOfData("<a x=\"1\"/>", "<a></a>");
    addRowOfData("<p:a xmlns:p='u'/>", "<a></a>");
    addRowOfData("a&lt;b&gt;&quot;&apos;", "ab");
    addRowOfData("\xc3\xa9\xe2\x82\xac\xd7\x90", "\xc3\xa9\xe2\x82\xac\xd7\x90");
}

void addRowOfData(const char *sent, const char *received)
{
    QTest::newRow(shown(text(sent)).constData()) << text(sent) << text(received);
}

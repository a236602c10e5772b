// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/failure.h"
#include "kivctl/framecutter.h"
#include "kivctl/invocation.h"
#include "kivctl/message.h"
#include "kivctl/node.h"
#include "kivctl/operations.h"
#include "kivctl/paths.h"
#include "kivctl/texts.h"
#include "random.h"
#include "toolprocess.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <functional>

using namespace kivctl;

namespace
{

QByteArray bytes(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

std::string text(const QByteArray &bytes)
{
    return std::string(bytes.constData(), std::size_t(bytes.size()));
}

/** What is said of something that fails, or "nothing". */
QByteArray failureOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "nothing";
}

} // namespace

/** The parts of kivctl that need no daemon. */
class tst_KivctlParts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void escapesAndUnescapes_data();
    void escapesAndUnescapes();
    void keepsCarriageReturns();
    void showsTextsOnOneLine();
    void computesChecksums();
    void cutsFramesAnywhere();
    void readsReplies_data();
    void readsReplies();
    void readsNotifications();
    void survivesRandomFrames();
    void layoutsXml_data();
    void layoutsXml();
    void refusesBadXml_data();
    void refusesBadXml();
    void namesLeaves_data();
    void namesLeaves();
    void findsLastSteps_data();
    void findsLastSteps();
    void buildsRequests();
    void cutsLinesIntoWords_data();
    void cutsLinesIntoWords();
};

void tst_KivctlParts::escapesAndUnescapes_data()
{
    QTest::addColumn<QByteArray>("markup");
    QTest::addColumn<QByteArray>("plain");
    const struct {
        const char *markup;
        const char *plain;
    } rows[] = {{"", ""},
                {"a &lt;b&gt; &amp;&quot;&apos;", "a <b> &\"'"},
                {"&#65;&#x42;&#xe9;&#x20ac;&#x1f600;", "AB\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
                {"&amp;lt;", "&lt;"},
                {"&", "&"},
                {"&;", "&;"},
                {"&nbsp;", "&nbsp;"},
                {"&#;&#x;&#0;&#x110000;&#12a;", "&#;&#x;&#0;&#x110000;&#12a;"},
                {"&#xd800;&#xdfff;&#xd7ff;", "&#xd800;&#xdfff;\xed\x9f\xbf"},
                {"&amp", "&amp"},
                {"& &amp;", "& &"}};
    for (const auto &row : rows)
        QTest::newRow(row.markup) << QByteArray(row.markup) << QByteArray(row.plain);
}

void tst_KivctlParts::escapesAndUnescapes()
{
    QFETCH(QByteArray, markup);
    QFETCH(QByteArray, plain);
    QCOMPARE(bytes(unescaped(text(markup))), plain);
    QCOMPARE(bytes(unescaped(escaped(text(plain)))), plain);
}

/** Readers of XML take "\r" and "\r\n" for "\n". */
void tst_KivctlParts::keepsCarriageReturns()
{
    QCOMPARE(escaped("a\r\n<b>"), std::string("a&#13;\n&lt;b&gt;"));
}

void tst_KivctlParts::showsTextsOnOneLine()
{
    QCOMPARE(onOneLine(std::string("a\nb\r\t\f\\\033\0\x7f\xc3\xa9", 12)),
             std::string("a\\nb\\r\\t\\f\\\\\\x1b\\x00\\x7f\xc3\xa9"));
    QCOMPARE(harmless("a\n\tb\r\033"), std::string("a\n\tb\\x0d\\x1b"));
    // Those that take two bytes in UTF-8, but not their neighbours.
    const char others[] = "\xc2\x80 \xc2\x9b"
                          "31m\xc2\x9f \xc2\xa0\xc3\x9b\xc2";
    const std::string shown = "\\x80 \\x9b31m\\x9f \xc2\xa0\xc3\x9b\xc2";
    QCOMPARE(onOneLine(others), shown);
    QCOMPARE(harmless(others), shown);
}

void tst_KivctlParts::computesChecksums()
{
    QCOMPARE(checksum(""), 0u);
    QCOMPARE(checksum("123456789"), 0xcbf43926u);
}

void tst_KivctlParts::cutsFramesAnywhere()
{
    const std::string all = "\f\none\f\n\f\ntwo\fthree\n\f\nfour\f\f\nrest\f";
    for (std::size_t piece = 1; piece <= all.size(); ++piece) {
        FrameCutter cutter(100);
        std::vector<std::string> frames;
        for (std::size_t at = 0; at < all.size(); at += piece) {
            const std::string part = all.substr(at, piece);
            cutter.feed(part.data(), part.size());
            std::string frame;
            while (cutter.next(frame))
                frames.push_back(frame);
        }
        const std::vector<std::string> expected = {"", "one", "", "two\fthree\n", "four\f"};
        QVERIFY(frames == expected);
        QVERIFY(!cutter.isTooLong());
        QCOMPARE(cutter.takeRest(), std::string("rest\f"));
    }
    FrameCutter cutter(3);
    cutter.feed("abcd", 4);
    QVERIFY(cutter.isTooLong());
}

void tst_KivctlParts::readsReplies_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("parts"); // ref, data, crc, type, text
    const struct {
        const char *name;
        const char *frame;
        int kind;
        const char *parts;
    } rows[] = {
        {"data",
         "ack:get\r\n<reply><ref>r</ref><out><get><path>/a</path><data> <a x='1'/>&lt;\n"
         "</data><crc32>5</crc32></get></out></reply>\r\n",
         Message::Data, "r| <a x='1'/>&lt;\n|5||"},
        {"data in data",
         "<reply><ref>r</ref><out><get><data><data>1</data><b/></data></get></out>"
         "</reply>",
         Message::Data, "r|<data>1</data><b/>|||"},
        {"empty data", "<reply><ref>r</ref><out><get><data/></get></out></reply>", Message::Data,
         "r||||"},
        {"ok", "<reply><ref>r</ref><out><edit><ok/></edit></out></reply>", Message::Ok, "r||||"},
        {"ok, of a session",
         "<reply><ref>r</ref><out><session_info><ok></ok></session_info></out></reply>",
         Message::Ok, "r||||"},
        {"error",
         "errbody:x\r\n<reply><ref>r&amp;</ref><out><error><type>t</type><message>a &lt; b"
         "</message></error></out></reply>",
         Message::Error, "r&|||t|a < b"},
        {"error, ref behind it",
         "<reply><out><error><type>t</type></error></out><ref>r</ref></reply>", Message::Error,
         "r|||t|"},
        {"nothing", "", Message::Unknown, "||||"},
        {"header alone", "encode:xml\r\n\r\n", Message::Unknown, "||||"},
        {"no out", "<reply><ref>r</ref></reply>", Message::Unknown, "r||||"},
        {"other element", "<request><ref>r</ref></request>", Message::Unknown, "r||||"},
        {"cut", "<reply><ref>r</ref><out><edit><ok/></edit>", Message::Unknown, "||||"},
        {"wrong end", "<reply><ref>r</out></reply>", Message::Unknown, "||||"},
        {"two of them", "<reply><ref>r</ref></reply><reply/>", Message::Unknown, "||||"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QByteArray(row.frame) << row.kind << QByteArray(row.parts);
}

void tst_KivctlParts::readsReplies()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, kind);
    QFETCH(QByteArray, parts);
    const Message message = parseMessage(text(frame));
    QCOMPARE(int(message.kind), kind);
    QCOMPARE(bytes(message.ref + '|' + message.data + '|' + message.crc + '|' + message.type + '|' +
                   message.text),
             parts);
}

void tst_KivctlParts::readsNotifications()
{
    const Message message = parseMessage(
        "<notify><ref>s</ref><event><change><op>patch</op><spath>/a</spath><rpath>/a/b</rpath>"
        "<data><b>1</b></data><crc32>7</crc32></change><change><op>delete</op></change></event>"
        "<other/><event><change><data/></change></event></notify>");
    QCOMPARE(message.kind, Message::Notification);
    QCOMPARE(message.ref, std::string("s"));
    QCOMPARE(int(message.changes.size()), 3);
    const Change &first = message.changes[0];
    QCOMPARE(first.op + '|' + first.subscribedPath + '|' + first.path + '|' + first.data + '|' +
                 first.crc,
             std::string("patch|/a|/a/b|<b>1</b>|7"));
    QCOMPARE(message.changes[1].op, std::string("delete"));
    QCOMPARE(message.changes[2].op, std::string());
}

/** Nothing the daemon sends may do harm; what it means does not matter here. */
void tst_KivctlParts::survivesRandomFrames()
{
    static const char *const tokens[] = {
        "<reply>", "</reply>", "<ref>", "</ref>", "<out>", "</out>", "<get>",     "</get>",
        "<data>",  "</data>",  "<a/>",  "<a b='", "'>",    "</a>",   "<![CDATA[", "]]>",
        "<!--",    "-->",      "<?x",   "?>",     "&lt;",  "&#",     ";",         "<",
        ">",       "/",        "\"",    "x",      " ",     "\n",     "]"};
    Random random(17);
    for (int i = randomCases(20000); i > 0; --i) {
        std::string xml;
        for (int count = random.below(30); count > 0; --count)
            xml += random.oneOf(tokens);
        parseMessage(xml);
        std::vector<Node> nodes;
        if (failureOf([&xml, &nodes]() { nodes = parseNodes(xml); }) != "nothing")
            continue;
        leavesOf(nodes, "/a");
        // What has been read is read again, and keeps its meaning.
        std::string again;
        const QByteArray failure =
            failureOf([&nodes, &again]() { again = compact(parseNodes(compact(nodes))); });
        QVERIFY2(failure == "nothing" && again == compact(nodes), xml.c_str());
        // A text at the top gets a line of its own, which changes it.
        const auto isElement = [](const Node &node) { return node.isElement(); };
        if (std::all_of(nodes.begin(), nodes.end(), isElement))
            QVERIFY2(compact(parseNodes(pretty(nodes))) == compact(nodes), xml.c_str());
    }
}

void tst_KivctlParts::layoutsXml_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("leaf") << QByteArray("<a> x </a>") << QByteArray("<a> x </a>\n");
    QTest::newRow("blank value") << QByteArray("<a> </a>") << QByteArray("<a> </a>\n");
    QTest::newRow("empty") << QByteArray("<a></a><b/>") << QByteArray("<a/>\n<b/>\n");
    QTest::newRow("nested") << QByteArray("<a>\n <b i=\"1\">2</b><c><d>&lt;</d></c></a>")
                            << QByteArray("<a>\n  <b i=\"1\">2</b>\n  <c>\n    <d>&lt;</d>\n"
                                          "  </c>\n</a>\n");
    QTest::newRow("mixed") << QByteArray("<a>x <b>1</b> y</a>")
                           << QByteArray("<a>x <b>1</b> y</a>\n");
    QTest::newRow("left out") << QByteArray("<?xml version='1.0'?><!-- c --><a><!-- d -->1</a>")
                              << QByteArray("<a>1</a>\n");
    QTest::newRow("CDATA") << QByteArray("<a><![CDATA[<x>]]></a>")
                           << QByteArray("<a><![CDATA[<x>]]></a>\n");
}

void tst_KivctlParts::layoutsXml()
{
    QFETCH(QByteArray, xml);
    QFETCH(QByteArray, expected);
    QCOMPARE(bytes(pretty(parseNodes(text(xml)))), expected);
}

void tst_KivctlParts::refusesBadXml_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QByteArray>("error");
    const QByteArray bad = "the data is not well-formed at byte ";
    QTest::newRow("no end") << QByteArray("<a>") << bad + "3";
    QTest::newRow("no beginning") << QByteArray("</a>") << bad + "0";
    QTest::newRow("wrong end") << QByteArray("<a></b>") << bad + "3";
    QTest::newRow("cut tag") << QByteArray("<a><b") << bad + "3";
    QTest::newRow("cut attribute") << QByteArray("<a b='>") << bad + "0";
    QTest::newRow("cut comment") << QByteArray("x<!-- ") << bad + "1";
    QTest::newRow("no name") << QByteArray("<>") << bad + "0";
    QTest::newRow("no name at the end") << QByteArray("</>") << bad + "0";
    QTest::newRow("blank behind the slash") << QByteArray("<a/ >x</a>") << bad + "0";
    QTest::newRow("slash behind attributes") << QByteArray("<a b='' / >x</a>") << bad + "0";
    QTest::newRow("two slashes") << QByteArray("<a //>") << bad + "0";
    QTest::newRow("too deep") << QByteArray("<a>").repeated(100000)
                              << QByteArray("the data is nested deeper than 256 levels");
}

void tst_KivctlParts::refusesBadXml()
{
    QFETCH(QByteArray, xml);
    QFETCH(QByteArray, error);
    QCOMPARE(failureOf([&xml]() { parseNodes(text(xml)); }), error);
}

void tst_KivctlParts::namesLeaves_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QByteArray>("expected");
    const struct {
        const char *name;
        const char *path;
        const char *xml;
        const char *expected;
    } rows[] = {
        {"leaf", "/a/b", "<b>1</b>", "/a/b=1"},
        {"leaf with keys", "/a/b[k='x/y']/c", "<c>1</c>", "/a/b[k='x/y']/c=1"},
        {"slash at the end", "/a/b/", "<b>1</b>", "/a/b=1"},
        {"empty leaf", "/b", "<b/>", "/b="},
        {"subtree", "/a", "<a><b>1</b><c><d>2</d></c></a>", "/a/b=1 /a/c/d=2"},
        {"root", "/", "<a>1</a><b>2</b>", "/a=1 /b=2"},
        {"list", "/l/e", "<e><n>x</n><v>1</v></e><e><n>y</n><v>1</v></e>",
         "/l/e[n='x']/n=x /l/e[n='x']/v=1 /l/e[n='y']/n=y /l/e[n='y']/v=1"},
        {"list with two keys", "/l", "<l><e><n>x</n><v>1</v></e><e><n>x</n><v>2</v></e></l>",
         "/l/e[n='x'][v='1']/n=x /l/e[n='x'][v='1']/v=1 /l/e[n='x'][v='2']/n=x "
         "/l/e[n='x'][v='2']/v=2"},
        {"quotes", "/l", "<l><e><n>a'b</n></e><e><n>c</n></e></l>",
         "/l/e[n=\"a'b\"]/n=a'b /l/e[n='c']/n=c"},
        {"leaves of one name", "/l", "<l><e>1</e><e>2</e></l>", "/l/e[1]=1 /l/e[2]=2"},
        {"nothing to tell them apart", "/l", "<l><e><n>1</n></e><e><n>1</n></e></l>",
         "/l/e[1]/n=1 /l/e[2]/n=1"},
        {"attributes", "/a", "<a x='1' y = \"&lt;2\"><b z='3'/></a>",
         "/a/@x=1 /a/@y=<2 /a/b/@z=3 /a/b="},
        {"mixed", "/a", "<a>x<b>1</b>y</a>", "/a=xy /a/b=1"},
        {"lines", "/a", "<a>1\n2\\</a>", "/a=1\\n2\\\\"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QByteArray(row.path) << QByteArray(row.xml)
                                << QByteArray(row.expected);
}

void tst_KivctlParts::namesLeaves()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, xml);
    QFETCH(QByteArray, expected);
    QList<QByteArray> lines;
    for (const Leaf &leaf : leavesOf(parseNodes(text(xml)), text(path)))
        lines << bytes(leafLine(leaf));
    QCOMPARE(joined(lines, ' '), expected);
}

void tst_KivctlParts::findsLastSteps_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("name");
    const struct {
        const char *path;
        const char *name;
    } rows[] = {{"", ""},
                {"/", ""},
                {"//", ""},
                {"/a", "a"},
                {"a", "a"},
                {"/a/b/", "b"},
                {"/a/b[k='/x']", "b"},
                {"/a[k=\"it's/\"]/b[c='1'][d='2']", "b"},
                {"/a//b", "b"}};
    for (const auto &row : rows)
        QTest::newRow(*row.path ? row.path : "nothing")
            << QByteArray(row.path) << QByteArray(row.name);
}

void tst_KivctlParts::findsLastSteps()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, name);
    QCOMPARE(bytes(lastStepName(text(path))), name);
}

void tst_KivctlParts::buildsRequests()
{
    QCOMPARE(requestOf("r", getOperation("/a[b='<&']")),
             std::string("<request><ref>r</ref><rpc><get><path>/a[b='&lt;&amp;']</path></get></rpc>"
                         "</request>\r\n\f\n"));
    QCOMPARE(editOperation("patch", "/a", "<a/>"),
             std::string("<edit><op>patch</op><path>/a</path><data><a/></data></edit>"));
    QCOMPARE(deleteOperation("/a"), std::string("<edit><op>delete</op><path>/a</path></edit>"));
    Subscription subscription;
    subscription.path = "/a";
    QCOMPARE(subscribeOperation(subscription),
             std::string("<subscribe><subscription><path>/a</path></subscription></subscribe>"));
    subscription.match = "b";
    subscription.sendNow = true;
    subscription.tag = "t";
    QCOMPARE(subscribeOperation(subscription),
             std::string("<subscribe><t><path>/a</path><rpath_match>b</rpath_match>"
                         "<send_now>true</send_now></t></subscribe>"));
    subscription.oneLevel = true;
    subscription.match.clear();
    QCOMPARE(
        subscribeOperation(subscription),
        std::string("<subscribe><t><ypath>/a</ypath><send_now>true</send_now></t></subscribe>"));
}

void tst_KivctlParts::cutsLinesIntoWords_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("expected");
    const struct {
        const char *line;
        const char *expected;
    } rows[] = {{"", ""},
                {"  # comment", ""},
                {" get  /a\t/b#c ", "get|/a|/b#c"},
                {"set /a 'b c' \"d 'e'\" ''", "set|/a|b c|d 'e'|"},
                {"a\\ b \"c\\\"d\" 'e\\f' x\"y\"z", "a b|c\"d|e\\f|xyz"},
                {"\"c:\\dir \\$a \\` \\\\\"", "c:\\dir $a ` \\"},
                {"a 'b", "a quote without its end"},
                {"a\\", "a backslash at the end of the line"}};
    for (const auto &row : rows)
        QTest::newRow(*row.line ? row.line : "nothing")
            << QByteArray(row.line) << QByteArray(row.expected);
}

void tst_KivctlParts::cutsLinesIntoWords()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, expected);
    QList<QByteArray> found;
    const QByteArray failure = failureOf([&]() {
        for (const std::string &word : wordsOf(text(line)))
            found << bytes(word);
    });
    QCOMPARE(failure == "nothing" ? joined(found, '|') : failure, expected);
}

QTEST_MAIN(tst_KivctlParts)
#include "tst_kivctlparts.moc"

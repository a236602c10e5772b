// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bodies.h"
#include "kivfixture.h"
#include "plainreceiver.h"
#include "random.h"

#include <QtCore/QXmlStreamReader>
#include <QtTest/QtTest>

namespace
{

QString reply(const QString &inner, const QString &ref = QLatin1String("7"))
{
    return QLatin1String("<reply><ref>") + ref + QLatin1String("</ref><out>") + inner +
           QLatin1String("</out></reply>");
}

QString reply(const char *inner)
{
    return reply(QLatin1String(inner));
}

QString getReply(const char *data)
{
    return reply(QLatin1String("<get><data>") + QString::fromUtf8(data) +
                 QLatin1String("</data></get>"));
}

QStringList one(const char *name, const char *arguments)
{
    return QStringList(signalled(name, QString::fromUtf8(arguments)));
}

QString emptyDocumentEnd()
{
    return traced("debugXmlNode", "xmlEndDoc: ");
}

QString unknownToken(const char *token)
{
    return QString::fromLatin1("debug: handleKivMsgBody  NOt existing xml.tokenString \"%1\" ")
        .arg(latin1(token));
}

QString noRequests()
{
    return traced("handleRequest",
                  "KivInterface::handleRequest() - No support for request handling!!!!!");
}

void bodyColumns()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QStringList>("said");
    QTest::addColumn<QString>("crc32");
}

void row(const char *name, const QString &body, const QStringList &said,
         const QString &crc32 = QString())
{
    QTest::newRow(name) << body << said << crc32;
}

const QStringList nothing;

/** Notes the checksum text that a slot finds, and whether its texts are null. */
class Listener : public QObject
{
    Q_OBJECT
public:
    explicit Listener(KivInterface *kiv)
    {
        connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(get(QString, QString)));
        connect(kiv, SIGNAL(kivErrorSignal(QString, QString, QString)),
                SLOT(error(QString, QString, QString)));
        connect(kiv, SIGNAL(kivOkSignal(QString)), SLOT(ok(QString)));
    }

    QStringList heard;

private Q_SLOTS:
    void get(const QString &ref, const QString &data)
    {
        heard << kind(ref) + QLatin1Char(' ') + kind(data);
        heard << QLatin1String("crc32 ") + KivInterface::getCurrentKivMsgCrc32Value();
    }
    void error(const QString &ref, const QString &type, const QString &message)
    {
        heard << kind(ref) + QLatin1Char(' ') + kind(type) + QLatin1Char(' ') + kind(message);
    }
    void ok(const QString &ref) { heard << kind(ref); }

private:
    static QString kind(const QString &text)
    {
        return QLatin1String(text.isNull() ? "null" : text.isEmpty() ? "empty" : "text");
    }
};

/** The characters around the limits of simple text. */
struct Limit {
    ushort character;
    bool simple;
};

const Limit limits[] = {{0x058f, true},  {0x0590, false}, {0x05d0, false}, {0x0e01, false},
                        {0x10ff, false}, {0x1100, true},  {0x20ac, true},  {0xd7ff, true},
                        {0xe000, true},  {0xfb0f, true},  {0xfb10, false}, {0xfffd, false}};

/** Those that no body can carry, but a caller. */
const Limit furtherLimits[] = {{0, true},      {0x0001, true},  {0xd83d, true},
                               {0xde00, true}, {0xfffe, false}, {0xffff, false}};

QByteArray codeOf(ushort character)
{
    return "U+" + QByteArray::number(character, 16);
}

} // namespace

/** Keeps the data of the last reply as it came, with the room that it has. */
class DataKeeper : public QObject
{
    Q_OBJECT
public:
    explicit DataKeeper(KivInterface *kiv)
    {
        connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(keep(QString, QString)));
    }

    QString data;

private Q_SLOTS:
    void keep(const QString &ref, const QString &received)
    {
        Q_UNUSED(ref)
        data = received;
    }
};

class TestReplies : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void signalsWhatABodySays_data();
    void signalsWhatABodySays();
    void rendersData_data();
    void rendersData();
    void expandsEntitiesOfTheBody();
    void survivesABodyCutAtEveryCharacter_data();
    void survivesABodyCutAtEveryCharacter();
    void tellsSimpleTextInData_data();
    void tellsSimpleTextInData();
    void tellsSimpleTextInArguments_data();
    void tellsSimpleTextInArguments();
    void tellsNullFromEmpty_data();
    void tellsNullFromEmpty();
    void keepsTheChecksumForSlots();
    void handlesEachPartAlone_data();
    void handlesEachPartAlone();
    void doesNotReadARequest();
    void reportsAParsingError();
    void removesSpecialCharacters_data();
    void removesSpecialCharacters();
    void leavesNullNullWhenRemoving();
    void refusesGrowingEntities();
    void logsTokens_data();
    void logsTokens();
    void leavesPlaceholdersInALongTokenTextAlone();
    void keepsNoUnusedRoom_data();
    void keepsNoUnusedRoom();
    void signalsAHugeBody();
    void survivesDeepNesting();
    void logsWithTheRightGroupsAndLevels();
    void equalsThePlainFormulation();
};

void TestReplies::signalsWhatABodySays_data()
{
    bodyColumns();
    row("null", QString(), nothing);
    row("empty", latin1(""), nothing);
    row("edit", reply("<edit><ok/></edit>"), one("ok", "7"));
    row("edit, two ok", reply("<edit><ok/><ok></ok></edit>"), one("ok", "7") + one("ok", "7"));
    row("edit, ok below", reply("<edit><x><ok/></x></edit>"), one("ok", "7"));
    row("edit without ok", reply("<edit></edit><edit/>"), nothing);
    row("session_info", reply("<session_info><ok/></session_info>"), one("ok", "7"));
    row("session_info, two ok", reply("<session_info><a>1</a><ok/><ok/></session_info>"),
        one("ok", "7") + one("ok", "7"));
    row("get",
        latin1("<reply><ref>7</ref><out><get><path>/x</path><data><a>1</a><b/></data>"
               "<crc32>99</crc32></get></out></reply>"),
        one("get", "7, <a>1</a><b></b>"), latin1("99"));
    row("get without data", reply("<get><path>/x</path></get><get/>"), nothing);
    row("get, two data", reply("<get><data>1</data><data>2</data></get>"),
        one("get", "7, 1") + one("get", "7, 2"));
    row("get, data below", reply("<get><x><data>1</data></x></get>"), one("get", "7, 1"));
    row("get, nested data", reply("<get><data>a<data>b</data>c</data>d</get>"),
        one("get", "7, a<data>b"));
    row("get, nested data twice", reply("<get><data><data>1</data><data>2</data></data></get>"),
        one("get", "7, <data>1") + one("get", "7, 2"));
    row("get, element in path", reply("<get><path><data>1</data></path></get>"), nothing);
    row("error", reply("<error><type>application</type><message>bad</message></error>"),
        one("error", "7, application, bad"));
    row("error, other order",
        reply("<error><message>bad</message><x/><type>application</type></error>"),
        one("error", "7, application, bad"));
    row("error without type", reply("<error><message>bad</message></error>"),
        one("error", "7, , bad"));
    row("error without message", reply("<error><type>t</type></error>"), one("error", "7, t, "));
    row("error with nothing", reply("<error/>"), one("error", "7, , "));
    row("error, last text counts",
        reply("<error><type>a</type><type>b</type><type/><message>m</message></error>"),
        one("error", "7, b, m"));
    row("error with special characters",
        reply("<error><type>&lt;&amp;&gt;</type><message>&quot;&apos;</message></error>"),
        one("error", "7, <&>, \"'"));
    row("several in one out",
        reply("<edit><ok/></edit><get><data>1</data></get><error/><session_info><ok/>"
              "</session_info>"),
        one("ok", "7") + one("get", "7, 1") + one("error", "7, , ") + one("ok", "7"));
    row("several out",
        latin1("<reply><ref>7</ref><out><edit><ok/></edit></out><out><edit><ok/>"
               "</edit></out></reply>"),
        one("ok", "7") + one("ok", "7"));
    row("without ref", latin1("<reply><out><edit><ok/></edit></out></reply>"), one("ok", ""));
    row("ref behind out", latin1("<reply><out><edit><ok/></edit></out><ref>7</ref></reply>"),
        one("ok", ""));
    row("ref between out",
        latin1("<reply><ref>1</ref><out><edit><ok/></edit></out><ref>2</ref><out><edit><ok/>"
               "</edit></out></reply>"),
        one("ok", "1") + one("ok", "2"));
    row("empty ref", latin1("<reply><ref/><out><edit><ok/></edit></out></reply>"), one("ok", ""));
    row("empty ref keeps the former",
        latin1("<reply><ref>7</ref><ref/><ref></ref><out><edit><ok/></edit></out></reply>"),
        one("ok", "7"));
    row("element in ref", latin1("<reply><ref><x/>7</ref><out><edit><ok/></edit></out></reply>"),
        one("ok", ""));
    row("comment in ref",
        latin1("<reply><ref><!-- c -->7</ref><out><edit><ok/></edit></out></reply>"),
        one("ok", ""));
    row("ref as CDATA",
        latin1("<reply><ref><![CDATA[<7>]]></ref><out><edit><ok/></edit></out></reply>"),
        one("ok", "<7>"));
    row("comment behind the beginning of ref",
        latin1("<reply><ref>7<!-- c -->8</ref><out><edit><ok/></edit></out></reply>"),
        one("ok", "7"));
    row("CDATA behind the beginning of ref",
        latin1("<reply><ref>7<![CDATA[8]]></ref><out><edit><ok/></edit></out></reply>"),
        one("ok", "7"));
    row("CDATA of nothing replaces the former ref",
        latin1("<reply><ref>7</ref><ref><![CDATA[]]></ref><out><edit><ok/></edit></out></reply>"),
        one("ok", ""));
    row("blanks in ref", latin1("<reply><ref> 7\r </ref><out><edit><ok/></edit></out></reply>"),
        one("ok", " 7\n "));
    row("ref in out is skipped",
        latin1("<reply><ref>1</ref><out><ref>2</ref><edit><ok/></edit></out></reply>"),
        one("ok", "1"));
    row("ref below an unknown element",
        latin1("<reply><x><ref>7</ref></x><out><edit><ok/></edit></out></reply>"), one("ok", "7"));
    row("unknown elements",
        latin1("<reply><x/><ref>7</ref><out><y><z>1</z></y><edit><w/><ok/></edit></out><v/>"
               "</reply>"),
        one("ok", "7"));
    row("out below an unknown element",
        latin1("<reply><ref>7</ref><x><out><edit><ok/></edit></out></x></reply>"), one("ok", "7"));
    row("reply below an unknown element",
        latin1("<envelope><reply><ref>7</ref><out><edit><ok/></edit></out></reply></envelope>"),
        one("ok", "7"));
    row("two replies below an unknown element",
        QString(latin1("<envelope>") + reply("<edit><ok/></edit>") +
                reply("<session_info><ok/></session_info>") + latin1("</envelope>")),
        one("ok", "7") + one("ok", "7"));
    row("a refused error ends its reply",
        reply("<error><type>&#x5d0;</type></error><edit><ok/></edit><get><data>1</data></get>"),
        QStringList(reported()));
    row("a refused error leaves the next reply",
        QString(latin1("<envelope>") + reply("<error><message>&#xfb10;</message></error>") +
                reply("<edit><ok/></edit>") +
                latin1("<notify><event><change/></event></notify></envelope>")),
        QStringList(reported()) + one("ok", "7") + one("notify", ", , , , "));
    row("each refused error is reported",
        QString(latin1("<envelope>") + reply("<error><type>&#x590;</type></error>") +
                reply("<error><message>&#x10ff;</message></error>") + latin1("</envelope>")),
        QStringList() << reported() << reported());
    row("reference that is not simple, then one that is",
        latin1("<reply><ref>&#x5d0;</ref><out><edit><ok/></edit></out><ref>7</ref><out><error/>"
               "</out></reply>"),
        one("error", "7, , "));
    row("path and checksum that are not simple",
        reply("<get><path>&#x5d0;</path><crc32>&#x5d0;</crc32><data>1</data></get>"),
        one("get", "7, 1"), QString(QChar(0x5d0)));
    row("several checksums",
        reply("<get><crc32>1</crc32><data/><crc32>2</crc32><crc32/></get><get><crc32/></get>"),
        one("get", "7, "), latin1("2"));
    row("names are case sensitive",
        latin1("<reply><Ref>7</Ref><Out><edit><ok/></edit></Out><out><Edit><ok/></Edit></out>"
               "</reply>"),
        nothing);
    row("attributes",
        latin1("<reply a='1'><ref b='2'>7</ref><out c='3'><edit d='4'><ok e='5'/>"
               "</edit></out></reply>"),
        one("ok", "7"));
    row("namespaces",
        latin1("<n:reply xmlns:n='u'><n:ref>7</n:ref><out xmlns='v'><n:edit><n:ok/></n:edit></out>"
               "</n:reply>"),
        one("ok", "7"));
    row("undeclared prefix", latin1("<n:reply><ref>7</ref></n:reply>"), QStringList(reported()));
    row("reply in a reply ends it",
        latin1("<reply><ref>1</ref><reply><ref>2</ref><out><edit><ok/></edit></out></reply><out>"
               "<edit><ok/></edit></out></reply>"),
        one("ok", "2"));
    row("out in an out ends it",
        reply("<out><edit><ok/></edit></out><edit><ok/></edit><get><data>1</data></get>"),
        one("ok", "7"));
    row("get in a get ends it", reply("<get><get><data>1</data></get><data>2</data></get>"),
        one("get", "7, 1"));
    row("edit in an edit ends it", reply("<edit><edit><ok/></edit><ok/></edit>"), one("ok", "7"));
    row("session_info in a session_info ends it",
        reply("<session_info><session_info><ok/></session_info><ok/></session_info>"),
        one("ok", "7"));
    row("error in an error ends it",
        reply("<error><type>1</type><error><type>2</type></error><message>m</message></error>"),
        one("error", "7, 2, "));
    row("edit in an edit's ok", reply("<edit><ok><edit/></ok><ok/></edit>"), one("ok", "7"));
    row("edit in a get is skipped", reply("<get><edit><ok/></edit><data>1</data></get>"),
        one("get", "7, 1"));
    row("get in an edit is skipped", reply("<edit><get><data>1</data></get><ok/></edit>"),
        one("ok", "7"));
    row("white space around", QString(latin1(" \r\n") + reply("<edit><ok/></edit>") + latin1("\r")),
        one("ok", "7"));
    row("XML declaration",
        QString(latin1("<?xml version='1.0' encoding='UTF-8'?>") + reply("<edit><ok/></edit>")),
        one("ok", "7"));

    for (const char *encoding : {"UTF-8", "ISO-8859-1", "UTF-16"}) {
        // The text is decoded already: what it says of its encoding does not matter.
        row(encoding,
            latin1("<?xml version='1.0' encoding='") + latin1(encoding) + latin1("'?>") +
                getReply("\xc3\xa9\xe2\x82\xac"),
            one("get", "7, \xc3\xa9\xe2\x82\xac"));
    }
    row("other version", latin1("<?xml version='1.1'?>") + reply("<edit><ok/></edit>"),
        QStringList(reported()));

    row("request", latin1("<request><ref>7</ref><rpc><get/></rpc></request>"),
        QStringList(noRequests()));
    row("request with a reply in it",
        QString(latin1("<request>") + reply("<edit><ok/></edit>") + latin1("</request>")),
        QStringList(noRequests()) + one("ok", "7"));
    row("request that is cut", latin1("<request><ref>7"),
        QStringList() << noRequests() << reported());

    row("unknown element", latin1("<x><y>1</y></x>"), nothing);
    row("comment, PI and DTD between",
        QString(latin1("<!-- c --><!DOCTYPE reply><?p i?>") + reply("<edit><ok/></edit>") +
                latin1("<!-- d -->")),
        QStringList() << unknownToken("Comment") << unknownToken("DTD")
                      << unknownToken("ProcessingInstruction") << one("ok", "7")
                      << unknownToken("Comment"));
    row("comment and PI inside an unknown element", latin1("<x><!-- c --><?p i?></x>"),
        QStringList() << unknownToken("Comment") << unknownToken("ProcessingInstruction"));
    row("comment, CDATA and PI inside a reply",
        reply("<!-- c --><?p i?><![CDATA[<edit>]]><edit><!-- d --><ok/><?p j?></edit>"),
        one("ok", "7"));
    row("external entity", latin1("<!DOCTYPE x SYSTEM 'y'><x>&z;</x>"),
        QStringList() << unknownToken("DTD") << unknownToken("EntityReference"));

    row("no XML", latin1("text"), QStringList(reported()));
    row("white space alone", latin1(" \r"), QStringList(reported()));
    row("less-than alone", latin1("<"), QStringList(reported()));
    row("not closed", latin1("<x><y></y>"), QStringList(reported()));
    row("wrong end tag", latin1("<x></y>"), QStringList(reported()));
    row("wrong end tag in a reply", latin1("<reply><ref>7</reply>"), QStringList(reported()));
    row("undeclared entity", reply("<get><data>&nbsp;</data></get>"), QStringList(reported()));
    row("character that is none", QString(reply("<edit><ok/></edit>") + QChar(1)),
        one("ok", "7") + QStringList(reported()));
    row("attribute twice", latin1("<x a='1' a='2'/>"), QStringList(reported()));
    row("text behind", QString(reply("<edit><ok/></edit>") + latin1("text")),
        one("ok", "7") + QStringList(reported()));
    row("several top-level elements",
        QString(reply("<edit><ok/></edit>") + reply("<get><data>1</data></get>")),
        one("ok", "7") + QStringList(reported()));
    row("signals before the damage stay", reply("<edit><ok/></edit><get><data>1</data><x></get>"),
        one("ok", "7") + one("get", "7, 1") + QStringList(reported()));
    row("cut behind edit", latin1("<reply><ref>7</ref><out><edit>"), QStringList(reported()));
    row("cut in session_info", latin1("<reply><ref>7</ref><out><session_info><ok/>"),
        one("ok", "7") + QStringList(reported()));
    row("cut in error", latin1("<reply><ref>7</ref><out><error><type>t</type>"),
        QStringList(reported()));
    row("cut in get", latin1("<reply><ref>7</ref><out><get><path>/x</path>"),
        QStringList(reported()));
    row("cut in data", latin1("<reply><ref>7</ref><out><get><data><a>1</a>"),
        QStringList() << emptyDocumentEnd() << reported());
    row("damage in data", latin1("<reply><ref>7</ref><out><get><data><a>1</b>"),
        QStringList(reported()));
    row("cut in reply", latin1("<reply>"), QStringList(reported()));
    row("cut in ref", latin1("<reply><ref>"), QStringList(reported()));
}

void TestReplies::signalsWhatABodySays()
{
    QFETCH(QString, body);
    QFETCH(QStringList, said);
    QFETCH(QString, crc32);
    KivFixture fixture;
    QVERIFY(saysOf(fixture, body, said, crc32));
    QVERIFY(likePlain(fixture, body));
}

void TestReplies::rendersData_data()
{
    addRowsOfData();
    addRowOfData("1", "1");
    addRowOfData("<a x=\"1\" y='2'/>", "<a></a>");
    addRowOfData("<p:a xmlns:p='u'><p:b p:c='1'/></p:a>", "<a><b></b></a>");
    addRowOfData("<a xmlns='u'>1</a>", "<a>1</a>");
    addRowOfData("a&lt;b", "ab");
    addRowOfData("&lt;b&gt;&quot;&apos;&amp;", "b");
    addRowOfData("&lt;&gt;&quot;&apos;&amp;", "");
    addRowOfData("\"it's\"", "its");
    addRowOfData("&#65;&#x42;", "AB");
    addRowOfData("&#60;&#38;", "");
    addRowOfData("<a>\r\n</a>\r<b/>", "<a>\n</a>\n<b></b>");
    addRowOfData("\xc3\xa9\xe2\x82\xac\xd7\x90\xf0\x9f\x98\x80",
                 "\xc3\xa9\xe2\x82\xac\xd7\x90\xf0\x9f\x98\x80");
    addRowOfData("<\xc3\xa9l\xc3\xa9ment/>", "<\xc3\xa9l\xc3\xa9ment></\xc3\xa9l\xc3\xa9ment>");
    addRowOfData("%1 %2 %% and some more", "%1 %2 %% and some more");
    addRowOfData("<a.b-c_d/>", "<a.b-c_d></a.b-c_d>");
    addRowOfData("<get/><reply/><out/>", "<get></get><reply></reply><out></out>");
    addRowOfData("<Data>1</Data>", "<Data>1</Data>");
    addRowOfData("<a><a><a>1</a>2</a>3</a>", "<a><a><a>1</a>2</a>3</a>");
    addRowOfData("<ok/><ref>9</ref>", "<ok></ok><ref>9</ref>");
}

void TestReplies::rendersData()
{
    QFETCH(QString, sent);
    QFETCH(QString, received);
    KivFixture fixture;
    const QString body = getReply(sent.toUtf8().constData());
    QVERIFY(saysOf(fixture, body, QStringList(signalled("get", QLatin1String("7, ") + received))));
    QVERIFY(likePlain(fixture, body));
}

void TestReplies::expandsEntitiesOfTheBody()
{
    KivFixture fixture;
    const QString body = QLatin1String("<!DOCTYPE reply [<!ENTITY e 'x<b>1</b>y'>]>") +
                         reply("<get><data>&e;&amp;&e;</data></get>");
    QVERIFY(saysOf(fixture, body,
                   QStringList() << unknownToken("DTD") << one("get", "7, x<b>1</b>yx<b>1</b>y")));
    QVERIFY(likePlain(fixture, body));
}

void TestReplies::survivesABodyCutAtEveryCharacter_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("edit") << reply("<edit><ok/></edit>");
    QTest::newRow("session_info") << reply("<session_info><ok></ok></session_info>");
    QTest::newRow("get") << reply("<get><path>/x[a='b']</path><data a=\"1\"><a>1 &amp; 2</a><b/>"
                                  "<!-- c --><![CDATA[d]]></data><crc32>99</crc32></get>");
    QTest::newRow("error") << reply("<error><type>a</type><message>b &lt; c</message></error>");
    QTest::newRow("several") << reply("<edit><ok/></edit><x><y/></x><get><data>1</data></get>"
                                      "<error/><session_info><ok/></session_info>");
    QTest::newRow("declared") << QString(QLatin1String("<?xml version='1.0'?>") +
                                         reply("<edit><ok/></edit>"));
    QTest::newRow("request") << QString(QLatin1String("<request><ref>7</ref></request>"));
    QTest::newRow("namespaces") << QString(
        QLatin1String("<n:reply xmlns:n='u'><n:out><n:edit><n:ok/></n:edit></n:out></n:reply>"));
}

void TestReplies::survivesABodyCutAtEveryCharacter()
{
    QFETCH(QString, body);
    KivFixture fixture;
    QVERIFY(survivesCuts(fixture, body));
}

void TestReplies::tellsSimpleTextInData_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("simple");
    for (const Limit &limit : limits)
        QTest::newRow(codeOf(limit.character).constData())
            << QString(QLatin1Char('a') + QString(QChar(limit.character))) << limit.simple;
    QTest::newRow("a smiley") << QString::fromUtf8("\xf0\x9f\x98\x80") << true;
}

void TestReplies::tellsSimpleTextInData()
{
    QFETCH(QString, text);
    QFETCH(bool, simple);
    KivFixture fixture;
    // A reference that is not simple: nothing is signalled, and nothing is said of it.
    const struct {
        const char *inner;
        const char *name;
        const char *arguments;
    } kinds[] = {{"<edit><ok/></edit>", "ok", ""},
                 {"<session_info><ok/></session_info>", "ok", ""},
                 {"<get><data>1</data></get>", "get", ", 1"},
                 {"<error><type>t</type></error>", "error", ", t, "}};
    for (const auto &kind : kinds) {
        const QString signal = signalled(kind.name, text + QLatin1String(kind.arguments));
        QVERIFY(saysOf(fixture, reply(QLatin1String(kind.inner), text),
                       simple ? QStringList(signal) : nothing));
    }
    // Its element is walked over like any unknown one.
    QVERIFY(saysOf(fixture, reply(QLatin1String("<get><crc32>5</crc32></get>"), text), nothing,
                   simple ? latin1("5") : QString()));
    // An error with such a text: it is reported.
    const QString error = QLatin1String("<error><type>%1</type><message>%2</message></error>");
    QVERIFY(saysOf(fixture, reply(error.arg(text, latin1("m"))),
                   QStringList(simple ? signalled("error", latin1("7, ") + text + latin1(", m"))
                                      : reported())));
    QVERIFY(saysOf(fixture, reply(error.arg(latin1("t"), text)),
                   QStringList(simple ? signalled("error", latin1("7, t, ") + text) : reported())));
    // Data may be anything.
    QVERIFY(saysOf(fixture,
                   reply(QLatin1String("<get><data>") + text + QLatin1String("</data></get>")),
                   QStringList(signalled("get", latin1("7, ") + text))));
}

void TestReplies::tellsSimpleTextInArguments_data()
{
    tellsSimpleTextInData_data();
    for (const Limit &limit : furtherLimits)
        QTest::newRow(codeOf(limit.character).constData())
            << QString(QLatin1Char('a') + QString(QChar(limit.character))) << limit.simple;
    QTest::newRow("null") << QString() << true;
    QTest::newRow("empty") << QString(latin1("")) << true;
    QTest::newRow("first of many")
        << QString(QString(QChar(0x5d0)) + QString(1000, QLatin1Char('x'))) << false;
    QTest::newRow("last of many") << QString(QString(1000, QLatin1Char('x')) + QChar(0x5d0))
                                  << false;
}

void TestReplies::tellsSimpleTextInArguments()
{
    QFETCH(QString, text);
    QFETCH(bool, simple);
    KivFixture fixture;
    fixture.take();
    {
        QXmlStreamReader xml(latin1("<out><edit><ok/></edit></out>"));
        xml.readNextStartElement();
        QVERIFY(fixture.kiv->handleReplyOut(xml, text));
        QCOMPARE(fixture.take(), simple ? QStringList(signalled("ok", text)) : nothing);
    }
    {
        QXmlStreamReader xml(latin1("<error/>"));
        xml.readNextStartElement();
        QCOMPARE(fixture.kiv->handleReplyOutError(xml, text), simple);
        QCOMPARE(fixture.take(),
                 simple ? QStringList(signalled("error", text + latin1(", , "))) : nothing);
    }
    {
        // The other handlers leave the test to their callers.
        QXmlStreamReader xml(latin1("<edit><ok/></edit>"));
        xml.readNextStartElement();
        QVERIFY(fixture.kiv->handleReplyOutEdit(xml, text));
        QCOMPARE(fixture.take(), QStringList(signalled("ok", text)));
    }
}

void TestReplies::tellsNullFromEmpty_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("heard");
    const auto row = [](const char *body, const char *heard) {
        QTest::newRow(body) << latin1(body) << latin1(heard);
    };
    row("<reply><out><edit><ok/></edit></out></reply>", "null");
    row("<reply><ref/><out><edit><ok/></edit></out></reply>", "null");
    row("<reply><ref></ref><out><edit><ok/></edit></out></reply>", "null");
    row("<reply><ref>7</ref><out><edit><ok/></edit></out></reply>", "text");
    row("<reply><ref><![CDATA[]]></ref><out><edit><ok/></edit></out></reply>", "empty");
    row("<reply><ref>7</ref><out><get><data/></get></out></reply>", "text null");
    row("<reply><ref>7</ref><out><get><data></data></get></out></reply>", "text null");
    row("<reply><ref>7</ref><out><get><data><!-- c --></data></get></out></reply>", "text null");
    row("<reply><ref>7</ref><out><get><data>&amp;</data></get></out></reply>", "text empty");
    row("<reply><ref>7</ref><out><get><data><![CDATA[]]></data></get></out></reply>", "text empty");
    row("<reply><out><get><data>1</data></get></out></reply>", "null text");
    row("<reply><ref>7</ref><out><error/></out></reply>", "text null null");
    row("<reply><ref>7</ref><out><error><type/><message></message></error></out></reply>",
        "text null null");
    row("<reply><out><error><type><![CDATA[]]></type><message/></error></out></reply>",
        "null empty null");
    row("<reply><out><error><type>t</type><message>m</message></error></out></reply>",
        "null text text");
}

void TestReplies::tellsNullFromEmpty()
{
    QFETCH(QString, body);
    QFETCH(QString, heard);
    KivFixture fixture;
    Listener listener(fixture.kiv.get());
    fixture.kiv->handleKivMsgBody(body);
    QCOMPARE(listener.heard.value(0), heard);
}

void TestReplies::keepsTheChecksumForSlots()
{
    KivFixture fixture;
    Listener listener(fixture.kiv.get());
    const auto handle = [&](const char *inner) {
        QString body = reply(inner);
        fixture.kiv->handleKivMsgBody(body);
        const QStringList heard = listener.heard;
        listener.heard.clear();
        return heard.value(1) + QLatin1String(" then ") +
               KivInterface::getCurrentKivMsgCrc32Value();
    };
    QCOMPARE(handle("<get><data>1</data><crc32>99</crc32></get>"), latin1("crc32  then 99"));
    QCOMPARE(handle("<get><data>1</data><crc32>100</crc32></get>"), latin1("crc32 99 then 100"));
    QCOMPARE(handle("<get><crc32>101</crc32><data>1</data></get>"), latin1("crc32 101 then 101"));
    // It stays until another one comes: not everything is one.
    QCOMPARE(handle("<get><data>1</data></get>"), latin1("crc32 101 then 101"));
    QCOMPARE(handle("<get><data><crc32>1</crc32></data></get>"), latin1("crc32 101 then 101"));
    QCOMPARE(handle("<get><crc32/><data>1</data></get>"), latin1("crc32 101 then 101"));
    QCOMPARE(handle("<get><crc32><x>1</x></crc32></get>"), latin1(" then 101"));
    QCOMPARE(handle("<crc32>1</crc32><edit><crc32>2</crc32></edit>"), latin1(" then 101"));
    QCOMPARE(handle("<get><x><crc32>102</crc32></x></get>"), latin1(" then 102"));
    QCOMPARE(handle("<get><crc32>103</crc32><data>"), latin1(" then 103"));
    fixture.restart();
    QCOMPARE(KivInterface::getCurrentKivMsgCrc32Value(), latin1("103"));
}

static bool callHandler(KivInterface &kiv, const QString &name, QXmlStreamReader &xml)
{
    QString ref = QLatin1String("r");
    if (name == QLatin1String("reply"))
        return kiv.handleReply(xml);
    if (name == QLatin1String("out"))
        return kiv.handleReplyOut(xml, ref);
    if (name == QLatin1String("get"))
        return kiv.handleReplyOutGet(xml, ref);
    if (name == QLatin1String("data"))
        return kiv.handleReplyOutGetData(xml, ref);
    if (name == QLatin1String("edit"))
        return kiv.handleReplyOutEdit(xml, ref);
    if (name == QLatin1String("session_info"))
        return kiv.handleReplyOutSessionInfo(xml, ref);
    return kiv.handleReplyOutError(xml, ref);
}

void TestReplies::handlesEachPartAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("content");
    QTest::addColumn<QStringList>("said");
    const auto row = [](const char *name, const char *content, const QStringList &said) {
        QTest::newRow(QByteArray(name) + ' ' + content) << latin1(name) << latin1(content) << said;
    };
    row("reply", "<ref>1</ref><out><edit><ok/></edit></out>", one("ok", "1"));
    row("reply", "", nothing);
    row("out", "<edit><ok/></edit>", one("ok", "r"));
    row("out", "<ref>1</ref>", nothing);
    row("get", "<data>1</data>", one("get", "r, 1"));
    row("get", "", nothing);
    row("data", "<a/>", one("get", "r, <a></a>"));
    row("data", "", one("get", "r, "));
    row("edit", "<ok/><ok/>", one("ok", "r") + one("ok", "r"));
    row("edit", "<session_info/>", nothing);
    row("session_info", "<ok/>", one("ok", "r"));
    row("session_info", "<edit/>", nothing);
    row("error", "<type>t</type><message>m</message>", one("error", "r, t, m"));
}

void TestReplies::handlesEachPartAlone()
{
    QFETCH(QString, name);
    QFETCH(QString, content);
    QFETCH(QStringList, said);
    KivFixture fixture;
    fixture.take();
    const QString element = QLatin1Char('<') + name + QLatin1Char('>') + content;
    const QString end = QLatin1String("</") + name + QLatin1Char('>');
    {
        // An element that is closed leaves the reader at its end tag.
        QXmlStreamReader xml(QLatin1String("<top>") + element + end + QLatin1String("<x/></top>"));
        xml.readNextStartElement();
        xml.readNextStartElement();
        QVERIFY(callHandler(*fixture.kiv, name, xml));
        QVERIFY(xml.isEndElement());
        QCOMPARE(xml.name().toString(), name);
        QVERIFY(xml.readNextStartElement());
        QCOMPARE(xml.name().toString(), latin1("x"));
        QVERIFY(sameRecord(fixture.take(), said));
    }
    for (const char *damage : {"", "</wrong>", "&", "<", "<x>"}) {
        QXmlStreamReader xml(element + QLatin1String(damage));
        xml.readNextStartElement();
        QVERIFY(!callHandler(*fixture.kiv, name, xml));
        QVERIFY(xml.hasError());
        fixture.take();
        // A reader that is at its end, or in error, gives nothing more.
        QVERIFY(!callHandler(*fixture.kiv, name, xml));
        QCOMPARE(fixture.take(), nothing);
    }
    // The document ends although the handler's own end tag has not come.
    QXmlStreamReader xml(latin1("<x/>"));
    xml.readNextStartElement();
    QVERIFY(!callHandler(*fixture.kiv, name, xml));
    QCOMPARE(xml.tokenType(), QXmlStreamReader::EndDocument);
    QCOMPARE(fixture.take(),
             name == QLatin1String("data") ? QStringList(emptyDocumentEnd()) : nothing);
}

void TestReplies::doesNotReadARequest()
{
    KivFixture fixture;
    fixture.take();
    QXmlStreamReader xml(latin1("<request><x/></request>"));
    xml.readNextStartElement();
    QVERIFY(!fixture.kiv->handleRequest(xml));
    QVERIFY(xml.isStartElement());
    QCOMPARE(xml.name().toString(), latin1("request"));
    QCOMPARE(fixture.take(), QStringList(noRequests()));
}

void TestReplies::reportsAParsingError()
{
    KivFixture fixture;
    fixture.take();
    fixture.kiv->reportKivParsingErr(latin1("<any>"));
    QCOMPARE(fixture.take(), QStringList(reported()));
    KivInterface::debugPrintEnable();
    fixture.kiv->reportKivParsingErr(latin1("<any>"));
    QCOMPARE(fixture.take(), QStringList() << reported() << traced("reportKivParsingErr", "<any>"));
    fixture.kiv->reportKivParsingErr(QString());
    QCOMPARE(fixture.take(), QStringList() << reported() << traced("reportKivParsingErr", ""));
}

void TestReplies::removesSpecialCharacters_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("left");
    const auto row = [](const QString &text, const QString &left) {
        QTest::newRow(shown(text).constData()) << text << left;
    };
    row(QString(), QString());
    row(latin1("abc"), latin1("abc"));
    row(latin1("&<>\"'"), latin1(""));
    row(latin1("a&b<c>d\"e'f"), latin1("abcdef"));
    row(latin1("&&&&a"), latin1("a"));
    row(latin1("a''"), latin1("a"));
    row(latin1("&amp;"), latin1("amp;"));
    row(latin1(" \t\r\n/;%1"), latin1(" \t\r\n/;%1"));
    // Characters that only end like a special one.
    row(QString(QChar(0x0126)) + QChar(0x013c) + QChar(0x2022) + QChar(0x0127),
        QString(QChar(0x0126)) + QChar(0x013c) + QChar(0x2022) + QChar(0x0127));
    row(QString(QLatin1Char('<') + QString(QChar(0)) + QLatin1Char('>')), QString(QChar(0)));
}

void TestReplies::removesSpecialCharacters()
{
    QFETCH(QString, text);
    QFETCH(QString, left);
    KivFixture fixture;
    const QString before = text;
    const QString copy = text;
    fixture.kiv->removeXmlEscapeCharacters(text);
    QCOMPARE(shown(text), shown(left));
    QCOMPARE(shown(copy), shown(before));
}

void TestReplies::leavesNullNullWhenRemoving()
{
    KivFixture fixture;
    QString null;
    fixture.kiv->removeXmlEscapeCharacters(null);
    QVERIFY(null.isNull());
    for (const char *text : {"", "<&>"}) {
        QString empty = latin1(text);
        fixture.kiv->removeXmlEscapeCharacters(empty);
        QVERIFY(empty.isEmpty() && !empty.isNull());
    }
}

void TestReplies::refusesGrowingEntities()
{
    QString declarations = latin1("<!ENTITY e0 '0123456789'>");
    for (int i = 1; i <= 12; ++i) {
        declarations += QString::fromLatin1("<!ENTITY e%1 '").arg(i) +
                        QString::fromLatin1("&e%1;").arg(i - 1).repeated(10) + latin1("'>");
    }
    QString body =
        latin1("<!DOCTYPE reply [") + declarations +
        latin1("]><reply><ref>1</ref><out><get><data>&e12;</data><end>1</end></get></out></reply>");
    KivFixture fixture;
    fixture.take();
    fixture.kiv->handleKivMsgBody(body);
    const QStringList said = fixture.take();
    QCOMPARE(said.filter(latin1("signal: ")), QStringList());
    QCOMPARE(said.filter(latin1("trace: ")), QStringList(reported()));
    QString value = latin1("as before");
    QVERIFY(!KivInterface::xpathGetTextNode(value, latin1("reply/out/end"), QString(), body));
    QCOMPARE(value, latin1("as before"));
}

void TestReplies::logsTokens_data()
{
    QTest::addColumn<QString>("xml");
    QTest::addColumn<int>("reads");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *name, const char *xml, int reads, const char *message) {
        QTest::newRow(name) << latin1(xml) << reads << (message ? latin1(message) : QString());
    };
    row("nothing read", "<a/>", 0, nullptr);
    row("start of the document", "<a/>", 1, nullptr);
    row("start of an element", "<p:a xmlns:p='u' b='1'/>", 2, "xmlStartNode: <a>");
    row("text", "<a>x &lt; y</a>", 3, "xmlTextNode: x < y");
    row("CDATA", "<a><![CDATA[<z>]]></a>", 3, "xmlTextNode: <z>");
    row("end of an element", "<p:a xmlns:p='u'/>", 3, "xmlEndNode: a");
    row("end of the document", "<a/>", 4, "xmlEndDoc: ");
    row("comment", "<a><!-- c --></a>", 3, nullptr);
    row("processing instruction", "<a><?p i?></a>", 3, nullptr);
    row("document type", "<!DOCTYPE a><a/>", 2, nullptr);
    row("entity reference", "<!DOCTYPE x SYSTEM 'y'><x>&z;</x>", 4, nullptr);
    row("error", "<a></b>", 4, nullptr);
    row("premature end", "<a>", 3, nullptr);
}

void TestReplies::logsTokens()
{
    QFETCH(QString, xml);
    QFETCH(int, reads);
    QFETCH(QString, message);
    KivFixture fixture;
    fixture.take();
    QXmlStreamReader reader(xml);
    for (int i = 0; i < reads; ++i)
        reader.readNext();
    for (const bool debug : {false, true}) {
        KivInterface::enableDebugPrint = debug;
        fixture.kiv->debugXmlNode(reader);
        QCOMPARE(fixture.take(),
                 message.isNull() ? nothing : QStringList(traced("debugXmlNode", message)));
    }
}

void TestReplies::leavesPlaceholdersInALongTokenTextAlone()
{
    KivFixture fixture;
    fixture.take();
    const QString text = QString(80, QLatin1Char('x')) + latin1(" %1 %2");
    QXmlStreamReader reader(QString(latin1("<a>") + text + latin1("</a>")));
    while (!reader.isCharacters())
        reader.readNext();
    fixture.kiv->debugXmlNode(reader);
    QCOMPARE(fixture.take(), QStringList(traced("debugXmlNode", latin1("xmlTextNode: ") + text)));
}

void TestReplies::keepsNoUnusedRoom_data()
{
    QTest::addColumn<QString>("piece");
    QTest::newRow("nothing is left of it") << latin1("&amp;");
    QTest::newRow("a sixth is left of it") << latin1("x&amp;");
    QTest::newRow("all is left of it") << latin1("<a>x</a>");
}

void TestReplies::keepsNoUnusedRoom()
{
    QFETCH(QString, piece);
    KivFixture fixture;
    DataKeeper keeper(fixture.kiv.get());
    QString body = reply(latin1("<get><data>") + piece.repeated(100000) + latin1("</data></get>"));
    fixture.kiv->handleKivMsgBody(body);
    QVERIFY(!keeper.data.isNull());
    QVERIFY(keeper.data.capacity() <= keeper.data.size() * 9 / 8 + 256);
}

void TestReplies::signalsAHugeBody()
{
    KivFixture fixture;
    const QString text(4 << 20, QLatin1Char('x'));
    QVERIFY(saysOf(fixture, reply(latin1("<get><data>") + text + latin1("</data></get>")),
                   QStringList(signalled("get", latin1("7, ") + text))));
    QString elements;
    QString received;
    for (int i = 0; i < 200000; ++i) {
        elements += latin1("<a b='1'>&amp;1</a><c/>");
        received += latin1("<a>1</a><c></c>");
    }
    QVERIFY(saysOf(fixture, reply(latin1("<get><data>") + elements + latin1("</data></get>")),
                   QStringList(signalled("get", latin1("7, ") + received))));
    QVERIFY(saysOf(fixture, reply(latin1("<get><data>") + elements), QStringList(reported())));
}

void TestReplies::survivesDeepNesting()
{
    KivFixture fixture;
    const int depth = 100000;
    const QString begins = latin1("<a>").repeated(depth);
    const QString ends = latin1("</a>").repeated(depth);
    QVERIFY(saysOf(fixture, getReply((begins + ends).toLatin1().constData()),
                   QStringList(signalled("get", latin1("7, ") + begins + ends))));
    QVERIFY(saysOf(fixture, begins + reply("<edit><ok/></edit>") + ends, one("ok", "7")));
    QVERIFY(saysOf(fixture, begins, QStringList(reported())));
    QVERIFY(saysOf(fixture, latin1("<reply>").repeated(depth), QStringList(reported())));
    QVERIFY(saysOf(fixture, reply(latin1("<edit>").repeated(depth)), QStringList(reported())));
}

void TestReplies::logsWithTheRightGroupsAndLevels()
{
    KivFixture fixture;
    KivInterface::debugPrintEnable();
    QString request = latin1("<request/>");
    QString broken = latin1("<reply><out><get><data>");
    const QList<TraceLine> expected =
        QList<TraceLine>() << TraceLine{1, "handleKivMsgBody", request}
                           << TraceLine{1, "handleRequest",
                                        latin1("KivInterface::handleRequest() - No support for "
                                               "request handling!!!!!")}
                           << TraceLine{1, "handleKivMsgBody", broken}
                           << TraceLine{1, "debugXmlNode", latin1("xmlEndDoc: ")}
                           << TraceLine{1, "reportKivParsingErr", latin1("Kiv meg frame error")}
                           << TraceLine{1, "reportKivParsingErr", broken}
                           << TraceLine{1, "debugXmlNode", latin1("xmlStartNode: <a>")}
                           << TraceLine{1, "debugXmlNode", latin1("xmlTextNode: t")}
                           << TraceLine{1, "debugXmlNode", latin1("xmlEndNode: a")}
                           << TraceLine{1, "debugXmlNode", latin1("xmlEndDoc: ")};
    QCOMPARE(compareUnderFilters(fixture, expected,
                                 [&]() {
                                     fixture.kiv->handleKivMsgBody(request);
                                     fixture.kiv->handleKivMsgBody(broken);
                                     QXmlStreamReader xml(latin1("<a>t</a>"));
                                     while (!xml.atEnd()) {
                                         xml.readNext();
                                         fixture.kiv->debugXmlNode(xml);
                                     }
                                 }),
             QString());
}

void TestReplies::equalsThePlainFormulation()
{
    KivFixture fixture;
    Random random(4);
    for (int i = randomCases(20000); i > 0; --i)
        QVERIFY(likePlain(fixture, randomBody(random, false)));
}

QTEST_MAIN(TestReplies)
#include "tst_replies.moc"

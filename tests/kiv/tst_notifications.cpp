// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bodies.h"
#include "kivfixture.h"
#include "plainreceiver.h"
#include "random.h"

#include <QtCore/QXmlStreamReader>
#include <QtTest/QtTest>

namespace
{

const QStringList nothing;

QString notification(const QString &content)
{
    return QLatin1String("<notify><ref>s1</ref>") + content + QLatin1String("</notify>");
}

QString notification(const char *content)
{
    return notification(QString::fromUtf8(content));
}

QString change(const QString &content)
{
    return notification(QLatin1String("<event><change>") + content +
                        QLatin1String("</change></event>"));
}

QString change(const char *content)
{
    return change(QString::fromUtf8(content));
}

QStringList one(const char *arguments)
{
    return QStringList(signalled("notify", QString::fromUtf8(arguments)));
}

QString emptyDocumentEnd()
{
    return traced("debugXmlNode", "xmlEndDoc: ");
}

/** The debug lines of a change that the end of the body, or an error, has left open. */
QStringList leftOpen(const char *name = "")
{
    return QStringList()
           << QString::fromLatin1("debug: handleNotifyEventChange xml.atEnd xml.name \"%1\" ")
                  .arg(latin1(name))
           << QString::fromLatin1("debug: handleNotifyEventChange xml.hasError xml.name \"%1\" ")
                  .arg(latin1(name));
}

QStringList incomplete(const char *name)
{
    return QStringList(QString::fromLatin1("debug: handleNotifyEventChange Incomplete notify kiv "
                                           "message : xml.name \"%1\" ")
                           .arg(latin1(name)));
}

void row(const char *name, const QString &body, const QStringList &said,
         const QString &crc32 = QString())
{
    QTest::newRow(name) << body << said << crc32;
}

/** Notes the checksum text that a slot finds, and whether its texts are null. */
class Listener : public QObject
{
    Q_OBJECT
public:
    explicit Listener(KivInterface *kiv)
    {
        connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
                SLOT(notify(QString, QString, QString, QString, QString)));
    }

    QStringList kinds;
    QStringList checksums;

private Q_SLOTS:
    void notify(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                const QString &data)
    {
        QStringList arguments;
        for (const QString &text : {ref, op, rpath, spath, data})
            arguments << QLatin1String(text.isNull() ? "null" : text.isEmpty() ? "empty" : "text");
        kinds << arguments.join(QLatin1String(" "));
        checksums << KivInterface::getCurrentKivMsgCrc32Value();
    }
};

const char sample[] = "<op>modified</op><spath>/a</spath><rpath>/a/b</rpath><data><b>5</b></data>"
                      "<crc32>123</crc32>";

} // namespace

class TestNotifications : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void signalsWhatABodySays_data();
    void signalsWhatABodySays();
    void rendersData_data();
    void rendersData();
    void survivesABodyCutAtEveryCharacter_data();
    void survivesABodyCutAtEveryCharacter();
    void tellsSimpleTextInData_data();
    void tellsSimpleTextInData();
    void tellsSimpleTextInArguments();
    void tellsNullFromEmpty_data();
    void tellsNullFromEmpty();
    void keepsTheChecksumForSlots();
    void handlesEachPartAlone_data();
    void handlesEachPartAlone();
    void readsNoFurtherInError_data();
    void readsNoFurtherInError();
    void appendsData();
    void signalsAHugeBody();
    void logsWithTheRightGroupsAndLevels();
    void equalsThePlainFormulation();
};

void TestNotifications::signalsWhatABodySays_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QStringList>("said");
    QTest::addColumn<QString>("crc32");

    row("whole", change(sample), one("s1, modified, /a/b, /a, <b>5</b>"), latin1("123"));
    row("other order",
        change("<crc32>123</crc32><data><b>5</b></data><rpath>/a/b</rpath><spath>/a</spath>"
               "<op>modified</op>"),
        one("s1, modified, /a/b, /a, <b>5</b>"), latin1("123"));
    row("empty change", change(""), one("s1, , , , "));
    row("short empty change", notification("<event><change/></event>"), one("s1, , , , "));
    row("op alone", change("<op>o</op>"), one("s1, o, , , "));
    row("rpath alone", change("<rpath>r</rpath>"), one("s1, , r, , "));
    row("spath alone", change("<spath>s</spath>"), one("s1, , , s, "));
    row("data alone", change("<data>d</data>"), one("s1, , , , d"));
    row("last text counts", change("<op>a</op><op>b</op><op/><op></op>"), one("s1, b, , , "));
    row("element in op", change("<op><x/>o</op>"), one("s1, , , , "));
    row("element in op is taken for it", change("<op><rpath>r</rpath></op>"), one("s1, , , , "));
    row("below an unknown element", change("<x><op>o</op><data>d</data></x>"), one("s1, o, , , d"));
    row("several data are joined", change("<data>1</data><data><a/></data>"),
        one("s1, , , , 1<a></a>"));
    row("nested data", change("<data>a<data>b</data>c</data><op>o</op>"),
        one("s1, o, , , a<data>b"));
    row("op behind nested data", change("<data><data/><op>o</op></data>"),
        one("s1, o, , , <data>"));
    row("special characters", change("<op>&lt;o&gt;</op><spath>&amp;</spath><rpath>'\"</rpath>"),
        one("s1, <o>, '\", &, "));
    row("attributes", change("<op a='1'>o</op><data b='2'><c d='3'/></data>"),
        one("s1, o, , , <c></c>"));
    row("namespaces",
        latin1("<n:notify xmlns:n='u'><n:ref>s1</n:ref><n:event><n:change><n:op>o</n:op><n:data>"
               "<n:a/></n:data></n:change></n:event></n:notify>"),
        one("s1, o, , , <a></a>"));
    row("comment, CDATA and PI",
        change("<!-- c --><op><![CDATA[<o>]]></op><?p i?><data>a<!-- d -->b<?q j?></data>"),
        one("s1, <o>, , , ab"));
    row("several changes",
        notification("<event><change><op>1</op></change><change><op>2</op></change><change/>"
                     "</event>"),
        one("s1, 1, , , ") + one("s1, 2, , , ") + one("s1, , , , "));
    row("several events",
        notification("<event><change><op>1</op></change></event><event><change><op>2</op></change>"
                     "</event>"),
        one("s1, 1, , , ") + one("s1, 2, , , "));
    row("event without change", notification("<event></event><event/>"), nothing);
    row("event without change, with other things",
        notification("<event>text<x><y/></x><op>o</op></event>"), nothing);
    row("change outside an event", notification("<change><op>o</op></change>"), nothing);
    row("change below an unknown element", notification("<event><x><change/></x></event>"),
        one("s1, , , , "));
    row("event below an unknown element", notification("<x><event><change/></event></x>"),
        one("s1, , , , "));
    row("change in a change", change("<op>1</op><change><op>2</op></change>"), one("s1, 2, , , "));
    row("event in an event ends it",
        notification("<event><change><op>1</op></change><event><change><op>2</op></change></event>"
                     "<change><op>3</op></change></event>"),
        one("s1, 1, , , ") + one("s1, 2, , , "));
    row("notify in a notification ends it",
        latin1("<notify><ref>1</ref><notify><ref>2</ref><event><change/></event></notify><event>"
               "<change/></event></notify>"),
        one("2, , , , "));
    row("event in a change", change("<op>1</op><event/><op>2</op>"),
        incomplete("event") + QStringList(reported()));
    row("notify in a change", change("<op>1</op><x><notify></notify></x>"),
        incomplete("notify") + QStringList(reported()));
    row("event in a change, behind another change",
        notification("<event><change><op>1</op></change><change><event><op>2</op></event></change>"
                     "<change><op>3</op></change></event>"),
        one("s1, 1, , , ") + incomplete("event") + QStringList(reported()));
    row("event in the data of a change", change("<data><event/><notify/></data>"),
        one("s1, , , , <event></event><notify></notify>"));
    row("text behind a comment in op", change("<op>1<!-- c -->2</op><spath>3<![CDATA[4]]></spath>"),
        one("s1, 1, , 3, "));
    row("CDATA of nothing replaces the former op",
        change("<op>1</op><op><![CDATA[]]></op><rpath>r</rpath>"), one("s1, , r, , "));
    row("checksum that is not simple", change("<crc32>&#x5d0;</crc32>"), one("s1, , , , "),
        QString(QChar(0x5d0)));
    row("a refused change leaves the next notification",
        QString(latin1("<x>") + change("<op>&#x5d0;</op>") + change("<op>1</op>") +
                change("<rpath>&#xfb10;</rpath>") + latin1("</x>")),
        QStringList(reported()) + one("s1, 1, , , ") + QStringList(reported()));
    row("nothing in it", latin1("<notify/>"), nothing);
    row("without ref", latin1("<notify><event><change/></event></notify>"), one(", , , , "));
    row("ref behind the event", latin1("<notify><event><change/></event><ref>s1</ref></notify>"),
        one(", , , , "));
    row("ref between events",
        latin1("<notify><ref>1</ref><event><change/></event><ref>2</ref><event><change/></event>"
               "</notify>"),
        one("1, , , , ") + one("2, , , , "));
    row("empty ref", latin1("<notify><ref/><event><change/></event></notify>"), one(", , , , "));
    row("empty ref keeps the former",
        latin1("<notify><ref>1</ref><ref/><event><change/></event></notify>"), one("1, , , , "));
    row("ref inside the event is skipped",
        notification("<event><ref>2</ref><change><ref>3</ref></change></event>"),
        one("s1, , , , "));
    row("below an unknown element",
        QString(latin1("<x>") + change("") + change("<op>o</op>") + latin1("</x>")),
        one("s1, , , , ") + one("s1, o, , , "));
    row("with a reply below an unknown element",
        QString(latin1("<x><reply><out><edit><ok/></edit></out></reply>") + change("") +
                latin1("</x>")),
        QStringList(signalled("ok", QString())) + one("s1, , , , "));
    row("reply in a notification", notification("<reply><out><edit><ok/></edit></out></reply>"),
        nothing);
    row("several top-level elements", QString(change("") + change("")),
        one("s1, , , , ") + QStringList(reported()));
    row("white space around", QString(latin1("\r\n ") + change("") + latin1("\r")),
        one("s1, , , , "));

    row("cut in notify", latin1("<notify>"), QStringList(reported()));
    row("cut in ref", latin1("<notify><ref>s1"), QStringList(reported()));
    row("cut behind an event", latin1("<notify><event><change/></event>"),
        one(", , , , ") + QStringList(reported()));
    row("cut in event", latin1("<notify><event>"),
        QStringList() << emptyDocumentEnd() << reported());
    row("cut behind a change", latin1("<notify><event><change/>"),
        one(", , , , ") + QStringList(emptyDocumentEnd()) + QStringList(reported()));
    row("cut in change", latin1("<notify><event><change>"), leftOpen() + QStringList(reported()));
    row("cut behind op", latin1("<notify><event><change><op>x</op>"),
        leftOpen() + QStringList(reported()));
    row("cut in op", latin1("<notify><event><change><op>x"), leftOpen() + QStringList(reported()));
    row("cut in an empty op", latin1("<notify><event><change><op>"),
        leftOpen() + QStringList(reported()));
    row("cut behind crc32", latin1("<notify><event><change><crc32>5</crc32>"),
        leftOpen() + QStringList(reported()), latin1("5"));
    row("cut in data", latin1("<notify><event><change><data><a>1</a>"), QStringList(reported()));
    row("damage in notify", latin1("<notify></x>"), QStringList(reported()));
    row("damage in event", latin1("<notify><event></x>"), QStringList(reported()));
    row("damage in change", latin1("<notify><event><change></x>"), QStringList(reported()));
    row("damage in op", latin1("<notify><event><change><op>&"),
        leftOpen() + QStringList(reported()));
    row("damage in an empty op", latin1("<notify><event><change><op></x>"),
        leftOpen("op") + QStringList(reported()));
    row("damage behind the text of op", latin1("<notify><event><change><op>o</x>"),
        QStringList(reported()));
    row("damage in data", latin1("<notify><event><change><data></x>"), QStringList(reported()));
    row("damage behind a change", latin1("<notify><event><change/></x>"),
        one(", , , , ") + QStringList(reported()));
}

void TestNotifications::signalsWhatABodySays()
{
    QFETCH(QString, body);
    QFETCH(QStringList, said);
    QFETCH(QString, crc32);
    KivFixture fixture;
    QVERIFY(saysOf(fixture, body, said, crc32));
    QVERIFY(likePlain(fixture, body));
}

void TestNotifications::rendersData_data()
{
    addRowsOfData();
    addRowOfData("<op>o</op><change/><event/>", "<op>o</op><change></change><event></event>");
}

void TestNotifications::rendersData()
{
    QFETCH(QString, sent);
    QFETCH(QString, received);
    KivFixture fixture;
    const QString body = change(latin1("<data>") + sent + latin1("</data>"));
    QVERIFY(
        saysOf(fixture, body, QStringList(signalled("notify", latin1("s1, , , , ") + received))));
    QVERIFY(likePlain(fixture, body));
}

void TestNotifications::survivesABodyCutAtEveryCharacter_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("whole") << change(sample);
    QTest::newRow("several") << notification(
        "<event><change><op>1</op><crc32>1</crc32></change><x/><change><data>"
        "<a b='c'>&lt;</a></data></change></event><event><change/></event>");
    QTest::newRow("nested") << change("<data>a<data>b</data>c</data><!-- d --><op>&amp;</op>");
}

void TestNotifications::survivesABodyCutAtEveryCharacter()
{
    QFETCH(QString, body);
    KivFixture fixture;
    QVERIFY(survivesCuts(fixture, body));
}

void TestNotifications::tellsSimpleTextInData_data()
{
    const struct {
        ushort character;
        bool simple;
    } limits[] = {{0x058f, true}, {0x0590, false}, {0x10ff, false}, {0x1100, true},
                  {0xfb0f, true}, {0xfb10, false}, {0xfffd, false}};
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("simple");
    for (const auto &limit : limits)
        QTest::newRow("U+" + QByteArray::number(limit.character, 16))
            << QString(QLatin1Char('a') + QString(QChar(limit.character))) << limit.simple;
}

void TestNotifications::tellsSimpleTextInData()
{
    QFETCH(QString, text);
    QFETCH(bool, simple);
    KivFixture fixture;
    // A reference that is not simple: the events are skipped, and nothing is said of it.
    QVERIFY(saysOf(fixture,
                   latin1("<notify><ref>") + text +
                       latin1("</ref><event><change><crc32>1</crc32></change></event><event/>"
                              "</notify>"),
                   simple ? QStringList(signalled("notify", text + latin1(", , , , "))) : nothing,
                   simple ? latin1("1") : QString()));
    // A later one that is simple puts that right.
    QVERIFY(saysOf(fixture,
                   latin1("<notify><ref>") + text +
                       latin1("</ref><ref>s1</ref><event><change/></event></notify>"),
                   one("s1, , , , ")));

    // In a change it is reported, and the changes behind are lost.
    const QString changes =
        latin1("<event><change><op>1</op></change><change><%1>%2</%1></change><change><op>3</op>"
               "</change></event><event><change><op>4</op></change></event>");
    const QStringList first = one("s1, 1, , , ");
    const QStringList behind = one("s1, 3, , , ") + one("s1, 4, , , ");
    const struct {
        const char *name;
        const char *arguments;
    } elements[] = {{"op", "s1, %1, , , "}, {"rpath", "s1, , %1, , "}, {"spath", "s1, , , %1, "}};
    for (const auto &element : elements) {
        const QString own = signalled("notify", latin1(element.arguments).arg(text));
        QStringList said = first;
        if (simple)
            said << own << behind;
        else
            said << reported();
        QVERIFY(saysOf(fixture, notification(changes.arg(latin1(element.name), text)), said));
    }
    // Data may be anything.
    QVERIFY(saysOf(fixture, notification(changes.arg(latin1("data"), text)),
                   first + QStringList(signalled("notify", latin1("s1, , , , ") + text)) + behind));
}

void TestNotifications::tellsSimpleTextInArguments()
{
    // Whoever calls these has to look at the reference.
    KivFixture fixture;
    fixture.take();
    QString ref = QString(QChar(0x05d0));
    QXmlStreamReader xml(latin1("<event><change/></event>"));
    xml.readNextStartElement();
    QVERIFY(fixture.kiv->handleNotifyEvent(xml, ref));
    QCOMPARE(fixture.take(), QStringList(signalled("notify", ref + latin1(", , , , "))));
}

void TestNotifications::tellsNullFromEmpty_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("kinds");
    const auto row = [](const char *body, const char *kinds) {
        QTest::newRow(body) << latin1(body) << latin1(kinds);
    };
    row("<notify><event><change/></event></notify>", "null null null null null");
    row("<notify><ref/><event><change><op/><rpath></rpath><spath/><data/></change></event>"
        "</notify>",
        "null null null null null");
    row("<notify><ref>1</ref><event><change><data><!-- c --></data></change></event></notify>",
        "text null null null null");
    row("<notify><ref>1</ref><event><change><data>&lt;</data></change></event></notify>",
        "text null null null empty");
    row("<notify><event><change><op>o</op><rpath>r</rpath><spath>s</spath><data>d</data></change>"
        "</event></notify>",
        "null text text text text");
    row("<notify><ref><![CDATA[]]></ref><event><change><op><![CDATA[]]></op><spath><![CDATA[]]>"
        "</spath><rpath><![CDATA[]]></rpath><data><![CDATA[]]></data></change></event></notify>",
        "empty empty empty empty empty");
}

void TestNotifications::tellsNullFromEmpty()
{
    QFETCH(QString, body);
    QFETCH(QString, kinds);
    KivFixture fixture;
    Listener listener(fixture.kiv.get());
    fixture.kiv->handleKivMsgBody(body);
    QCOMPARE(listener.kinds, QStringList(kinds));
}

void TestNotifications::keepsTheChecksumForSlots()
{
    KivFixture fixture;
    Listener listener(fixture.kiv.get());
    const auto handle = [&](const char *content) {
        QString body = notification(content);
        fixture.kiv->handleKivMsgBody(body);
        const QString heard = listener.checksums.join(QLatin1String(" "));
        listener.checksums.clear();
        return heard + QLatin1String(" then ") + KivInterface::getCurrentKivMsgCrc32Value();
    };
    QCOMPARE(handle("<event><change/></event>"), latin1(" then "));
    QCOMPARE(handle("<event><change><op>o</op><data/><crc32>1</crc32></change></event>"),
             latin1("1 then 1"));
    QCOMPARE(handle("<event><change><crc32>2</crc32></change><change/><change><crc32>3</crc32>"
                    "</change></event>"),
             latin1("2 2 3 then 3"));
    QCOMPARE(handle("<event><crc32>4</crc32><change><crc32/></change></event><crc32>5</crc32>"),
             latin1("3 then 3"));
    QCOMPARE(handle("<event><change><data><crc32>6</crc32></data></change></event>"),
             latin1("3 then 3"));
    QCOMPARE(handle("<event><change><crc32>7</crc32><crc32>8</crc32></change></event>"),
             latin1("8 then 8"));
    // It counts although its change does not.
    QCOMPARE(handle("<event><change><crc32>9</crc32><op>\xd7\x90</op></change></event>"),
             latin1(" then 9"));
    QCOMPARE(handle("<event><change><crc32>10</crc32>"), latin1(" then 10"));
    fixture.restart();
    QCOMPARE(KivInterface::getCurrentKivMsgCrc32Value(), latin1("10"));
}

static bool callHandler(KivInterface &kiv, const QString &name, QXmlStreamReader &xml)
{
    QString text = QLatin1String("r");
    if (name == QLatin1String("notify"))
        return kiv.handleNotify(xml);
    if (name == QLatin1String("event"))
        return kiv.handleNotifyEvent(xml, text);
    if (name == QLatin1String("change"))
        return kiv.handleNotifyEventChange(xml, text);
    return kiv.handleNotifyEventChangeData(xml, text);
}

void TestNotifications::handlesEachPartAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("content");
    QTest::addColumn<QStringList>("said");
    QTest::addColumn<QStringList>("saidOfCut");
    QTest::addColumn<QStringList>("saidAtTheEnd");
    const auto row = [](const char *name, const char *content, const QStringList &said,
                        const QStringList &ofCut, const QStringList &atTheEnd) {
        QTest::newRow(QByteArray(name) + ' ' + content)
            << latin1(name) << latin1(content) << said << ofCut << atTheEnd;
    };
    const QStringList end(emptyDocumentEnd());
    row("notify", "<ref>1</ref><event><change/></event>", one("1, , , , "), one("1, , , , "),
        nothing);
    row("notify", "", nothing, nothing, nothing);
    row("event", "<change/>", one("r, , , , "), one("r, , , , ") + end, end);
    row("event", "", nothing, end, end);
    row("change", "<op>o</op>", one("r, o, , , "), leftOpen(), nothing);
    row("change", "", one("r, , , , "), leftOpen(), nothing);
    row("data", "<a/>", nothing, nothing, nothing);
    row("data", "", nothing, nothing, nothing);
}

void TestNotifications::handlesEachPartAlone()
{
    QFETCH(QString, name);
    QFETCH(QString, content);
    QFETCH(QStringList, said);
    QFETCH(QStringList, saidOfCut);
    QFETCH(QStringList, saidAtTheEnd);
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
    {
        QXmlStreamReader xml(element);
        xml.readNextStartElement();
        QVERIFY(!callHandler(*fixture.kiv, name, xml));
        QVERIFY(sameRecord(fixture.take(), saidOfCut));
        // A reader that is at its end, or in error, gives nothing more.
        QVERIFY(!callHandler(*fixture.kiv, name, xml));
        QCOMPARE(fixture.take(), name == QLatin1String("change") ? leftOpen() : nothing);
    }
    {
        // The document ends although the handler's own end tag has not come.
        QXmlStreamReader xml(latin1("<x/>"));
        xml.readNextStartElement();
        QVERIFY(!callHandler(*fixture.kiv, name, xml));
        QCOMPARE(xml.tokenType(), QXmlStreamReader::EndDocument);
        QVERIFY(sameRecord(fixture.take(), saidAtTheEnd));
        QVERIFY(!callHandler(*fixture.kiv, name, xml));
        QCOMPARE(fixture.take(),
                 name == QLatin1String("change") ? QStringList(leftOpen().first()) : nothing);
    }
    for (const char *outer : {"event", "notify"}) {
        // A change ends with what it stands in.
        const QString tag = latin1(outer);
        QXmlStreamReader xml(QLatin1Char('<') + tag + QLatin1String("><x/></") + tag +
                             QLatin1Char('>'));
        xml.readNextStartElement();
        const bool closed = callHandler(*fixture.kiv, name, xml);
        QCOMPARE(closed, name == tag);
        if (name == QLatin1String("change"))
            QVERIFY(sameRecord(fixture.take(), incomplete(outer)));
        fixture.take();
    }
}

void TestNotifications::readsNoFurtherInError_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"notify", "event", "change", "data"})
        QTest::newRow(name) << latin1(name);
}

void TestNotifications::readsNoFurtherInError()
{
    QFETCH(QString, name);
    // More has come for a reader that was cut off: it is in error still, but not at its end.
    QXmlStreamReader xml;
    xml.addData(QLatin1Char('<') + name + QLatin1Char('>'));
    while (!xml.hasError())
        xml.readNext();
    xml.addData(QLatin1String("<x/></") + name + QLatin1Char('>'));
    QVERIFY(!xml.atEnd());
    KivFixture fixture;
    fixture.take();
    QVERIFY(!callHandler(*fixture.kiv, name, xml));
    QVERIFY(xml.hasError());
    QCOMPARE(fixture.take(),
             name == QLatin1String("change") ? QStringList(leftOpen().last()) : nothing);
}

void TestNotifications::appendsData()
{
    KivFixture fixture;
    QString data = latin1("before&");
    QXmlStreamReader xml(latin1("<data>1<a/>&amp;2</data>"));
    xml.readNextStartElement();
    QVERIFY(fixture.kiv->handleNotifyEventChangeData(xml, data));
    QCOMPARE(data, latin1("before&1<a></a>2"));

    // What has been read of data that is cut stays too.
    QXmlStreamReader cut(latin1("<data><b/>"));
    cut.readNextStartElement();
    QVERIFY(!fixture.kiv->handleNotifyEventChangeData(cut, data));
    QCOMPARE(data, latin1("before&1<a></a>2<b></b>"));
}

void TestNotifications::signalsAHugeBody()
{
    KivFixture fixture;
    const QString text(4 << 20, QLatin1Char('x'));
    QVERIFY(saysOf(fixture, change(latin1("<data>") + text + latin1("</data>")),
                   QStringList(signalled("notify", latin1("s1, , , , ") + text))));
    const int count = 50000;
    QStringList signalledAll;
    for (int i = 0; i < count; ++i)
        signalledAll << one("s1, o, , , 1");
    QVERIFY(
        saysOf(fixture,
               notification(latin1("<event>") +
                            latin1("<change><op>o</op><data>1</data></change>").repeated(count) +
                            latin1("</event>")),
               signalledAll));
    const QString nested = latin1("<data>").repeated(count);
    QVERIFY(saysOf(fixture, change(nested), QStringList(reported())));
    QVERIFY(saysOf(fixture, change(latin1("<change>").repeated(count)),
                   one("s1, , , , ") + QStringList(reported())));
}

void TestNotifications::logsWithTheRightGroupsAndLevels()
{
    KivFixture fixture;
    KivInterface::debugPrintEnable();
    QString body = latin1("<notify><event>");
    const QList<TraceLine> expected =
        QList<TraceLine>() << TraceLine{1, "handleKivMsgBody", body}
                           << TraceLine{1, "debugXmlNode", latin1("xmlEndDoc: ")}
                           << TraceLine{1, "reportKivParsingErr", latin1("Kiv meg frame error")}
                           << TraceLine{1, "reportKivParsingErr", body};
    QCOMPARE(compareUnderFilters(fixture, expected, [&]() { fixture.kiv->handleKivMsgBody(body); }),
             QString());
}

void TestNotifications::equalsThePlainFormulation()
{
    KivFixture fixture;
    Random random(5);
    for (int i = randomCases(20000); i > 0; --i)
        QVERIFY(likePlain(fixture, randomBody(random, true)));
}

QTEST_MAIN(TestNotifications)
#include "tst_notifications.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later

// The client against the plain formulations over a bare XML reader, on whatever text. Random texts
// are grown from a seed that is printed; these variables of the environment choose others:
//   QVCOMMON_TEST_SEED     the seed of the first text; each text has one more than that before it
//   QVCOMMON_TEST_CASES    how many texts each test grows

#include "differential.h"
#include "plainreceiver.h"
#include "texts.h"
#include "xmlgrammar.h"

#include <QtCore/QFile>
#include <QtCore/QXmlStreamReader>
#include <QtTest/QTest>

#include <algorithm>
#include <cstdio>
#include <memory>

class TestDifferential : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void textsAreOfAllKinds();
    void bodies_data();
    void bodies();
    void lookUps_data();
    void lookUps();
    void cutAtEveryPlace_data();
    void cutAtEveryPlace();
    void everyCharacter_data();
    void everyCharacter();
    void everyPieceAtEveryPlace_data();
    void everyPieceAtEveryPlace();
    void longNames_data();
    void longNames();
    void document();
    void piecesOfTheDocument_data();
    void piecesOfTheDocument();

private:
    /** Grows the texts of a row and compares; what differs comes with the way to get there again. */
    void compareGrown(QByteArray (TestDifferential::*compare)(Random &));
    QByteArray compareBodies(Random &random);
    QByteArray compareLookUps(Random &random);
    QByteArray comparePieces(Random &random);
    QByteArray compareBody(const QString &body);
    QByteArray compareLookUp(const QString &path, const QString &xml);

    std::unique_ptr<Differential> differential;
    QString device;
};

namespace
{

/** A difference with the text that has led to it. */
QByteArray with(const QString &text, const QByteArray &difference)
{
    return difference.isEmpty() ? difference : difference + "text:\n    " + shown(text) + "\n";
}

Delivery anyDelivery(Random &random)
{
    return Delivery(random.below(deliveryCount));
}

Question anyQuestion(Random &random, XmlGrammar &grammar, const QString &xml)
{
    Question question;
    question.xml = xml;
    question.path = grammar.pathInto(xml);
    question.index = random.below(4) == 0 ? random.below(5) - 1 : 0;
    const int prefix = random.below(3) == 0 ? random.below(int(question.path.length()) + 1) : 0;
    const int root = random.below(prefix + 1);
    question.rootPath = question.path.left(root);
    question.subPath = question.path.mid(root, prefix - root);
    return question;
}

/** The name in the last start tag of a text, or what is there of it. */
QString lastName(const QString &xml)
{
    const QString rest = xml.mid(int(xml.lastIndexOf(QLatin1Char('<'))) + 1);
    const auto end = rest.indexOf(QLatin1Char('>'));
    return rest.left(int(end < 0 ? rest.length() : end));
}

/** Rows of some thousand texts each: QtTest believes that a row hangs if it takes five minutes. */
void addRowsOfTexts(int usual)
{
    QTest::addColumn<quint32>("first");
    QTest::addColumn<int>("count");
    const int most = 10000;
    const int all = randomCases(usual);
    for (int done = 0; done < all; done += most)
        QTest::newRow(QByteArray::number(done))
            << randomSeed(1) + quint32(done) << std::min(most, all - done);
}

} // namespace

void TestDifferential::initTestCase()
{
    QFile file(QString::fromLocal8Bit(KIVSIM_DOCUMENT));
    QVERIFY(file.open(QIODevice::ReadOnly));
    device = QString::fromUtf8(file.readAll());
    differential.reset(new Differential); // behind QtTest, which has a message handler as well
    std::printf("the seed of the first text is %u\n", randomSeed(1));
}

void TestDifferential::cleanupTestCase()
{
    std::printf("%d signals, %d values found\n", differential->signalCount(),
                differential->foundCount);
    differential.reset();
}

void TestDifferential::compareGrown(QByteArray (TestDifferential::*compare)(Random &))
{
    QFETCH(quint32, first);
    QFETCH(int, count);
    for (quint32 seed = first; seed != first + quint32(count); ++seed) {
        Random random(seed);
        const QByteArray wrong = (this->*compare)(random);
        if (!wrong.isEmpty())
            std::fprintf(stderr, "QVCOMMON_TEST_SEED=%u QVCOMMON_TEST_CASES=1:\n%s", seed,
                         wrong.constData());
        QVERIFY(wrong.isEmpty());
    }
}

QByteArray TestDifferential::compareBody(const QString &body)
{
    return with(body, differential->body(body, false) + differential->body(body, true));
}

QByteArray TestDifferential::compareLookUp(const QString &path, const QString &xml)
{
    const Question question = {path, QString(), QString(), 0, xml};
    return with(path + QLatin1Char('\n') + xml,
                differential->lookUps(question) + differential->lookUpsByReader(question, AsText));
}

QByteArray TestDifferential::compareBodies(Random &random)
{
    XmlGrammar grammar(random);
    const QString other = grammar.body();
    const QString body = grammar.mutated(grammar.body(), other);
    QByteArray wrong = differential->body(body, random.below(4) == 0);
    if (random.below(8) == 0)
        wrong += differential->bodyInBody(body, other);
    if (random.below(8) == 0)
        wrong += differential->debugNodes(body);
    if (random.below(2) == 0)
        wrong +=
            differential->handler(body, anyDelivery(random), random.below(1000), random.below(12));
    return with(body, wrong);
}

QByteArray TestDifferential::compareLookUps(Random &random)
{
    XmlGrammar grammar(random);
    const QString other = grammar.data();
    const QString xml =
        grammar.mutated(random.below(4) == 0 ? grammar.body() : grammar.data(), other);
    const Question question = anyQuestion(random, grammar, xml);
    QByteArray wrong = differential->lookUps(question);
    if (random.below(2) == 0)
        wrong += differential->lookUpsByReader(question, anyDelivery(random));
    return with(question.path + QLatin1Char('\n') + xml, wrong);
}

QByteArray TestDifferential::comparePieces(Random &random)
{
    XmlGrammar grammar(random);
    const int from = random.below(int(device.length()));
    QString piece = device.mid(from, random.below(random.below(8) == 0 ? 10000 : 1000));
    if (random.below(2) == 0)
        piece = piece.mid(int(piece.indexOf(QLatin1String("\n    <"))) + 1);
    const Question question = anyQuestion(random, grammar, piece);
    const QString data = QLatin1String("<data>") + piece + QLatin1String("</data>");
    const QString reply = QLatin1String("<reply><ref>r</ref><out><get>") + data +
                          QLatin1String("</get></out></reply>");
    const QString notification = QLatin1String("<notify><event><change>") + data +
                                 QLatin1String("</change></event></notify>");
    return with(question.path + QLatin1Char('\n') + piece,
                differential->body(reply, false) + differential->body(notification, true) +
                    differential->lookUps(question));
}

void TestDifferential::textsAreOfAllKinds()
{
    const quint32 count = 1000;
    quint32 wellFormed = 0;
    quint32 signalling = 0;
    for (quint32 seed = 1; seed <= count; ++seed) {
        Random random(seed);
        const QString body = XmlGrammar(random).body();
        QXmlStreamReader xml(body);
        while (!xml.atEnd())
            xml.readNext();
        wellFormed += !xml.hasError();
        const int before = differential->signalCount();
        QCOMPARE(differential->body(body, false), QByteArray());
        signalling += differential->signalCount() > before;
    }
    for (quint32 some : {wellFormed, count - wellFormed, signalling, count - signalling})
        QVERIFY(some > count / 5);
}

void TestDifferential::bodies_data()
{
    addRowsOfTexts(20000);
}

void TestDifferential::bodies()
{
    compareGrown(&TestDifferential::compareBodies);
}

void TestDifferential::lookUps_data()
{
    addRowsOfTexts(10000);
}

void TestDifferential::lookUps()
{
    compareGrown(&TestDifferential::compareLookUps);
}

void TestDifferential::cutAtEveryPlace_data()
{
    QTest::addColumn<QString>("body");
    const auto row = [](const char *name, const char *utf8) {
        QTest::newRow(name) << QString::fromUtf8(utf8);
    };
    row("reply", "<reply><ref>7</ref><out><get><path>/x</path><data><a>1 &amp; 2</a><b/></data>"
                 "<crc32>99</crc32></get><edit><ok/></edit><session_info><ok /></session_info>"
                 "<error><type>t</type><message>m\xc3\xa9</message></error></out></reply>\r");
    row("notification",
        "<notify><ref>s1</ref><event><change><op>patch</op><spath>/a</spath><rpath>/a/b</rpath>"
        "<data>\r\n<b>5&#x41;</b >\r</data><crc32>1</crc32></change><change></change></event>"
        "</notify>\r");
    row("everything",
        "<?xml version='1.0' encoding='UTF-8' standalone='yes'?>\r<!DOCTYPE r [<!ENTITY e "
        "'<b>x</b>'><!ATTLIST a b CDATA 'c'>]><!-- c --><notify xmlns='u' "
        "xmlns:p=\"v\"><p:ref>&e;</p:ref><ref>\xf0\x9f\x98\x80</ref><event><change>"
        "<?pi x?><data a='&lt;'><![CDATA[<x>]]>&e;&#65;</data></change></event>"
        "</notify><!-- d --><?p?>\r");
    row("two bodies and a request",
        "<x><reply><out><edit><ok/></edit></out></reply><request><a/></request><notify><event>"
        "<change><op>o</op></event></notify></x>");
    row("request", "<request><ref>1</ref></request>");
    row("wrong nesting", "<reply><out><get><data><a></b></data></get></out></reply>");
}

void TestDifferential::cutAtEveryPlace()
{
    QFETCH(QString, body);
    for (int length = 0; length <= int(body.length()); ++length) {
        const QString cut = body.left(length);
        const QByteArray wrong = compareBody(cut) +
                                 compareLookUp(QLatin1String("out/get/data/a"), cut) +
                                 compareLookUp(lastName(cut), cut);
        QVERIFY2(wrong.isEmpty(), wrong);
    }
}

void TestDifferential::everyCharacter_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("behind");
    const auto row = [](const char *before, const char *behind) {
        QTest::newRow(before) << QString::fromUtf8(before) << QString::fromUtf8(behind);
    };
    row("<reply><out><get><data>x", "y</data></get></out></reply>");
    row("<reply><out><get><data><a", "b/></data></get></out></reply>");
    row("<reply><out><get><data><", "b/></data></get></out></reply>");
    row("<reply><out><get><data></", "data></get></out></reply>");
    row("<reply><out><get><data/", "></get></out></reply>");
    row("<reply><out><get><data><a ", "='1'/></data></get></out></reply>");
    row("<reply><out><get><data>&", ";</data></get></out></reply>");
    row("<reply><ref>", "</ref><out><edit><ok/></edit></out></reply>");
    row("<reply><ref>x</ref", "><out><edit><ok/></edit></out></reply>");
    row("", "<reply><out><edit><ok/></edit></out></reply>");
    row("<reply><out><edit><ok/></edit></out></reply>", "");
}

void TestDifferential::everyCharacter()
{
    QFETCH(QString, before);
    QFETCH(QString, behind);
    const int all = 0x10000;
    // Where each case takes long, only some of those that are not Latin-1 are tried.
    const int step = 1 + all / randomCases(all);
    for (int code = 0; code < all; code += code < 0x100 ? 1 : step) {
        const QString body = before + QChar(ushort(code)) + behind;
        const QByteArray wrong = with(body, differential->body(body, false));
        QVERIFY2(wrong.isEmpty(), wrong);
    }
}

void TestDifferential::everyPieceAtEveryPlace_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("get") << latin1("<reply><ref>7</ref><out><get><data><a>1]</a><b/>\r</data>"
                                   "</get></out></reply>");
    QTest::newRow("notification") << latin1(
        "<notify><event><change><op>p</op><data><b>&amp;</b></data></change></event>"
        "</notify>\r");
    QTest::newRow("request") << latin1("<request>1</request>");
}

void TestDifferential::everyPieceAtEveryPlace()
{
    QFETCH(QString, body);
    const QStringList pieces = XmlGrammar::pieces();
    const int all = int(body.length() + 1) * int(pieces.size());
    const int step = (all + randomCases(all) - 1) / randomCases(all);
    for (int i = 0; i < all; i += step) {
        QString text = body;
        text.insert(i / int(pieces.size()), pieces.at(i % int(pieces.size())));
        const QByteArray wrong =
            with(text, differential->body(text, false)) + compareLookUp(lastName(text), text);
        QVERIFY2(wrong.isEmpty(), wrong);
    }
}

void TestDifferential::longNames_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("behind");
    const auto row = [](const char *before, const char *behind) {
        QTest::newRow(before) << latin1(before) << latin1(behind);
    };
    row("<reply><out><get><data><", "/></data></get></out></reply>");
    row("<reply><out><get><data><a></", "></data></get></out></reply>");
    row("<reply><out><get><data><a ", "='1'/></data></get></out></reply>");
    row("<reply><out><get><data><p:", "/></data></get></out></reply>");
    row("<reply><out><get><data>&", ";</data></get></out></reply>");
    row("<reply><out><get><data><?", "?></data></get></out></reply>");
}

void TestDifferential::longNames()
{
    QFETCH(QString, before);
    QFETCH(QString, behind);
    for (int length = 4090; length <= 4100; ++length) {
        const QString body = before + QString(length, QLatin1Char('n')) + behind;
        const QByteArray wrong = differential->body(body, false);
        QVERIFY2(wrong.isEmpty(), wrong);
    }
}

void TestDifferential::document()
{
    const QString root = device.mid(int(device.indexOf(QLatin1String("<device>"))));
    for (const QString &text : {device, root}) {
        QCOMPARE(compareBody(text), QByteArray());
        QCOMPARE(compareBody(QLatin1String("<reply><out><get><data>") + text +
                             QLatin1String("</data></get></out></reply>")),
                 QByteArray());
        Question question = {QLatin1String("/config/interfaces/interface[name='eth1']/mtu"),
                             QString(), QString(), 0, text};
        QCOMPARE(differential->lookUps(question), QByteArray());
        for (int delivery = 0; delivery < deliveryCount; ++delivery)
            QCOMPARE(differential->lookUpsByReader(question, Delivery(delivery)), QByteArray());
    }
}

void TestDifferential::piecesOfTheDocument_data()
{
    addRowsOfTexts(2000);
}

void TestDifferential::piecesOfTheDocument()
{
    compareGrown(&TestDifferential::comparePieces);
}

QTEST_MAIN(TestDifferential)
#include "tst_differential.moc"

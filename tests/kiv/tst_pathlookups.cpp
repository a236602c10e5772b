// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "random.h"
#include "regexsplit.h"
#include "texts.h"

#include <QtCore/QXmlStreamReader>
#include <QtTest/QTest>

#include <climits>

/** What a result holds that a look-up has left alone. */
static const char untouched[] = "(untouched)";

/** The reader's next token, as a text like "<a>", "</a>" or "text". */
static QString nextToken(QXmlStreamReader &reader)
{
    switch (reader.readNext()) {
    case QXmlStreamReader::StartElement:
        return QString::fromLatin1("<%1>").arg(reader.name().toString());
    case QXmlStreamReader::EndElement:
        return QString::fromLatin1("</%1>").arg(reader.name().toString());
    case QXmlStreamReader::Characters:
        return reader.text().toString();
    default:
        return reader.tokenString();
    }
}

static QString randomWord(Random &random, const char *alphabet, int longest)
{
    const QString letters = QLatin1String(alphabet);
    QString result;
    for (int length = random.below(longest + 1); length > 0; --length)
        result += letters.at(random.below(int(letters.size())));
    return result;
}

class TestPathLookups : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void findsTheTextAtAPath_data();
    void findsTheTextAtAPath();
    void skipsThePrefix_data();
    void skipsThePrefix();
    void takesTheMatchOfAnIndex_data();
    void takesTheMatchOfAnIndex();
    void leavesTheStepsThatRemain_data();
    void leavesTheStepsThatRemain();
    void takesAListStepApart_data();
    void takesAListStepApart();
    void cutsListStepsAsByRegularExpression();
    void crawlsToANode_data();
    void crawlsToANode();
    void crawlsToAListEntry_data();
    void crawlsToAListEntry();
    void returnsTheTextOfANode_data();
    void returnsTheTextOfANode();
    void findsTheValueOfAKey_data();
    void findsTheValueOfAKey();
    void cutsKeysAsBySplit();
    void survivesXmlCutAtEveryCharacter();
    void readsNoFurtherThanTheElement();
    void doesNotReadTheKeyOfAnEntryAgain();
    void writesOutputsOverInputs();
};

void TestPathLookups::findsTheTextAtAPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("xml");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("result");

    const QString simple = text("<a><b>7</b></a>");
    QTest::newRow("one step") << text("b") << simple << true << text("7");
    QTest::newRow("two steps") << text("a/b") << simple << true << text("7");
    QTest::newRow("missing") << text("a/c") << simple << false << text(untouched);
    QTest::newRow("first step missing") << text("c/b") << simple << false << text(untouched);
    QTest::newRow("wrong case") << text("a/B") << simple << false << text(untouched);
    QTest::newRow("part of a name") << text("a/bb") << simple << false << text(untouched);
    QTest::newRow("slashes around") << text("//a///b//") << simple << true << text("7");
    QTest::newRow("element without text") << text("a") << simple << true << text("");
    QTest::newRow("short empty element") << text("a/b") << text("<a><b/></a>") << true << text("");
    QTest::newRow("long empty element")
        << text("a/b") << text("<a><b></b></a>") << true << text("");
    QTest::newRow("any depth") << text("a/b") << text("<r><a><x><b>7</b></x></a></r>") << true
                               << text("7");
    QTest::newRow("behind its parent")
        << text("a/b") << text("<r><a>1</a><b>7</b></r>") << true << text("7");
    QTest::newRow("before its parent")
        << text("a/b") << text("<r><b>7</b><a>1</a></r>") << false << text(untouched);
    QTest::newRow("blanks are text") << text("a") << text("<a> <b/></a>") << true << text(" ");
    QTest::newRow("text behind an element")
        << text("a") << text("<a><b/>7</a>") << true << text("");
    QTest::newRow("text behind a comment")
        << text("a") << text("<a><!-- c -->7</a>") << true << text("");
    QTest::newRow("text before a comment")
        << text("a") << text("<a>7<!-- c -->8</a>") << true << text("7");
    QTest::newRow("character data section")
        << text("a") << text("<a><![CDATA[<7>]]></a>") << true << text("<7>");
    QTest::newRow("entities") << text("a") << text("<a>x &lt; &#65;</a>") << true << text("x < A");
    QTest::newRow("attributes are skipped")
        << text("a/b") << text("<a b='1'><b a='2'>7</b></a>") << true << text("7");
    QTest::newRow("local name") << text("a/b") << text("<a xmlns:p='u'><p:b>7</p:b></a>") << true
                                << text("7");
    QTest::newRow("prefix in the path")
        << text("a/p:b") << text("<a xmlns:p='u'><p:b>7</p:b></a>") << false << text(untouched);
    QTest::newRow("declaration and comments")
        << text("a/b") << text("<?xml version='1.0'?><!-- c --><a><?p i?><b>7</b></a>") << true
        << text("7");
    QTest::newRow("other scripts")
        << text("\xc3\xa5/\xd7\x90") << text("<\xc3\xa5><\xd7\x90>\xd7\x91</\xd7\x90></\xc3\xa5>")
        << true << text("\xd7\x91");
    QTest::newRow("second element at the top")
        << text("b") << text("<a>1</a><b>7</b>") << false << text(untouched);

    QTest::newRow("empty path") << text("") << simple << false << text(untouched);
    QTest::newRow("null path") << QString() << simple << false << text(untouched);
    QTest::newRow("nothing but slashes") << text("///") << simple << false << text(untouched);
    QTest::newRow("empty document") << text("a") << text("") << false << text(untouched);
    QTest::newRow("null document") << text("a") << QString() << false << text(untouched);
    QTest::newRow("no markup") << text("a") << text("a") << false << text(untouched);

    const QString list = text("<list><item><id>1</id><val>x</val></item>"
                              "<item><id>2</id><val>y</val><sub><val>z</val></sub></item></list>");
    QTest::newRow("first entry") << text("list/item[id='1']/val") << list << true << text("x");
    QTest::newRow("second entry") << text("list/item[id='2']/val") << list << true << text("y");
    QTest::newRow("no such entry")
        << text("list/item[id='3']/val") << list << false << text(untouched);
    QTest::newRow("no such key") << text("list/item[no='1']/val") << list << false
                                 << text(untouched);
    QTest::newRow("name of the list does not matter")
        << text("other[id='2']/val") << list << true << text("y");
    QTest::newRow("below an entry") << text("item[id='2']/sub/val") << list << true << text("z");
    QTest::newRow("beyond the entry") << text("item[id='1']/sub/val") << list << true << text("z");
    QTest::newRow("the key itself") << text("item[id='2']/id") << list << true << text("2");
    QTest::newRow("the key of an entry that is not there")
        << text("item[id='3']/id") << list << false << text(untouched);
    QTest::newRow("the key after another step")
        << text("item[id='2']/sub/id") << list << true << text("2");
    QTest::newRow("the key of the entry before")
        << text("item[id='1']/item[val='y']/id") << list << false << text(untouched);
    QTest::newRow("the latest key counts")
        << text("item[id='1']/item[val='y']/val") << list << true << text("y");
    QTest::newRow("list step at the end")
        << text("list/item[id='2']") << list << false << text(untouched);
    QTest::newRow("only the first key of a step")
        << text("item[id='2'][val='x']/val") << list << true << text("y");
    QTest::newRow("empty key value") << text("item[id='']/val") << list << false << text(untouched);
    QTest::newRow("slash in a key value")
        << text("item[id='1/2']/val") << list << false << text(untouched);
    QTest::newRow("element named like the key value")
        << text("item[id='sub']/val") << list << true << text("z");
    QTest::newRow("broken behind the element")
        << text("a/b") << text("<a><b>7</b></c> & <<") << true << text("7");
    QTest::newRow("broken behind an empty element")
        << text("a/b") << text("<a><b/>&&&") << true << text("");
    QTest::newRow("broken in the text")
        << text("a/b") << text("<a><b>7 & 8</b></a>") << true << text("");
    QTest::newRow("broken before the element")
        << text("a/b") << text("<a></c><b>7</b></a>") << false << text(untouched);
    QTest::newRow("undeclared entity before the element")
        << text("a/b") << text("<a>&x;<b>7</b></a>") << false << text(untouched);
}

void TestPathLookups::findsTheTextAtAPath()
{
    QFETCH(QString, path);
    QFETCH(QString, xml);
    QFETCH(bool, found);

    QString result = QLatin1String(untouched);
    QCOMPARE(KivInterface::xpathGetTextNode(result, path, QString(), xml), found);
    QTEST(result, "result");

    result = QLatin1String(untouched);
    QCOMPARE(KivInterface::xpathGetTextNode(result, path, QString(), QString(), xml), found);
    QTEST(result, "result");

    result = QLatin1String(untouched);
    QCOMPARE(KivInterface::xpathGetTextNode(result, path, text(""), text(""), xml, 0), found);
    QTEST(result, "result");

    result = QLatin1String(untouched);
    QStringList steps = path.split(QLatin1Char('/'));
    steps.removeAll(QString());
    QXmlStreamReader reader(xml);
    QCOMPARE(KivInterface::xpathFindTextNode(result, steps, reader, 0), found);
    QTEST(result, "result");
}

void TestPathLookups::skipsThePrefix_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("prefixText");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("result");

    QTest::newRow("none") << text("/a/b") << text("") << true << text("1");
    QTest::newRow("in front") << text("/state/a/b") << text("/state") << true << text("1");
    QTest::newRow("with its slash") << text("/state/a/b") << text("/state/") << true << text("1");
    QTest::newRow("missing") << text("/a/b") << text("/state") << false << text(untouched);
    QTest::newRow("not in front") << text("/a/state/b") << text("/state") << false
                                  << text(untouched);
    QTest::newRow("other case") << text("/State/a/b") << text("/state") << false << text(untouched);
    QTest::newRow("other case, and the path is right without it")
        << text("r/a/b") << text("R/") << false << text(untouched);
    QTest::newRow("again inside, in other case")
        << text("q/Q/b") << text("q/") << false << text(untouched);
    QTest::newRow("longer than the path")
        << text("/state") << text("/state/a") << false << text(untouched);
    QTest::newRow("again inside") << text("/c/a/c/b") << text("/c") << true << text("1");
    QTest::newRow("again, and it would matter")
        << text("a/b/a/c/d") << text("a/") << true << text("3");
    QTest::newRow("again inside a name") << text("xaxbx") << text("x") << false << text(untouched);
    QTest::newRow("removal that makes another one")
        << text("cacb") << text("ca") << false << text(untouched);
    QTest::newRow("the whole path") << text("/a/b") << text("/a/b") << true << text("1");
    QTest::newRow("the whole path, of which only the last step exists")
        << text("/state/b") << text("/state/b") << true << text("1");
    QTest::newRow("the whole path but a slash")
        << text("/a/b/") << text("/a/b") << false << text(untouched);
    QTest::newRow("the whole path, repeated") << text("bb") << text("b") << true << text("2");
    QTest::newRow("all slashes") << text("/a/b") << text("/") << false << text(untouched);
    QTest::newRow("the only slash") << text("/b") << text("/") << true << text("1");
    QTest::newRow("nothing but a slash") << text("/") << text("/") << false << text(untouched);
    QTest::newRow("nothing but slashes") << text("//") << text("/") << false << text(untouched);
    QTest::newRow("empty path") << text("") << text("/a") << false << text(untouched);
    QTest::newRow("empty path and prefix") << text("") << text("") << false << text(untouched);
    QTest::newRow("null path") << QString() << text("") << false << text(untouched);
}

void TestPathLookups::skipsThePrefix()
{
    QFETCH(QString, path);
    QFETCH(QString, prefixText);
    QFETCH(bool, found);
    const QString xml = text("<r><a><b>1</b></a><bb>2</bb><c><d>3</d></c></r>");

    QString result = QLatin1String(untouched);
    QCOMPARE(KivInterface::xpathGetTextNode(result, path, prefixText, xml), found);
    QTEST(result, "result");

    for (int cut = 0; cut <= prefixText.length(); ++cut) {
        const QString root = prefixText.left(cut);
        const QString sub = prefixText.mid(cut);
        result = QLatin1String(untouched);
        QCOMPARE(KivInterface::xpathGetTextNode(result, path, root, sub, xml), found);
        QTEST(result, "result");
        result = QLatin1String(untouched);
        QCOMPARE(KivInterface::xpathGetTextNode(result, path, root, sub, xml, 0), found);
        QTEST(result, "result");
    }
}

void TestPathLookups::takesTheMatchOfAnIndex_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("result");

    QTest::newRow("first") << text("a/v") << 0 << true << text("1");
    QTest::newRow("second, deeper") << text("a/v") << 1 << true << text("2");
    QTest::newRow("third, beyond the parent") << text("a/v") << 2 << true << text("3");
    QTest::newRow("without text") << text("a/v") << 3 << true << text("");
    QTest::newRow("one too many") << text("a/v") << 4 << false << text(untouched);
    QTest::newRow("negative") << text("a/v") << -1 << false << text(untouched);
    QTest::newRow("most negative") << text("a/v") << INT_MIN << false << text(untouched);
    QTest::newRow("largest") << text("a/v") << INT_MAX << false << text(untouched);
    QTest::newRow("counts behind the steps before") << text("b/v") << 1 << true << text("");
    QTest::newRow("nested in itself") << text("w") << 1 << true << text("5");
    QTest::newRow("not for the key") << text("b[k='9']/k") << 7 << true << text("9");
    QTest::newRow("negative for the key") << text("b[k='9']/k") << -1 << true << text("9");
}

void TestPathLookups::takesTheMatchOfAnIndex()
{
    QFETCH(QString, path);
    QFETCH(int, index);
    QFETCH(bool, found);
    const QString xml = text("<r><a><v>1</v><x><v>2</v></x></a><b><k>9</k><v>3</v><v/></b>"
                             "<w>4<w>5</w></w></r>");
    QString result = QLatin1String(untouched);
    QCOMPARE(KivInterface::xpathGetTextNode(result, QLatin1String("/p/q/") + path, text("/p"),
                                            text("/q"), xml, index),
             found);
    QTEST(result, "result");
}

void TestPathLookups::leavesTheStepsThatRemain_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("remaining");

    QTest::newRow("none given") << QString() << false << QString();
    QTest::newRow("found at once") << text("v") << true << text("v");
    QTest::newRow("found") << text("a/b/v") << true << text("v");
    QTest::newRow("the key") << text("a/b[k='1']/k") << true << text("k");
    QTest::newRow("first missing") << text("x/b/v") << false << text("x/b/v");
    QTest::newRow("second missing") << text("a/x/v") << false << text("x/v");
    QTest::newRow("list missing") << text("a/b[k='2']/v") << false << text("b[k='2']/v");
    QTest::newRow("last missing") << text("a/b/x") << false << text("x");
}

void TestPathLookups::leavesTheStepsThatRemain()
{
    QFETCH(QString, path);
    QFETCH(bool, found);
    QStringList steps = path.isNull() ? QStringList() : path.split(QLatin1Char('/'));
    QXmlStreamReader reader(text("<a><b><k>1</k><v>7</v></b></a>"));
    QString result;
    QCOMPARE(KivInterface::xpathFindTextNode(result, steps, reader, 0), found);
    QTEST(steps.join(text("/")), "remaining");
}

void TestPathLookups::takesAListStepApart_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("outputs");

    QTest::newRow("whole") << text("item[id='2']") << true << text("item|id|2");
    QTest::newRow("no brackets") << text("item") << false << text("-|-|-");
    QTest::newRow("empty") << text("") << false << text("-|-|-");
    QTest::newRow("null") << QString() << false << text("-|-|-");
    QTest::newRow("only brackets") << text("[][") << false << text("-|-|-");
    QTest::newRow("empty brackets") << text("item[]") << false << text("-|-|-");
    QTest::newRow("no list name") << text("[id='2']") << false << text("-|-|-");
    QTest::newRow("no list name, text behind") << text("[id='2']x") << false << text("id='2'|-|-");
    QTest::newRow("no equals sign") << text("item[id]") << false << text("item|-|-");
    QTest::newRow("no value") << text("item[id=]") << false << text("item|-|-");
    QTest::newRow("no key") << text("item[='2']") << false << text("item|-|-");
    QTest::newRow("only equals signs") << text("item[==]") << false << text("item|-|-");
    QTest::newRow("empty value") << text("item[id='']") << false << text("item|id|-");
    QTest::newRow("value of quotes") << text("item[id=''''']") << false << text("item|id|-");
    QTest::newRow("no quotes") << text("item[id=2]") << true << text("item|id|2");
    QTest::newRow("double quotes stay") << text("item[id=\"2\"]") << true << text("item|id|\"2\"");
    QTest::newRow("opening quote only") << text("item[id='2]") << true << text("item|id|2");
    QTest::newRow("text behind the value") << text("item[id='2'x]") << true << text("item|id|2");
    QTest::newRow("text before the value") << text("item[id=x'2']") << true << text("item|id|x");
    QTest::newRow("equals sign in the value")
        << text("item[id='a=b']") << true << text("item|id|a");
    QTest::newRow("doubled equals sign") << text("item[id=='2']") << true << text("item|id|2");
    QTest::newRow("bracket in the value") << text("item[id='a]b']") << true << text("item|id|a");
    QTest::newRow("second key") << text("item[id='2'][no='3']") << true << text("item|id|2");
    QTest::newRow("doubled brackets") << text("item[[id='2']]") << true << text("item|id|2");
    QTest::newRow("bracket in front") << text("[item[id='2']") << true << text("item|id|2");
    QTest::newRow("closing brackets open too") << text("item]id='2'[") << true << text("item|id|2");
    QTest::newRow("unclosed") << text("item[id='2'") << true << text("item|id|2");
    QTest::newRow("blanks count") << text(" item [ id = ' 2 ' ]") << true << text(" item | id | ");
}

void TestPathLookups::takesAListStepApart()
{
    QFETCH(QString, step);
    QFETCH(bool, valid);
    QString listName = text("-");
    QString keyName = text("-");
    QString keyValue = text("-");
    QCOMPARE(KivInterface::xpathValidateListNode(step, listName, keyName, keyValue), valid);
    const QStringList outputs = QStringList() << listName << keyName << keyValue;
    QTEST(outputs.join(text("|")), "outputs");
}

/** A list step taken apart by the means that its rules are stated in. */
static bool validateByRegex(const QString &step, QStringList &outputs)
{
    const QStringList parts = splitByRegex(step, "[\\[\\]]");
    if (parts.size() < 2)
        return false;
    outputs[0] = parts.at(0);
    const QStringList keyParts = splitByRegex(parts.at(1), "=");
    if (keyParts.size() < 2)
        return false;
    outputs[1] = keyParts.at(0);
    const QStringList values = splitByRegex(keyParts.at(1), "'");
    if (values.isEmpty())
        return false;
    outputs[2] = values.at(0);
    return true;
}

void TestPathLookups::cutsListStepsAsByRegularExpression()
{
    Random random(1);
    const int cases = randomCases(20000);
    int valid = 0;
    for (int i = 0; i < cases; ++i) {
        const QString step = randomWord(random, "ab[]='\\\" \n", 14);
        QString listName = text("-");
        QString keyName = text("-");
        QString keyValue = text("-");
        QStringList expected = QStringList() << listName << keyName << keyValue;
        const bool expectedValid = validateByRegex(step, expected);
        valid += expectedValid;
        QCOMPARE(KivInterface::xpathValidateListNode(step, listName, keyName, keyValue),
                 expectedValid);
        QCOMPARE(QStringList() << listName << keyName << keyValue, expected);
    }
    QVERIFY(valid > cases / 20);
}

void TestPathLookups::crawlsToANode_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("xml");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("next");

    QTest::newRow("first") << text("a") << text("<a>1</a>") << true << text("1");
    QTest::newRow("deeper") << text("b") << text("<a><x><b/></x></a>") << true << text("</b>");
    QTest::newRow("only starts count")
        << text("b") << text("<a><!--b--><?b b?>b<b>1</b></a>") << true << text("1");
    QTest::newRow("missing") << text("b") << text("<a>1</a>") << false << text("Invalid");
    QTest::newRow("cut off") << text("b") << text("<a>1</a") << false << text("Invalid");
    QTest::newRow("broken") << text("b") << text("<a></x><b/></a>") << false << text("Invalid");
    QTest::newRow("empty name") << text("") << text("<a>1</a>") << false << text("Invalid");
}

void TestPathLookups::crawlsToANode()
{
    QFETCH(QString, name);
    QFETCH(QString, xml);
    QFETCH(bool, found);
    QXmlStreamReader reader(xml);
    QCOMPARE(KivInterface::xpathCrawlToXmlNode(name, reader), found);
    if (found)
        QTEST(nextToken(reader), "next");
    else
        QVERIFY(reader.atEnd());
    // At the end it stays at the end.
    while (!reader.atEnd())
        reader.readNext();
    QVERIFY(!KivInterface::xpathCrawlToXmlNode(text("a"), reader));
}

void TestPathLookups::crawlsToAListEntry_data()
{
    QTest::addColumn<QString>("step"); // list|key|value
    QTest::addColumn<QString>("xml");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("next");

    const QString step = text("item|id|2");
    QTest::newRow("behind the key")
        << step << text("<l><item><id>2</id><v/></item></l>") << true << text("<v>");
    QTest::newRow("entries that do not match")
        << step
        << text("<l><item><id>1</id></item><item><id>22</id></item>"
                "<item><id>2</id><v/></item></l>")
        << true << text("<v>");
    QTest::newRow("no list around") << step << text("<id>2</id>") << true << text("EndDocument");
    QTest::newRow("missing") << step << text("<l><item><id>1</id></item></l>") << false
                             << QString();
    QTest::newRow("text of another element")
        << step << text("<l><item><no>2</no></item></l>") << false << QString();
    QTest::newRow("key without text, text deeper")
        << step << text("<l><item><id><x>2</x></id></item></l>") << false << QString();
    QTest::newRow("key with a comment before its text")
        << step << text("<l><item><id><!--c-->2</id></item></l>") << false << QString();
    QTest::newRow("only the first text of a key")
        << step << text("<l><item><id>2<!--c-->3</id><v/></item></l>") << true << text("<v>");
    QTest::newRow("value with blanks")
        << step << text("<l><item><id> 2</id></item></l>") << false << QString();
    QTest::newRow("key cut off before its end tag")
        << step << text("<l><item><id>2<") << false << QString();
    QTest::newRow("key cut off before its text")
        << step << text("<l><item><id>") << false << QString();
    QTest::newRow("broken before the key")
        << step << text("<l></m><item><id>2</id></item></l>") << false << QString();

    // Once matched, the next end of a key counts, wherever it is.
    QTest::newRow("key inside the matching key")
        << step << text("<l><item><id>2<id>3</id><w/></id><v/></item></l>") << true << text("<w>");
    QTest::newRow("end of an empty key inside does not count")
        << step << text("<l><item><id>2<id/><w/></id><v/></item></l>") << true << text("<v>");
    QTest::newRow("element inside the matching key")
        << step << text("<l><item><id>2<x/></id><v/></item></l>") << true << text("<v>");

    // An element named like the value ends the search, unless it is named like list or key.
    const QString named = text("item|id|x");
    QTest::newRow("element named like the value")
        << named << text("<l><item><id>y</id><x><v/></x></item></l>") << true << text("<v>");
    QTest::newRow("element named like the value, inside the key")
        << named << text("<l><id>x<x><v/></x></id></l>") << true << text("<v>");
    QTest::newRow("right behind the key's start tag it is not seen")
        << named << text("<l><id><x><v/></x></id></l>") << false << QString();
    QTest::newRow("end named like the value")
        << named << text("<l><id><x/></id></l>") << false << QString();
    QTest::newRow("list named like the value")
        << text("x|id|x") << text("<l><x><y/></x></l>") << false << QString();
    QTest::newRow("key named like the value")
        << text("item|x|x") << text("<l><x>y</x><x>x</x><v/></l>") << true << text("<v>");
    QTest::newRow("list named like the key")
        << text("id|id|2") << text("<l><id>2</id></l>") << false << QString();
}

void TestPathLookups::crawlsToAListEntry()
{
    QFETCH(QString, step);
    QFETCH(QString, xml);
    QFETCH(bool, found);
    const QStringList inputs = step.split(QLatin1Char('|'));
    QString listName = inputs.at(0);
    QString keyName = inputs.at(1);
    QString keyValue = inputs.at(2);
    QXmlStreamReader reader(xml);
    QCOMPARE(KivInterface::xpathCrawlToXmlList(listName, keyName, keyValue, reader), found);
    QCOMPARE(QStringList() << listName << keyName << keyValue, inputs);
    if (found)
        QTEST(nextToken(reader), "next");
    else
        QVERIFY(reader.atEnd());
}

void TestPathLookups::returnsTheTextOfANode_data()
{
    QTest::addColumn<QString>("xml");
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QString>("next");

    QTest::newRow("text") << text("<a><v>1</v></a>") << 0 << true << text("1") << text("</v>");
    QTest::newRow("no text") << text("<a><v/></a>") << 0 << true << QString() << text("</a>");
    QTest::newRow("an element first")
        << text("<a><v><b/>1</v></a>") << 0 << true << QString() << text("</b>");
    QTest::newRow("a comment first")
        << text("<a><v><!--c-->1</v></a>") << 0 << true << QString() << text("1");
    QTest::newRow("nested, second")
        << text("<a><v><v>1</v></v></a>") << 1 << true << text("1") << text("</v>");
    QTest::newRow("the start tag is all there is")
        << text("<a><v>") << 0 << true << QString() << text("Invalid");
    QTest::newRow("the start tag is cut off")
        << text("<a><v") << 0 << false << text(untouched) << QString();
    QTest::newRow("missing") << text("<a/>") << 0 << false << text(untouched) << QString();
    QTest::newRow("too few") << text("<a><v/></a>") << 1 << false << text(untouched) << QString();
    QTest::newRow("negative index")
        << text("<a><v/><v/></a>") << -2 << false << text(untouched) << QString();
}

void TestPathLookups::returnsTheTextOfANode()
{
    QFETCH(QString, xml);
    QFETCH(int, index);
    QFETCH(bool, found);
    QString name = text("v");
    QString result = QLatin1String(untouched);
    QXmlStreamReader reader(xml);
    QCOMPARE(KivInterface::xpathReturnXmlNode(result, name, reader, index), found);
    QTEST(result, "result");
    QCOMPARE(name, text("v"));
    if (found)
        QTEST(nextToken(reader), "next");
    else
        QVERIFY(reader.atEnd());
}

void TestPathLookups::findsTheValueOfAKey_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("keyName");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("value");

    QTest::newRow("list step") << text("interface[name='eth0']") << text("name") << true
                               << text("eth0");
    QTest::newRow("longer name") << text("interface[hostname='h']") << text("name") << true
                                 << text("h");
    QTest::newRow("name of the list") << text("names[id='7']") << text("name") << true << text("7");
    QTest::newRow("second key") << text("m[reporter='app'][rep_ref='7']") << text("rep_ref") << true
                                << text("7");
    QTest::newRow("first of two") << text("m[a='1']/n[a='2']") << text("a") << true << text("1");
    QTest::newRow("value that holds the key")
        << text("m[a='key'][b='2']") << text("key") << true << text("][b=");
    QTest::newRow("empty value") << text("m[a='']") << text("a") << true << text("");
    QTest::newRow("unclosed") << text("m[a='1") << text("a") << true << text("1");
    QTest::newRow("quote at the end") << text("m[a='") << text("a") << true << text("");
    QTest::newRow("no quote") << text("m[a=1]") << text("a") << false << text(untouched);
    QTest::newRow("behind the last quote")
        << text("m[a='1']/b") << text("b") << false << text(untouched);
    QTest::newRow("other case") << text("m[A='1']") << text("a") << false << text(untouched);
    QTest::newRow("missing") << text("m[a='1']") << text("c") << false << text(untouched);
    QTest::newRow("empty key") << text("m[a='1']") << text("") << true << text("1");
    QTest::newRow("empty text") << text("") << text("") << false << text(untouched);
    QTest::newRow("null text") << QString() << QString() << false << text(untouched);
    QTest::newRow("a quote alone") << text("'") << text("") << true << text("");
}

void TestPathLookups::findsTheValueOfAKey()
{
    QFETCH(QString, step);
    QFETCH(QString, keyName);
    QFETCH(bool, found);
    QString value = QLatin1String(untouched);
    QCOMPARE(KivInterface::xpathGetKey(step, keyName, value), found);
    QTEST(value, "value");
}

void TestPathLookups::cutsKeysAsBySplit()
{
    Random random(2);
    const int cases = randomCases(20000);
    int hits = 0;
    for (int i = 0; i < cases; ++i) {
        const QString step = randomWord(random, "abc'='", 12);
        const QString keyName = randomWord(random, "abc", 2);
        const QStringList pieces = step.split(QLatin1Char('\''));
        int holder = 0;
        while (holder < pieces.size() && !pieces.at(holder).contains(keyName))
            ++holder;
        const bool expected = holder + 1 < pieces.size();
        hits += expected;
        QString value = QLatin1String(untouched);
        QCOMPARE(KivInterface::xpathGetKey(step, keyName, value), expected);
        QCOMPARE(value, expected ? pieces.at(holder + 1) : QLatin1String(untouched));
    }
    QVERIFY(hits > cases / 20);
}

void TestPathLookups::survivesXmlCutAtEveryCharacter()
{
    const QString xml = text("<r><item><id>1</id><v>x</v></item>"
                             "<item><id>2</id><v>y</v></item><tail/></r>");
    const QString path = text("r/item[id='2']/v");
    // The text is known once the tag behind it begins; an element is found without its text.
    const int startTag = int(xml.indexOf(text("y")));
    const int textEnd = startTag + 2;
    for (int length = 0; length <= xml.length(); ++length) {
        QString result = QLatin1String(untouched);
        const bool found =
            KivInterface::xpathGetTextNode(result, path, QString(), xml.left(length));
        QCOMPARE(found, length >= startTag);
        QCOMPARE(result, length >= textEnd    ? text("y")
                         : length >= startTag ? text("")
                                              : QLatin1String(untouched));
    }
}

void TestPathLookups::readsNoFurtherThanTheElement()
{
    const QString head = text("<r><item><id>2</id><v>y</v>");
    const QString xml = head + QString(1000000, QLatin1Char('x'));
    QXmlStreamReader reader(xml);
    QStringList steps = QStringList() << text("item[id='2']") << text("v");
    QString result;
    QVERIFY(KivInterface::xpathFindTextNode(result, steps, reader, 0));
    QCOMPARE(result, text("y"));
    QVERIFY(reader.characterOffset() < head.length());
    QCOMPARE(nextToken(reader), text("</v>"));
}

void TestPathLookups::doesNotReadTheKeyOfAnEntryAgain()
{
    QXmlStreamReader reader(text("<r><item><id>2</id><id>3</id></item></r>"));
    QStringList steps = QStringList() << text("item[id='2']") << text("id");
    QString result;
    QVERIFY(KivInterface::xpathFindTextNode(result, steps, reader, 0));
    QCOMPARE(result, text("2"));
    QCOMPARE(nextToken(reader), text("<id>"));
    QCOMPARE(nextToken(reader), text("3"));
}

void TestPathLookups::writesOutputsOverInputs()
{
    const QString xml = text("<p><item><id>2</id><v>y</v></item></p>");
    QString path = text("p/item[id='2']/v");
    QVERIFY(KivInterface::xpathGetTextNode(path, path, text("p/"), xml));
    QCOMPARE(path, text("y"));
    QString prefix = text("p/");
    QVERIFY(KivInterface::xpathGetTextNode(prefix, text("p/v"), prefix, xml));
    QCOMPARE(prefix, text("y"));
    QString document = xml;
    QVERIFY(KivInterface::xpathGetTextNode(document, text("v"), text(""), text(""), document, 0));
    QCOMPARE(document, text("y"));
    const QString filling = QString(100000, QLatin1Char('x'));
    QString longDocument = text("<p>") + filling + text("<v>y</v>") + filling + text("</p>");
    QVERIFY(KivInterface::xpathGetTextNode(longDocument, text("v"), text(""), longDocument));
    QCOMPARE(longDocument, text("y"));

    QString name = text("v");
    QXmlStreamReader reader(xml);
    QVERIFY(KivInterface::xpathReturnXmlNode(name, name, reader, 0));
    QCOMPARE(name, text("y"));

    QString step = text("item[id='2']");
    QString keyName;
    QString keyValue;
    QVERIFY(KivInterface::xpathValidateListNode(step, step, keyName, keyValue));
    QCOMPARE(QStringList() << step << keyName << keyValue,
             QStringList() << text("item") << text("id") << text("2"));
    step = text("item[id='2']");
    QVERIFY(KivInterface::xpathValidateListNode(step, step, step, step));
    QCOMPARE(step, text("2"));

    QString same = text("id");
    QXmlStreamReader listReader(xml);
    QVERIFY(!KivInterface::xpathCrawlToXmlList(same, same, same, listReader));

    QString value = text("interface[name='eth0']");
    QVERIFY(KivInterface::xpathGetKey(value, text("name"), value));
    QCOMPARE(value, text("eth0"));
    value = text("name");
    QVERIFY(KivInterface::xpathGetKey(text("interface[name='eth0']"), value, value));
    QCOMPARE(value, text("eth0"));
}

QTEST_APPLESS_MAIN(TestPathLookups)

#include "tst_pathlookups.moc"

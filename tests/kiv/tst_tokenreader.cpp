// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/entities.h"
#include "kiv/tokenreader.h"
#include "plainreceiver.h"
#include "qtcompat/xml.h"
#include "random.h"
#include "texts.h"

#include <QtTest/QtTest>

#include <limits>

using namespace qvcommon;

namespace
{

typedef QXmlStreamReader Qxml;

template <typename Text>
QByteArray shownPiece(const Text &piece)
{
    return shown(piece.toString());
}

/** All that is asked of a reader behind a token. */
template <typename Reader>
QByteArray state(Reader &xml)
{
    QByteArray result = "token " + QByteArray::number(int(xml.tokenType()));
    if (xml.tokenType() == Qxml::StartElement || xml.tokenType() == Qxml::EndElement)
        result += " name " + shownPiece(xml.name());
    if (xml.tokenType() == Qxml::Characters)
        result += " text " + shownPiece(xml.text());
    return result + (xml.atEnd() ? " at end" : "") + (xml.hasError() ? " in error" : "") + ' ' +
           QByteArray::number(int(xml.error()));
}

bool isPlain(const TokenReader &xml)
{
    return xml.charactersLeft() != std::numeric_limits<Size>::max();
}

/** How many tokens are read in place, and the first one that is not as Qt's reader has it. */
struct Comparison {
    int plainTokens;
    QByteArray difference;
};

Comparison compareWithQt(const QString &text)
{
    Comparison result = {0, QByteArray()};
    if (!limitsEntities() && hasGrowingEntities(text))
        return result; // which is refused in place of Qt's reader
    Qxml qt;
    qt.addData(text);
    TokenReader tokens(text);
    // Nobody reads on behind the end, but if one does, the answer is that of Qt's reader too.
    for (int further = 3; further > 0; further -= qt.atEnd() || qt.hasError()) {
        const Qxml::TokenType expected = qt.readNext();
        const Qxml::TokenType token = tokens.readNext();
        result.plainTokens += isPlain(tokens);
        if (token != expected || state(tokens) != state(qt)) {
            result.difference =
                state(tokens) + " instead of " + state(qt) + " in " + shown(text.left(1000));
            break;
        }
    }
    return result;
}

/** Well-formed texts that are read in place. */
const char *const plainTexts[] = {
    "<a/>",
    "<a />",
    "<a></a>",
    "<a ></a >",
    "<a>x</a>",
    "<a>x</a>\r",
    "\r\n <a>x</a>\r\n \t",
    "<a><b>1</b><c/>2<d> </d>\n</a>",
    "<a\r><b\n/></a\t>",
    "<a>&amp;&lt;&gt;&quot;&apos;</a>",
    "<a>x &amp; y</a>",
    "<a>&#65;&#x42;&#x6a;&#xE9;&#00065;</a>",
    "<a>&#9;&#10;&#13;&#x20AC;&#xd7ff;</a>",
    "<a>1\r2\r\n3\n\r4\r\r5\r</a>",
    "<a>\r&#13;\r\n&#10;</a>",
    "<a>x>y ] ]] ]x></a>",
    "<a>'\"=/!?%;#</a>",
    "<a>\xe9\x85\xa0\x7f\xff</a>",
    "<_a-b.c_1><A/></_a-b.c_1>",
    "<xml><xmlns/></xml>",
    "<a><a><a></a></a></a>",
    "<reply><ref>7</ref><out><get><path>/x</path><data><a>1</a><b/></data></get></out></reply>\r",
};

/** Texts that Qt's reader has to judge, in the middle or from the beginning. */
const char *const otherTexts[] = {
    "",
    " ",
    "x",
    "<",
    "<>",
    "</a>",
    "<a>",
    "<a><b></a></b>",
    "<a></b>",
    "<a></a ",
    "<a>x</a>y",
    "<a/><b/>",
    "<a/><!-- c -->",
    "<a/>\x01",
    "<a>\x01</a>",
    "<a>x\x0c</a>",
    "<a>]]></a>",
    "<a>x]]>y</a>",
    "<a>&#93;]></a>",
    "<a>]></a>",
    "<a>&</a>",
    "<a>&;</a>",
    "<a>&amp</a>",
    "<a>&Amp;</a>",
    "<a>&unknown;</a>",
    "<a>&muchlongerthanthat;</a>",
    "<a>&#;</a>",
    "<a>&#x;</a>",
    "<a>&#0;</a>",
    "<a>&#1;</a>",
    "<a>&#x1F600;</a>",
    "<a>&#xfffe;</a>",
    "<a>&#xd800;</a>",
    "<a>&#xe000;</a>",
    "<a>&#4294967361;</a>",
    "<a>&#6a;</a>",
    "<a>&#X41;</a>",
    "<a>&#-5;</a>",
    "<a b='c'/>",
    "<a b='c' b='d'/>",
    "<a><b c=\"&lt;\">x</b></a>",
    "<a xmlns='u'><b/></a>",
    "<a xmlns:p='u'><p:b/></a>",
    "<p:a/>",
    "<a:/>",
    "<-a/>",
    "<1/>",
    "<.a/>",
    "<\xe9/>",
    "<a\xe9/>",
    "< a/>",
    "<a / >",
    "<a/ >",
    "</ a>",
    "<a></a/>",
    "<a><b</a>",
    "<?xml version='1.0'?><a>x</a>",
    "<?xml version='1.0' encoding='UTF-8'?><a>\xe9</a>",
    " <?xml version='1.0'?><a/>",
    "<a><?target data?></a>",
    "<a>x<!-- c -->y</a>",
    "<a>x<![CDATA[<&>]]>y</a>",
    "<a><![CDATA[]]></a>",
    "<!DOCTYPE a><a/>",
    "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>",
    "<!-- c --><a/>",
};

const int plainCount = int(sizeof plainTexts / sizeof *plainTexts);
const int otherCount = int(sizeof otherTexts / sizeof *otherTexts);

/** Some of the two tables put together, and damaged. */
QString randomText(Random &random)
{
    const auto piece = [&]() {
        return latin1(random.below(3) ? plainTexts[random.below(plainCount)]
                                      : otherTexts[random.below(otherCount)]);
    };
    QString text = latin1("<r>");
    for (int pieces = random.below(4); pieces >= 0; --pieces)
        text += piece();
    text += latin1("</r>");
    const ushort rare[] = {0,      1,      9,      10,     13,     ' ',    '<',    '>',
                           '&',    '/',    ']',    ';',    '#',    'a',    ':',    '"',
                           '!',    '?',    0x85,   0xe9,   0xd7,   0x20ac, 0xd800, 0xdc00,
                           0xd83d, 0xe000, 0xfeff, 0xfffd, 0xfffe, 0xffff};
    for (int damages = random.below(3); damages > 0 && !text.isEmpty(); --damages) {
        const int at = random.below(int(text.length()));
        switch (random.below(4)) {
        case 0:
            text.truncate(at);
            break;
        case 1:
            text.remove(at, 1 + random.below(4));
            break;
        case 2:
            text.insert(at, QChar(random.oneOf(rare)));
            break;
        default:
            text[at] = QChar(random.oneOf(rare));
        }
    }
    return text;
}

QString nested(int depth, const QString &middle)
{
    return latin1("<a>").repeated(depth) + middle + latin1("</a>").repeated(depth);
}

} // namespace

class TestTokenReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void plainTextsAreReadInPlace_data();
    void plainTextsAreReadInPlace();
    void otherTextsAreReadByQt_data();
    void otherTextsAreReadByQt();
    void textsCutAtEveryCharacter();
    void everyCharacter();
    void longNames_data();
    void longNames();
    void deepNesting_data();
    void deepNesting();
    void randomTexts();
    void notAheadOfTheReader();
    void textsThatChangeMeanwhile();
    void textsWithoutAnEndMark();
    void aReaderOfTheCallers();
    void growingEntities_data();
    void growingEntities();
    void declarationsTakeLinearTime();
    void growingEntitiesAreRefused();
    void droppedCharactersHideNoGrowingEntities();
};

void TestTokenReader::plainTextsAreReadInPlace_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : plainTexts)
        QTest::newRow(text) << latin1(text);
    QTest::newRow("beyond Latin-1") << latin1("<a>") + QChar(0x20ac) + QChar(0xd7ff) +
                                           QChar(0xe000) + QChar(0xfdcf) + latin1("</a>");
}

void TestTokenReader::plainTextsAreReadInPlace()
{
    QFETCH(QString, text);
    const Comparison comparison = compareWithQt(text);
    QCOMPARE(comparison.difference, QByteArray());
    Qxml qt(text);
    int tokens = 0;
    for (; !qt.atEnd(); ++tokens)
        qt.readNext();
    QVERIFY(!qt.hasError());
    QCOMPARE(comparison.plainTokens, tokens);
}

void TestTokenReader::otherTextsAreReadByQt_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : otherTexts)
        QTest::newRow(text) << latin1(text);
    const QChar wrong[] = {QChar(0),      QChar(0xd800), QChar(0xdc00), QChar(0xd83d),
                           QChar(0xfdd0), QChar(0xfffe), QChar(0xffff)};
    for (const QChar character : wrong) {
        QTest::newRow(("U+" + QByteArray::number(character.unicode(), 16)).constData())
            << latin1("<a><b/>") + character + latin1("</a>");
    }
    QTest::newRow("surrogate at the end") << latin1("<a>") + QChar(0xd800);
    QTest::newRow("surrogate pair")
        << latin1("<a>") + QChar(0xd83d) + QChar(0xde00) + latin1("</a>");
    QTest::newRow("byte order mark") << QChar(0xfeff) + latin1("<a/>");
}

void TestTokenReader::otherTextsAreReadByQt()
{
    QFETCH(QString, text);
    const Comparison comparison = compareWithQt(text);
    QCOMPARE(comparison.difference, QByteArray());
    TokenReader tokens(text);
    while (!isFinished(tokens))
        tokens.readNext();
    QVERIFY(!isPlain(tokens));
}

void TestTokenReader::textsCutAtEveryCharacter()
{
    QStringList texts;
    for (const char *text : plainTexts)
        texts << latin1(text);
    for (const char *text : otherTexts)
        texts << latin1(text);
    for (const QString &text : texts) {
        for (int length = 0; length <= int(text.length()); ++length) {
            const Comparison cut = compareWithQt(text.left(length));
            QVERIFY2(cut.difference.isEmpty(), cut.difference.constData());
            const Comparison behind = compareWithQt(text.mid(length));
            QVERIFY2(behind.difference.isEmpty(), behind.difference.constData());
        }
    }
}

/** Asked for a share of the random cases, a share of these too, and always the ends of blocks. */
static bool isTried(uint code)
{
    static const uint step = uint((0x10000 + randomCases(0x10000) - 1) / randomCases(0x10000));
    return code < 0x180 || code % 128 < 2 || code % 128 > 124 || code % step == 0;
}

void TestTokenReader::everyCharacter()
{
    for (uint code = 0; code <= 0xffff; ++code) {
        if (!isTried(code))
            continue;
        const QChar character = QChar(ushort(code));
        for (const char *begin : {"<a>", "<a>&#13;", "<"}) {
            const QString text = latin1(begin) + character + latin1("</a>");
            const Comparison comparison = compareWithQt(text);
            QVERIFY2(comparison.difference.isEmpty(), comparison.difference.constData());
            if (code >= 0x180 && *begin == '<' && !begin[1])
                break;
        }
        if (code < 0xd800 || code % 64 > 60) {
            const QString text = latin1("<a>&#") + QString::number(code) + latin1(";</a>");
            const Comparison comparison = compareWithQt(text);
            QVERIFY2(comparison.difference.isEmpty(), comparison.difference.constData());
        }
    }
}

void TestTokenReader::longNames_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("plain");
    QTest::newRow("4095") << 4095 << true;
    QTest::newRow("4096") << 4096 << true;
    QTest::newRow("4097") << 4097 << false;
    QTest::newRow("100000") << 100000 << false;
}

void TestTokenReader::longNames()
{
    QFETCH(int, length);
    QFETCH(bool, plain);
    const QString name(length, QLatin1Char('n'));
    const Comparison comparison = compareWithQt(latin1("<a><") + name + latin1("/></a>"));
    QCOMPARE(comparison.difference, QByteArray());
    QCOMPARE(comparison.plainTokens > 2, plain);
}

void TestTokenReader::deepNesting_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<QString>("middle");
    QTest::addColumn<bool>("plain");
    QTest::newRow("63") << 63 << "x" << true;
    QTest::newRow("64") << 64 << "x" << true;
    QTest::newRow("65") << 65 << "x" << false;
    QTest::newRow("1000") << 1000 << "x" << false;
    QTest::newRow("63 and an empty one") << 63 << "<b/>" << true;
    QTest::newRow("64 and an empty one") << 64 << "<b/>" << false;
    QTest::newRow("63 and one with an attribute") << 63 << "<b c='d'/>" << false;
    QTest::newRow("1000 and one with an attribute") << 1000 << "<b c='d'/>" << false;
}

void TestTokenReader::deepNesting()
{
    QFETCH(int, depth);
    QFETCH(QString, middle);
    QFETCH(bool, plain);
    const Comparison comparison = compareWithQt(nested(depth, middle));
    QCOMPARE(comparison.difference, QByteArray());
    QVERIFY(comparison.plainTokens > std::min(depth, 64));
    QCOMPARE(comparison.plainTokens > 2 * depth, plain);
}

void TestTokenReader::randomTexts()
{
    Random random(11);
    for (int i = randomCases(20000); i > 0; --i) {
        const Comparison comparison = compareWithQt(randomText(random));
        QVERIFY2(comparison.difference.isEmpty(), comparison.difference.constData());
    }
}

void TestTokenReader::notAheadOfTheReader()
{
    const QString front = latin1("<a><b>x</b><c/>");
    const QString text = front + latin1("<d>y</d>").repeated(100000) + latin1("</a>");
    TokenReader tokens(text);
    for (int i = 0; i < 5; ++i)
        tokens.readNext();
    QVERIFY(tokens.charactersLeft() >= text.size() - front.size());
    QVERIFY(isPlain(tokens));
}

void TestTokenReader::textsThatChangeMeanwhile()
{
    QString text = latin1("<a><b>first</b></a>");
    TokenReader tokens(text);
    tokens.readNext();
    text.fill(QLatin1Char('y'));
    text = QString();
    QString value;
    while (tokens.readNext() != Qxml::Characters && !isFinished(tokens))
        ;
    QCOMPARE(tokens.text().toString(), latin1("first"));
}

void TestTokenReader::textsWithoutAnEndMark()
{
    const QString all = latin1("<a>x</a>y</a>");
    for (int length = 0; length <= int(all.length()); ++length) {
        // Behind the text there is more in memory, which does not count.
        const QString part = QString::fromRawData(all.constData(), length);
        const Comparison comparison = compareWithQt(part);
        QCOMPARE(comparison.difference, QByteArray());
    }
}

void TestTokenReader::aReaderOfTheCallers()
{
    Qxml qt(latin1("<a><b>1</b><c d='e'>2</c></a>"));
    qt.readNext();
    qt.readNext();
    {
        TokenReader tokens(qt);
        QCOMPARE(tokens.tokenType(), Qxml::StartElement);
        QCOMPARE(tokens.name().toString(), latin1("a"));
        QCOMPARE(tokens.readNext(), Qxml::StartElement);
        QString value;
        readFollowingText(tokens, value);
        QCOMPARE(value, latin1("1"));
    }
    QCOMPARE(qt.tokenType(), Qxml::Characters);
    QCOMPARE(qt.readNext(), Qxml::EndElement);
    TokenReader tokens(qt);
    while (!isFinished(tokens))
        tokens.readNext();
    QVERIFY(qt.atEnd());
}

void TestTokenReader::growingEntities_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("growing");
    const auto row = [](const char *name, const QString &declarations, bool growing) {
        QTest::newRow(name) << latin1("<!DOCTYPE a [") + declarations + latin1("]><a/>") << growing;
    };
    const auto entity = [](int length) {
        return latin1("<!ENTITY e '") + QString(length, QLatin1Char('x')) + latin1("'>");
    };
    QTest::newRow("no document type") << latin1("<a><!-- <!ENTITY e '&f;'> --></a>") << false;
    row("nothing", QString(), false);
    row("plain", latin1("<!ENTITY e 'x'><!ENTITY f \"y's\">"), false);
    row("two levels", latin1("<!ENTITY e 'x'><!ENTITY f '&e;&e;'>"), true);
    row("in double quotes", latin1("<!ENTITY f \"'&e;\">"), true);
    row("across lines", latin1("<!ENTITY\n f\n '\n&e;\n'\n>"), true);
    row("a reference to the character &", latin1("<!ENTITY f '&#38;e;'>"), true);
    row("to it as x26", latin1("<!ENTITY f '&#x26;e;'>"), true);
    row("to it as 0038", latin1("<!ENTITY f '&#0038;e;'>"), true);
    row("a reference to the character %", latin1("<!ENTITY f '&#37;e;'>"), true);
    row("to it as 037", latin1("<!ENTITY f '&#037;e;'>"), true);
    row("to it as x0025", latin1("<!ENTITY f '&#x0025;e;'>"), true);
    row("a reference to another character", latin1("<!ENTITY f '&#38000;&#65;&#x3c;'>"), false);
    row("another character, then an entity", latin1("<!ENTITY f '&#65;&e;'>"), true);
    row("a reference to no character", latin1("<!ENTITY f '&#4294967334;e;'>"), true);
    row("a reference that does not end", latin1("<!ENTITY f '&#65'>"), true);
    row("parameter entities", latin1("<!ENTITY % p 'x'><!ENTITY % q '%p;%p;'>"), true);
    row("inside of another's value", latin1("<!ENTITY % p \"<!ENTITY e '&f;'>\">"), true);
    row("in an attribute's default", latin1("<!ATTLIST a b CDATA '&e;'><!ENTITY e 'x'>"), false);
    row("of 4096 characters", entity(4096), false);
    row("of 4097 characters", entity(4097), true);
    row("with a long name", latin1("<!ENTITY ") + QString(5000, QLatin1Char('n')) + latin1(" 'x'>"),
        true);
    QTest::newRow("cut off") << latin1("<!DOCTYPE a [<!ENTITY e") << false;
    QTest::newRow("cut off in the value") << latin1("<!DOCTYPE a [<!ENTITY e 'x") << false;
    QTest::newRow("cut off behind 4097 characters")
        << latin1("<!DOCTYPE a [<!ENTITY e '") + QString(4097, QLatin1Char('x')) << true;
}

void TestTokenReader::growingEntities()
{
    QFETCH(QString, text);
    QFETCH(bool, growing);
    QCOMPARE(hasGrowingEntities(text), growing);
}

void TestTokenReader::declarationsTakeLinearTime()
{
    const QString text = latin1("<!DOCTYPE a [") + latin1("<!ENTITY").repeated(200000);
    QVERIFY(hasGrowingEntities(text)); // none of them has a value within reach
}

/** A text with an entity that grows tenfold with each level. */
static QString growingText(int levels)
{
    QString declarations = latin1("<!ENTITY e0 '0123456789'>");
    for (int i = 1; i <= levels; ++i) {
        declarations += QString::fromLatin1("<!ENTITY e%1 '").arg(i) +
                        QString::fromLatin1("&e%1;").arg(i - 1).repeated(10) + latin1("'>");
    }
    return latin1("<!DOCTYPE a [") + declarations +
           QString::fromLatin1("]><a>&e%1;</a>").arg(levels);
}

/** Reads a text to its end, or to a long piece of text. */
static bool holdsLongText(TokenReader &tokens)
{
    while (!isFinished(tokens)) {
        if (tokens.readNext() == Qxml::Characters && tokens.text().size() >= 5000)
            return true;
    }
    return false;
}

void TestTokenReader::growingEntitiesAreRefused()
{
    TokenReader tokens(growingText(12));
    QVERIFY(!holdsLongText(tokens));
    QCOMPARE(tokens.tokenType(), Qxml::Invalid);
}

void TestTokenReader::droppedCharactersHideNoGrowingEntities()
{
    // Qt 4 passes over these: a NUL, half a surrogate pair, and the first half with the next one.
    const QString dropped[] = {QString(QChar(0)), QString(QChar(0xdc00)), QString(QChar(0xd800)),
                               QString(QChar(0xd800)) + QLatin1Char('x')};
    const QString text = growingText(4);
    for (const QString &characters : dropped) {
        for (int at = 0; at <= int(text.size()); ++at) {
            TokenReader tokens(QString(text).insert(at, characters));
            QVERIFY2(!holdsLongText(tokens), shown(characters) + " at " + QByteArray::number(at));
        }
    }
}

QTEST_MAIN(TestTokenReader)
#include "tst_tokenreader.moc"

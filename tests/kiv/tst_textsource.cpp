// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plainreceiver.h"
#include "random.h"
#include "textsource.h"
#include "xmltokens.h"

#include <QtCore/QIODevice>
#include <QtTest/QtTest>

using namespace qvcommon;

namespace
{

const int inOnePiece = 8192; // bytes that readers take from a device at once

/** The first token that is not as addData() of the text gives it, or an empty text. */
QByteArray difference(const QString &text)
{
    QXmlStreamReader xml;
    const TextSource source(xml, text);
    return differenceToNewReader(text, tokensOf(xml));
}

/** Some markup or text; what is opened is noted in @a open. */
QString randomPiece(Random &random, QStringList &open)
{
    static const char *const pieces[] = {"text",
                                         " ",
                                         "\r",
                                         "\r\n",
                                         "\t",
                                         "&amp;",
                                         "&#233;",
                                         "\xe9",
                                         "\xff\xa0",
                                         "<x/>",
                                         "<!-- c -->",
                                         "<?target d?>",
                                         "<![CDATA[<&>]]>",
                                         "<y z='1' w=\"&lt;\xe4\"/>",
                                         "<p:q xmlns:p='u'/>",
                                         "&lt;",
                                         "]]",
                                         "%1"};
    if (random.below(4) == 0) {
        open << QString(QLatin1Char(char('a' + random.below(20))));
        return QLatin1Char('<') + open.last() + QLatin1Char('>');
    }
    if (open.size() > 1 && random.below(3) == 0)
        return QLatin1String("</") + open.takeLast() + QLatin1Char('>');
    return QLatin1String(pieces[random.below(int(sizeof pieces / sizeof *pieces))]);
}

QString randomDocument(Random &random)
{
    QStringList open(QLatin1String("root"));
    QString text = QLatin1String("<root>");
    for (int pieces = random.below(3000); pieces > 0; --pieces)
        text += randomPiece(random, open);
    while (!open.isEmpty())
        text += QLatin1String("</") + open.takeLast() + QLatin1Char('>');
    return text;
}

/** Damages a document in one place, or not. */
void damage(QString &text, Random &random)
{
    const int at = random.below(int(text.length()));
    const ushort rare[] = {0,     1,      0x0c,   '<',    '&',    '>',
                           0x100, 0x20ac, 0xd800, 0xdc00, 0xfeff, 0xffff};
    switch (random.below(4)) {
    case 0:
        text.truncate(at);
        break;
    case 1:
        text.remove(at, 1 + random.below(8));
        break;
    case 2:
        text.insert(at, QChar(rare[random.below(int(sizeof rare / sizeof *rare))]));
        break;
    default:
        break;
    }
}

QString filled(int length, ushort code = 'x')
{
    return QString(length, QChar(code));
}

} // namespace

class TestTextSource : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void likeAddData_data();
    void likeAddData();
    void aroundTheEndOfAPiece_data();
    void aroundTheEndOfAPiece();
    void randomDocuments();
    void longTextsArriveInPieces_data();
    void longTextsArriveInPieces();
    void noFurtherThanRead();
};

void TestTextSource::likeAddData_data()
{
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QString &begin, const QString &end) {
        QTest::newRow(name) << begin + filled(3 * inOnePiece) + end;
        QTest::newRow((QByteArray(name) + ", short").constData()) << begin + end;
    };
    const QString a = QLatin1String("<a>");
    const QString end = QLatin1String("</a>");
    const QString bom = QString(QChar(0xfeff));
    const QString nul = QString(QChar(0));
    QTest::newRow("nothing") << QString();
    QTest::newRow("one character") << QString(QLatin1Char('<'));
    QTest::newRow("three characters") << a;
    QTest::newRow("four characters") << QString(QLatin1String("<ab>"));
    QTest::newRow("four bytes") << QLatin1String("<a>") + QChar(0xe9);
    row("plain", a, end);
    row("cut off", a, QString());
    row("tag cut off", a, QLatin1String("</a"));
    row("wrong tag", a, QLatin1String("</b>"));
    row("more than one element", a, QLatin1String("</a><b/>"));
    row("something behind", a, QLatin1String("</a> \r<!-- c --> x"));
    row("no element", QString(), QString());
    row("declaration", QLatin1String("<?xml version='1.0'?><a>"), end);
    row("declaration of Latin-1",
        QLatin1String("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9"), end);
    row("declaration of UTF-16", QLatin1String("<?xml version='1.0' encoding='UTF-16'?><a>"), end);
    row("declaration of nonsense", QLatin1String("<?xml version='1.0' encoding='nonsense'?><a>"),
        end);
    row("blank before the declaration",
        QLatin1String(" <?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9"), end);
    row("instruction like a declaration", QLatin1String("<?xmlx encoding='UTF-16'?><a>"), end);
    row("byte order mark", bom + a, end);
    row("byte order mark and declaration",
        bom + QLatin1String("<?xml version='1.0' encoding='UTF-16'?><a>"), end);
    row("bytes of a byte order mark", QLatin1String("\xff\xfe<a>"), end);
    row("bytes of the other byte order mark", QLatin1String("\xfe\xff<a>"), end);
    row("bytes of the mark of UTF-8", QLatin1String("\xef\xbb\xbf<a>"), end);
    row("NUL in front", nul + a, end);
    row("NUL behind the first character", QLatin1Char('<') + nul + QLatin1String("a>"), end);
    row("NUL in the text", a + nul, end);
    row("NUL at the end", a, end + nul);
    row("beyond Latin-1", a + QChar(0x100) + QChar(0x20ac), end);
    row("name beyond Latin-1", QLatin1Char('<') + QString(QChar(0x3b1)) + QLatin1String("><a>"),
        end + QLatin1String("</") + QChar(0x3b1) + QLatin1Char('>'));
    row("surrogate pair", a + QChar(0xd83d) + QChar(0xde00), end);
    row("lone surrogate", a + QChar(0xd83d), end);
    row("no character", a + QChar(0xffff), end);
    row("no character either", a + QChar(0xfffe), end);
    row("entities of its own",
        QLatin1String("<!DOCTYPE a [<!ENTITY e 'x<b/>&#60;'><!ATTLIST b c CDATA 'd'>]><a>&e;"),
        QLatin1String("<b/>&e;&f;</a>"));
}

void TestTextSource::likeAddData()
{
    QFETCH(QString, text);
    QCOMPARE(difference(text), QByteArray());
}

void TestTextSource::aroundTheEndOfAPiece_data()
{
    QTest::addColumn<QString>("middle");
    const auto row = [](const char *middle) {
        QTest::newRow(middle) << QString(QLatin1String(middle));
    };
    row("\xe9");
    row("\xe9\xe8x\xff");
    row("&amp;");
    row("</a><a>");
    row("<b c='d\xe9'/>");
    row("<![CDATA[]]]>");
    row("\r\n");
    row("<!-- \xe9 -->");
    row("&e");
}

void TestTextSource::aroundTheEndOfAPiece()
{
    QFETCH(QString, middle);
    // Pieces with a character beyond ASCII hold half as many characters, or one fewer.
    for (int piece = inOnePiece / 2; piece <= inOnePiece; piece += inOnePiece / 2) {
        for (int before = piece - 30; before < piece + 10; ++before) {
            const QString text = QLatin1String("<r><a>") + filled(before) + middle +
                                 filled(2 * inOnePiece) + QLatin1String("</a></r>");
            const QByteArray wrong = difference(text);
            QVERIFY2(wrong.isEmpty(), wrong + " with " + QByteArray::number(before) + " before");
        }
    }
}

void TestTextSource::randomDocuments()
{
    Random random(7);
    for (int i = randomCases(1000); i > 0; --i) {
        QString text = randomDocument(random);
        damage(text, random);
        const QByteArray wrong = difference(text);
        QVERIFY2(wrong.isEmpty(), wrong + " in " + shown(text));
    }
}

void TestTextSource::longTextsArriveInPieces_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("inPieces");
    const QString ascii = QLatin1String("<a>") + filled(2 * inOnePiece);
    QTest::newRow("ASCII") << ascii << true;
    QTest::newRow("Latin-1") << ascii + QChar(0xff) << true;
    QTest::newRow("beyond Latin-1") << ascii + QChar(0x100) << false;
    QTest::newRow("NUL") << ascii + QChar(0) << false;
    QTest::newRow("declaration") << QLatin1String("<?xml version='1.0'?>") + ascii << false;
    QTest::newRow("short") << QString(QLatin1String("<a/>")) << false;
}

void TestTextSource::longTextsArriveInPieces()
{
    QFETCH(QString, text);
    QFETCH(bool, inPieces);
    QXmlStreamReader xml;
    const TextSource source(xml, text);
    QCOMPARE(xml.device() != nullptr, inPieces);
}

void TestTextSource::noFurtherThanRead()
{
    const int size = 100 * inOnePiece;
    const QString text = QLatin1String("<a><b/>") + filled(size);
    QXmlStreamReader xml;
    const TextSource source(xml, text);
    QCOMPARE(xml.device()->bytesAvailable(), qint64(text.size()));
    while (!xml.isEndElement())
        xml.readNext();
    QVERIFY(xml.device()->bytesAvailable() >= size - inOnePiece);
    while (!xml.atEnd())
        xml.readNext();
    QCOMPARE(xml.device()->bytesAvailable(), qint64(0));
}

QTEST_MAIN(TestTextSource)
#include "tst_textsource.moc"

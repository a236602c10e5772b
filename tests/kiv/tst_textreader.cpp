// SPDX-License-Identifier: LGPL-2.1-or-later
#include "textreader.h"
#include "xmltokens.h"

#include <QtTest/QtTest>

using namespace qvcommon;

namespace
{

/** What one text may leave behind for the next one to find. */
const char *const texts[] = {
    "<a/>",
    "<a>text</a>\r",
    "<a><b>1</b><b c='d'>2</b></a>",
    "<?xml version='1.0' encoding='UTF-8' standalone='yes'?><a/>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9</a>",
    "<!DOCTYPE a [<!ENTITY e 'x'><!ATTLIST a b CDATA 'c'>]><a>&e;</a>",
    "<!DOCTYPE a SYSTEM 'b'><a>&e;</a>",
    "<a>&e;</a>",
    "<a b='&e;'/>",
    "<a xmlns='u'><b/></a>",
    "<a xmlns:p='u'><p:b/></a>",
    "<a xmlns:p='u'><p:b>",
    "<a xmlns='u'><b></c></a>",
    "<p:a/>",
    "<a><p:b/></a>",
    "<a><?target data?></a>",
    "<a><!-- c --><![CDATA[d]]></a>",
    "<a>cut o",
    "<a><b><c>",
    "<a><b c='cut",
    "<a/><b/>",
    "<a/>text",
    "</a>",
    "<a>&amp;&#65;&unfinished",
    "text",
    "<",
    "<a>\xe9</a>",
};

const int textCount = int(sizeof texts / sizeof *texts);

QString textAt(int index)
{
    return QLatin1String(texts[index]);
}

QByteArray readText(const QString &text)
{
    TextReader reader(text);
    return differenceToNewReader(text, tokensOf(reader.xml()));
}

/** A mark that clear() leaves on a reader. */
class Mark : public QXmlStreamEntityResolver
{
};

} // namespace

class TestTextReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void nothingIsLeftOfTheTextBefore();
    void nothingIsLeftOfHalfAText();
    void kept_data();
    void kept();
    void keptWithALittleLeft_data();
    void keptWithALittleLeft();
    void oneInsideTheOther();
    void theTextMayChange();
};

void TestTextReader::cleanup()
{
    TextReader::forget();
}

void TestTextReader::nothingIsLeftOfTheTextBefore()
{
    for (int first = 0; first < textCount; ++first) {
        for (int second = 0; second < textCount; ++second) {
            QCOMPARE(readText(textAt(first)), QByteArray());
            const QByteArray wrong = readText(textAt(second));
            QVERIFY2(wrong.isEmpty(), wrong + " behind " + texts[first]);
        }
    }
}

void TestTextReader::nothingIsLeftOfHalfAText()
{
    for (int first = 0; first < textCount; ++first) {
        for (int tokens = 0; tokens < 8; ++tokens) {
            {
                const QString text = textAt(first);
                TextReader reader(text);
                for (int i = 0; i < tokens; ++i)
                    reader.xml().readNext();
            }
            for (int second = 0; second < textCount; ++second) {
                const QByteArray wrong = readText(textAt(second));
                QVERIFY2(wrong.isEmpty(), wrong + " behind a part of " + texts[first]);
            }
        }
    }
}

void TestTextReader::kept_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("kept");
    const auto row = [](const char *text, bool kept) {
        QTest::newRow(text) << QString(QLatin1String(text)) << kept;
    };
    row("<a/>", true);
    row("<a b='c' xmlns:p='u'>&amp;<p:d/></a>\r", true);
    row("<?xml version='1.0'?><a/>", true);
    row("<a>", false);
    row("<a></b>", false);
    row("<a/>text", false);
    row("<!DOCTYPE a><a/>", false);
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("long") << QLatin1String("<a>") + QString(5000, QLatin1Char('x')) +
                                 QLatin1String("</a>")
                          << false;
}

void TestTextReader::kept()
{
    QFETCH(QString, text);
    QFETCH(bool, kept);
    Mark mark;
    {
        TextReader reader(text);
        reader.xml().setEntityResolver(&mark);
        tokensOf(reader.xml());
    }
    TextReader next(text);
    QCOMPARE(next.xml().entityResolver() == &mark, kept);
}

void TestTextReader::keptWithALittleLeft_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("kept");
    const QString begin = QLatin1String("<a><b>7");
    const QString end = QLatin1String("</b></a>");
    const auto rest = [&](int length) {
        return QLatin1String("<c/>") + QString(length, QLatin1Char(' ')) + end;
    };

    QTest::newRow("nothing else") << begin + end << true;
    QTest::newRow("a little") << begin + rest(30) << true;
    QTest::newRow("more") << begin + rest(40) << false;
    QTest::newRow("never closed") << begin + QLatin1String("</b>") << false;
    QTest::newRow("wrong at the end") << begin + end + QLatin1String("<d/>") << false;
}

void TestTextReader::keptWithALittleLeft()
{
    QFETCH(QString, text);
    QFETCH(bool, kept);
    Mark mark;
    {
        TextReader reader(text);
        reader.xml().setEntityResolver(&mark);
        while (reader.xml().tokenType() != QXmlStreamReader::Characters)
            reader.xml().readNext();
    }
    TextReader next(text);
    QCOMPARE(next.xml().entityResolver() == &mark, kept);
}

void TestTextReader::oneInsideTheOther()
{
    const QString text = QLatin1String("<a><b>1</b></a>");
    readText(text);
    TextReader outer(text);
    outer.xml().readNext();
    outer.xml().readNext();
    TextReader inner(text);
    QVERIFY(&inner.xml() != &outer.xml());
    QCOMPARE(differenceToNewReader(text, tokensOf(inner.xml())), QByteArray());
    QCOMPARE(outer.xml().name().toString(), QString(QLatin1Char('a')));
    outer.xml().readNext();
    QCOMPARE(outer.xml().name().toString(), QString(QLatin1Char('b')));
}

void TestTextReader::theTextMayChange()
{
    const QString original =
        QLatin1String("<a>") + QString(100000, QLatin1Char('x')) + QLatin1String("</a>");
    QString text = original;
    TextReader reader(text);
    text.fill(QLatin1Char('y'));
    text = QString();
    QCOMPARE(differenceToNewReader(original, tokensOf(reader.xml())), QByteArray());
}

QTEST_MAIN(TestTextReader)
#include "tst_textreader.moc"

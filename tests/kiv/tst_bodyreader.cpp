// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bodyreader.h"
#include "xmltokens.h"

#include <QtTest/QtTest>

using namespace qvcommon;

namespace
{

/** What one body may leave behind for the next one to find. */
const char *const bodies[] = {
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

const int bodyCount = int(sizeof bodies / sizeof *bodies);

QString body(int index)
{
    return QLatin1String(bodies[index]);
}

QByteArray readBody(const QString &text)
{
    BodyReader reader(text);
    return differenceToNewReader(text, tokensOf(reader.xml()));
}

/** A mark that clear() leaves on a reader. */
class Mark : public QXmlStreamEntityResolver
{
};

} // namespace

class TestBodyReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void nothingIsLeftOfTheBodyBefore();
    void nothingIsLeftOfHalfABody();
    void kept_data();
    void kept();
    void oneInsideTheOther();
    void theBodyMayChange();
};

void TestBodyReader::cleanup()
{
    BodyReader::forget();
}

void TestBodyReader::nothingIsLeftOfTheBodyBefore()
{
    for (int first = 0; first < bodyCount; ++first) {
        for (int second = 0; second < bodyCount; ++second) {
            QCOMPARE(readBody(body(first)), QByteArray());
            const QByteArray wrong = readBody(body(second));
            QVERIFY2(wrong.isEmpty(), wrong + " behind " + bodies[first]);
        }
    }
}

void TestBodyReader::nothingIsLeftOfHalfABody()
{
    for (int first = 0; first < bodyCount; ++first) {
        for (int tokens = 0; tokens < 8; ++tokens) {
            {
                const QString text = body(first);
                BodyReader reader(text);
                for (int i = 0; i < tokens; ++i)
                    reader.xml().readNext();
            }
            for (int second = 0; second < bodyCount; ++second) {
                const QByteArray wrong = readBody(body(second));
                QVERIFY2(wrong.isEmpty(), wrong + " behind a part of " + bodies[first]);
            }
        }
    }
}

void TestBodyReader::kept_data()
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

void TestBodyReader::kept()
{
    QFETCH(QString, text);
    QFETCH(bool, kept);
    Mark mark;
    {
        BodyReader reader(text);
        reader.xml().setEntityResolver(&mark);
        tokensOf(reader.xml());
    }
    BodyReader next(text);
    QCOMPARE(next.xml().entityResolver() == &mark, kept);
}

void TestBodyReader::oneInsideTheOther()
{
    const QString text = QLatin1String("<a><b>1</b></a>");
    readBody(text);
    BodyReader outer(text);
    outer.xml().readNext();
    outer.xml().readNext();
    BodyReader inner(text);
    QVERIFY(&inner.xml() != &outer.xml());
    QCOMPARE(differenceToNewReader(text, tokensOf(inner.xml())), QByteArray());
    QCOMPARE(outer.xml().name().toString(), QString(QLatin1Char('a')));
    outer.xml().readNext();
    QCOMPARE(outer.xml().name().toString(), QString(QLatin1Char('b')));
}

void TestBodyReader::theBodyMayChange()
{
    const QString original =
        QLatin1String("<a>") + QString(100000, QLatin1Char('x')) + QLatin1String("</a>");
    QString text = original;
    BodyReader reader(text);
    text.fill(QLatin1Char('y'));
    text = QString();
    QCOMPARE(differenceToNewReader(original, tokensOf(reader.xml())), QByteArray());
}

QTEST_MAIN(TestBodyReader)
#include "tst_bodyreader.moc"

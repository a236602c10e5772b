// SPDX-License-Identifier: LGPL-2.1-or-later

// Messages of a daemon that means harm: entities, external files, depth, attributes, huge names. None of
// them makes the client read a file, or take more memory than a few times the message.

#include "kivfixture.h"
#include "temporaryfolder.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <sys/resource.h>

class TestHostileXml : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsNoFile_data();
    void readsNoFile();
    void refusesEntitiesThatGrow();
    void goesAsDeepAsTheMessage_data();
    void goesAsDeepAsTheMessage();
    void dropsAttributesHoweverMany();
    void handlesTheNextMessageAllTheSame();
};

namespace
{

/** A get reply with a declaration in front. */
QString reply(const QString &declaration, const QString &data)
{
    return declaration + latin1("<reply><ref>r</ref><out><get><data>") + data +
           latin1("</data></get></out></reply>");
}

QString grownEntities()
{
    QString declarations = latin1("<!ENTITY e0 '0123456789'>");
    for (int i = 1; i <= 12; ++i) {
        declarations += QString::fromLatin1("<!ENTITY e%1 '").arg(i) +
                        QString::fromLatin1("&e%1;").arg(i - 1).repeated(10) + latin1("'>");
    }
    return reply(latin1("<!DOCTYPE reply [") + declarations + latin1("]>"), latin1("&e12;"));
}

QString got(const QString &data)
{
    return latin1("signal: get(r, ") + data + latin1(")");
}

/** The most memory that the process has had, in kB. */
long mostMemory()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

void TestHostileXml::readsNoFile_data()
{
    QTest::addColumn<QString>("declaration");
    QTest::addColumn<QString>("data");
    QTest::newRow("entity") << latin1("<!DOCTYPE reply [<!ENTITY e SYSTEM \"%1\">]>")
                            << latin1("a&e;b");
    QTest::newRow("entity by URL")
        << latin1("<!DOCTYPE reply [<!ENTITY e SYSTEM \"file://%1\">]>") << latin1("a&e;b");
    QTest::newRow("parameter entity")
        << latin1("<!DOCTYPE reply [<!ENTITY % e SYSTEM \"%1\"> %e;]>") << latin1("ab");
    QTest::newRow("document type") << latin1("<!DOCTYPE reply SYSTEM \"%1\">") << latin1("a&e;b");
}

void TestHostileXml::readsNoFile()
{
    QFETCH(QString, declaration);
    QFETCH(QString, data);
    const TemporaryFolder folder;
    QFile file(folder.filePath(QLatin1String("secret")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("<!ENTITY e 'secret'>") > 0);
    file.close();
    KivFixture fixture;
    fixture.take();
    QString body = reply(declaration.arg(file.fileName()), data);
    fixture.kiv->handleKivMsgBody(body);
    for (const QString &line : fixture.take())
        QVERIFY2(!line.contains(latin1("secret")), qPrintable(line));
}

void TestHostileXml::refusesEntitiesThatGrow()
{
    KivFixture fixture;
    fixture.take();
    const long before = mostMemory();
    QString body = grownEntities();
    fixture.kiv->handleKivMsgBody(body);
    const QStringList said = fixture.take();
    QVERIFY(said.contains(traced("reportKivParsingErr", "Kiv meg frame error")));
    for (const QString &line : said)
        QVERIFY2(!line.startsWith(latin1("signal: ")), qPrintable(line.left(100)));
    QVERIFY(mostMemory() - before < 50000); // of a thousand million characters
}

void TestHostileXml::goesAsDeepAsTheMessage_data()
{
    QTest::addColumn<QString>("begin");
    QTest::newRow("plain") << latin1("<a>");
    QTest::newRow("with attributes") << latin1("<a b='c'>");
}

void TestHostileXml::goesAsDeepAsTheMessage()
{
    QFETCH(QString, begin);
    const int depth = 200000;
    KivFixture fixture;
    fixture.take();
    QString body = reply(QString(), begin.repeated(depth) + latin1("</a>").repeated(depth));
    fixture.kiv->handleKivMsgBody(body);
    const QString data = latin1("<a>").repeated(depth) + latin1("</a>").repeated(depth);
    QVERIFY(sameRecord(fixture.take(), QStringList(got(data))));
}

/** The time for them grows with the square of their number: seconds for tens of thousands. */
void TestHostileXml::dropsAttributesHoweverMany()
{
    KivFixture fixture;
    fixture.take();
    QString attributes;
    for (int i = 0; i < 3000; ++i)
        attributes += QString::fromLatin1(" a%1=\"1\"").arg(i);
    QString body = reply(QString(), latin1("<x") + attributes + latin1("/>"));
    fixture.kiv->handleKivMsgBody(body);
    QVERIFY(sameRecord(fixture.take(), QStringList(got(latin1("<x></x>")))));
}

void TestHostileXml::handlesTheNextMessageAllTheSame()
{
    KivFixture fixture;
    QStringList bodies = QStringList()
                         << grownEntities() << latin1("<a>").repeated(100000) << latin1("<")
                         << latin1("<a b='") + QString(1000000, QLatin1Char('x'))
                         << latin1("<") + QString(1000000, QLatin1Char('n')) + latin1(">")
                         << latin1("<!DOCTYPE ") + latin1("<!ENTITY").repeated(10000)
                         << latin1("<a>&unknown;</a>") << latin1("<![CDATA[") << latin1("<?x");
    for (QString &body : bodies) {
        fixture.kiv->handleKivMsgBody(body);
        fixture.take();
        QString next = reply(QString(), latin1("<b>1</b>"));
        fixture.kiv->handleKivMsgBody(next);
        QVERIFY(sameRecord(fixture.take(), QStringList(got(latin1("<b>1</b>")))));
    }
}

QTEST_MAIN(TestHostileXml)
#include "tst_hostilexml.moc"

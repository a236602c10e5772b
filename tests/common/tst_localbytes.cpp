// SPDX-License-Identifier: LGPL-2.1-or-later
#include "localbytes.h"

#include "localcodec.h"

#include <QtCore/QString>
#include <QtTest/QTest>

#include <cstring>

using qvcommon::LocalBytes;

class TestLocalBytes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void equalTheConversion_data();
    void equalTheConversion();
};

void TestLocalBytes::cleanup()
{
    setLocalCodec(nullptr);
}

void TestLocalBytes::equalTheConversion_data()
{
    const struct {
        const char *name;
        QString text;
    } texts[] = {{"null", QString()},
                 {"empty", QLatin1String("")},
                 {"ASCII", QLatin1String("<request><ref>r1</ref>\r\n\f\n \x01\x7f+~\\")},
                 {"Latin-1", QLatin1String("caf\xe9")},
                 {"others", QString(QChar(0x20ac)) + QLatin1String(" 5")},
                 {"half a character", QLatin1String("a") + QString(QChar(0xd83d))},
                 {"NUL within", QLatin1String("ab") + QString(QChar(0)) + QLatin1String("cd")},
                 {"NUL in front", QString(QChar(0)) + QLatin1String("cd")},
                 {"1023", QString(1023, QLatin1Char('x'))},
                 {"1024", QString(1024, QLatin1Char('x'))},
                 {"long", QString(100000, QLatin1Char('x'))},
                 {"long, others", QString(100000, QChar(0xe9))}};

    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("codec");
    for (const char *const codec : {"", "UTF-8", "ISO-8859-1", "UTF-16", "Shift_JIS", "rot"}) {
        for (const auto &row : texts) {
            QTest::newRow(
                qPrintable(QLatin1String(codec) + QLatin1String(" ") + QLatin1String(row.name)))
                << row.text << QByteArray(codec);
        }
    }
}

void TestLocalBytes::equalTheConversion()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, codec);
    if (!codec.isEmpty())
        setLocalCodec(codec.constData());
    const QByteArray expected = text.toLocal8Bit();
    for (int times = 0; times < 2; ++times) {
        const LocalBytes bytes(text);
        QVERIFY(std::strcmp(bytes.constData(), expected.constData()) == 0);
    }
}

QTEST_APPLESS_MAIN(TestLocalBytes)
#include "tst_localbytes.moc"

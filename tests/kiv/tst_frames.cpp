// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frames.h"
#include "plainreceiver.h"

#include <QtTest/QtTest>

using namespace qvcommon;

namespace
{

const QString separator = QLatin1String("\f\n");

QString randomText(Random &random, int longest)
{
    const ushort characters[] = {0x0c, 0x0c, 0x0a, 0x0a, 0x09, 0x0d, 0,      '<',
                                 'a',  'b',  0x0b, 0xe9, 0x85, 0x20, 0x20ac, 0x0109};
    QString text;
    for (int left = random.below(longest + 1); left > 0; --left) {
        if (random.below(4) == 0)
            text += separator;
        text += QChar(characters[random.below(int(sizeof characters / sizeof *characters))]);
    }
    return text;
}

QString text(int length, char character)
{
    return QString(length, QLatin1Char(character));
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleaned_data();
    void cleaned();
    void cleanedBehindWhatIsThere();
    void taken_data();
    void taken();
    void searchedPartIsNotSearchedAgain();
    void likeThePlainFormulation();
    void hugeFrames_data();
    void hugeFrames();
    void hugeFrameIsHandedOnWithoutACopy();
    void growthIsLinear();
    void memoryOfAHugeFrameIsReleased();
    void discarded_data();
    void discarded();
};

void TestFrames::cleaned_data()
{
    QTest::addColumn<QString>("received");
    QTest::addColumn<QString>("kept");
    const QString nul = QString(QChar(0));
    const auto row = [](const char *name, const QString &received, const QString &kept) {
        QTest::newRow(name) << received << kept;
    };
    const QLatin1String ff("\f");
    row("nothing", QString(), QString());
    row("plain", QLatin1String("abc"), QLatin1String("abc"));
    row("tabs and line feeds", QLatin1String("\ta\t\tb\n\nc\n"), QLatin1String("abc"));
    row("only tabs and line feeds", QLatin1String("\t\n\n\t"), QString());
    row("carriage return, vertical tab", QLatin1String("\r\n\v"), QLatin1String("\r\v"));
    row("separator", QLatin1String("a\f\nb"), QLatin1String("a\f\nb"));
    row("second line feed behind a form feed", QLatin1String("\f\n\n"), QLatin1String("\f\n"));
    row("tab behind a form feed", QLatin1String("\f\t\tx"), QLatin1String("\f\tx"));
    row("letter behind a form feed", QLatin1String("\fxy\n"), QLatin1String("\fxy"));
    row("form feed behind a form feed", QLatin1String("\f\f\nx"), QLatin1String("\f\fx"));
    row("three form feeds", QLatin1String("\f\f\f\n"), QLatin1String("\f\f\f\n"));
    row("form feed at the end", QLatin1String("a\f"), QLatin1String("a\f") + nul);
    row("form feed alone", ff, ff + nul);
    row("two form feeds at the end", QLatin1String("a\f\f"), QLatin1String("a\f\f"));
    row("three form feeds at the end", QLatin1String("a\f\f\f"), QLatin1String("a\f\f\f") + nul);
    row("NUL", QLatin1Char('a') + nul + QLatin1Char('b'),
        QLatin1Char('a') + nul + QLatin1Char('b'));
    row("low byte of a tab", QString(QChar(0x0109)), QString(QChar(0x0109)));
    row("low byte of a line feed", QString(QChar(0x010a)), QString(QChar(0x010a)));
    row("low byte of a form feed", QString(QChar(0x010c)) + QLatin1Char('\n'),
        QString(QChar(0x010c)));
}

void TestFrames::cleaned()
{
    QFETCH(QString, received);
    QFETCH(QString, kept);
    QString buffer;
    appendCleaned(buffer, received);
    QCOMPARE(shown(buffer), shown(kept));
}

void TestFrames::cleanedBehindWhatIsThere()
{
    // What is there already is never looked at.
    QString buffer = QLatin1String("\t\n\f");
    appendCleaned(buffer, QLatin1String("\n\tx"));
    QCOMPARE(shown(buffer), shown(QLatin1String("\t\n\fx")));
    appendCleaned(buffer, QString());
    QCOMPARE(shown(buffer), shown(QLatin1String("\t\n\fx")));
}

void TestFrames::taken_data()
{
    QTest::addColumn<QString>("buffer");
    QTest::addColumn<QStringList>("frames");
    QTest::addColumn<QString>("kept");
    QTest::addColumn<bool>("unfinished");
    const auto row = [](const char *buffer, const char *frames, const char *kept, bool unfinished) {
        const QString list = QLatin1String(frames);
        QTest::newRow(shown(QLatin1String(buffer)).constData())
            << QString(QLatin1String(buffer))
            << (list.isEmpty() ? QStringList() : list.split(QLatin1Char('|')))
            << QString(QLatin1String(kept)) << unfinished;
    };
    row("", "", "", false);
    row("\f\n", "", "\f\n", false);
    row("\f\n\f\n", "", "\f\n\f\n", false);
    row("X", "", "X", true);
    row("X\f\n", "X", "", false);
    row("X\f\nY\f\n", "X|Y", "", false);
    row("X\f\nY", "X", "Y", true);
    row("X\f\n\f\nY\f\n", "X|Y", "", false);
    row("X\f\n\f\n", "X", "", false);
    row("\f\nX", "", "X", true);
    row("\f\n\f\nX", "", "X", true);
    row("\f\nX\f\n", "X", "", false);
    row("\f\n\f\nX\f\nY\f\nZ", "X|Y", "Z", true);
    row("X\fY", "", "X\fY", true);
    row("X\f\f\nY", "X\f", "Y", true);
    row("\n", "", "\n", true);
    row("\n\f\n\f", "\n", "\f", true);
}

void TestFrames::taken()
{
    QFETCH(QString, buffer);
    QFETCH(QStringList, frames);
    QFETCH(QString, kept);
    QFETCH(bool, unfinished);
    const FrameCut cut = takeFrames(buffer, 0);
    QCOMPARE(cut.frames, frames);
    QCOMPARE(buffer, kept);
    QCOMPARE(cut.unfinished, unfinished);
}

void TestFrames::searchedPartIsNotSearchedAgain()
{
    // Such a buffer never arises; it shows where the search begins.
    QString buffer = QLatin1String("X\f\nY");
    const FrameCut none = takeFrames(buffer, 4);
    QVERIFY(none.frames.isEmpty());
    QVERIFY(none.unfinished);
    QCOMPARE(buffer, QString(QLatin1String("X\f\nY")));
    buffer += QLatin1String("\f\nZ");
    const FrameCut one = takeFrames(buffer, 4);
    QCOMPARE(one.frames, QStringList(QLatin1String("X\f\nY")));
    QCOMPARE(buffer, QString(QLatin1Char('Z')));
}

void TestFrames::likeThePlainFormulation()
{
    Random random(1);
    const int streams = 100000;
    for (int i = 0; i < streams; ++i) {
        QString buffer;
        PlainReceiver plain;
        QByteArray story;
        for (int reads = 1 + random.below(6); reads > 0; --reads) {
            const QString received = randomText(random, 12);
            story += shown(received) + " | ";
            const QStringList expected = plain.read(received);

            const Size kept = buffer.size();
            appendCleaned(buffer, received);
            const FrameCut cut = takeFrames(buffer, kept);
            QVERIFY2(cut.frames == expected, story.constData());
            QVERIFY2(buffer == plain.buffer, story.constData());
            QVERIFY2(cut.unfinished == plain.unfinished, story.constData());
        }
    }
}

void TestFrames::hugeFrames_data()
{
    const int huge = receiveReserve + 1;
    QTest::addColumn<QStringList>("reads");
    const auto row = [](const char *name, const QStringList &reads) {
        QTest::newRow(name) << reads;
    };
    row("just as large as the room", QStringList(text(receiveReserve, 'x') + separator));
    row("alone", QStringList(text(huge, 'x') + separator));
    row("with something behind", QStringList(text(huge, 'x') + separator + QLatin1Char('y')));
    row("with a separator behind", QStringList(text(huge, 'x') + separator + separator));
    row("behind a separator", QStringList(separator + text(huge, 'x') + separator));
    row("behind a kept separator", QStringList() << separator << text(huge, 'x') + separator);
    row("behind a frame", QStringList(QLatin1String("a\f\n") + text(huge, 'x') + separator));
    row("in two reads", QStringList() << text(huge, 'x') << text(huge, 'y') + separator);
    row("separator alone", QStringList() << text(huge, 'x') << separator);
    row("two", QStringList(text(huge, 'x') + separator + text(huge, 'y') + separator));
    row("two and a beginning",
        QStringList() << text(huge, 'x') + separator + text(huge, 'y') + separator + text(huge, 'z')
                      << text(huge, 'z') << separator << QLatin1String("\n")
                      << QLatin1String("last\f\n"));
}

void TestFrames::hugeFrames()
{
    QFETCH(QStringList, reads);
    QString buffer;
    PlainReceiver plain;
    for (const QString &received : reads) {
        const QStringList expected = plain.read(received);
        const Size kept = buffer.size();
        appendCleaned(buffer, received);
        const FrameCut cut = takeFrames(buffer, kept);
        QVERIFY(cut.frames == expected);
        QVERIFY(buffer == plain.buffer);
        QCOMPARE(cut.unfinished, plain.unfinished);
    }
}

void TestFrames::hugeFrameIsHandedOnWithoutACopy()
{
    QString buffer;
    appendCleaned(buffer, text(2 * receiveReserve, 'x') + separator);
    const QChar *const before = buffer.constData();
    const FrameCut cut = takeFrames(buffer, 0);
    QCOMPARE(int(cut.frames.size()), 1);
    QCOMPARE(cut.frames.first().constData(), before);
    QVERIFY(buffer.isEmpty());
}

void TestFrames::growthIsLinear()
{
    const int pieces = 4096;
    const QString piece = text(4096, 'x');
    QString buffer;
    buffer.reserve(receiveReserve);
    int moves = 0;
    qint64 moved = 0;
    for (int i = 0; i < pieces; ++i) {
        const Size kept = buffer.size();
        const Size capacity = buffer.capacity();
        appendCleaned(buffer, piece);
        if (buffer.capacity() != capacity) {
            ++moves;
            moved += kept;
        }
        const Size grown = buffer.capacity();
        const QChar *const place = buffer.constData();
        const FrameCut cut = takeFrames(buffer, kept);
        QVERIFY(cut.unfinished && cut.frames.isEmpty());
        QCOMPARE(buffer.constData(), place);
        QCOMPARE(buffer.capacity(), grown);
    }
    QCOMPARE(qint64(buffer.size()), qint64(pieces) * piece.size());
    // Growth in steps of a fixed size would copy hundreds of times as much as there is.
    QVERIFY2(moved < 8 * qint64(buffer.size()), QByteArray::number(moved).constData());
    QVERIFY2(moves < 64, QByteArray::number(moves).constData());
}

void TestFrames::memoryOfAHugeFrameIsReleased()
{
    QString buffer;
    buffer.reserve(receiveReserve);
    appendCleaned(buffer, text(20 * receiveReserve, 'x') + separator + QLatin1Char('y'));
    QVERIFY(buffer.capacity() >= 20 * receiveReserve);
    takeFrames(buffer, 0);
    QCOMPARE(buffer, QString(QLatin1Char('y')));
    QVERIFY(buffer.capacity() <= 2 * receiveReserve);

    // Ordinary frames leave the reserved room alone.
    QString reserved;
    reserved.reserve(receiveReserve);
    for (int i = 0; i < 3; ++i) {
        appendCleaned(reserved, QLatin1String("abc\f\nd"));
        takeFrames(reserved, i);
        QVERIFY(reserved.capacity() >= receiveReserve);
    }
}

void TestFrames::discarded_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("small") << 10;
    QTest::newRow("as large as the room") << receiveReserve;
    QTest::newRow("huge") << 20 * receiveReserve;
}

void TestFrames::discarded()
{
    QFETCH(int, size);
    QString buffer;
    buffer.reserve(receiveReserve);
    appendCleaned(buffer, text(size, 'x'));
    discardReceived(buffer);
    QVERIFY(buffer.isEmpty());
    QVERIFY(buffer.capacity() <= 2 * receiveReserve);
    if (size <= receiveReserve)
        QVERIFY(buffer.capacity() >= receiveReserve);
}

QTEST_MAIN(TestFrames)
#include "tst_frames.moc"

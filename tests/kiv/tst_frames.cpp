// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/frames.h"
#include "plainreceiver.h"
#include "qtcompat/text.h"
#include "random.h"

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

QByteArray bytes(int length, char character)
{
    return QByteArray(length, character);
}

/** What a reception has to say, with the buffer that it leaves behind. */
QByteArray shownReception(const Reception &reception, const QString &buffer)
{
    QByteArray result = QByteArray::number(int(reception.received)) + '>' +
                        QByteArray::number(int(reception.filtered)) + ':';
    for (const QString &frame : reception.frames)
        result += ' ' + shown(frame);
    return result + " | " + shown(buffer) + (reception.unfinished ? " ..." : "");
}

/** The same of the plain formulation. */
QByteArray readPlainly(PlainReceiver &plain, const QString &text)
{
    Reception reception;
    reception.frames = plain.read(text);
    reception.received = Size(text.length());
    reception.filtered = Size(plain.filtered);
    reception.unfinished = plain.unfinished;
    return shownReception(reception, plain.buffer);
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cutsWhatIsReceived_data();
    void cutsWhatIsReceived();
    void takesTextsBeyondLatin1_data();
    void takesTextsBeyondLatin1();
    void losesBytesBehindANul();
    void doesNotLookAtTheKeptPartAgain();
    void equalsThePlainFormulation_data();
    void equalsThePlainFormulation();
    void takesHugeFrames_data();
    void takesHugeFrames();
    void wastesNoMemoryOnAHugeFrame();
    void growsLinearly();
    void releasesTheMemoryOfAHugeFrame();
    void keepsItsReserveWhenItDiscards_data();
    void keepsItsReserveWhenItDiscards();
};

void TestFrames::cutsWhatIsReceived_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("frames");
    QTest::addColumn<QString>("kept");
    const auto row = [](const char *name, const char *text, const char *frames,
                        const QString &kept) {
        QTest::newRow(name) << QString(QLatin1String(text)) << QString(QLatin1String(frames))
                            << kept;
    };
    const auto keep = [](const char *text) { return QString(QLatin1String(text)); };
    const QString nul = QString(QChar(0));
    row("nothing", "", "", QString());
    row("plain", "abc", "", keep("abc"));
    row("tabs and line feeds", "\ta\t\tb\n\nc\n", "", keep("abc"));
    row("only tabs and line feeds", "\t\n\n\t", "", QString());
    row("carriage return, vertical tab", "\r\n\v", "", keep("\r\v"));
    row("high bytes", "\xe9\n\x85\xff", "", keep("\xe9\x85\xff"));
    row("second line feed behind a form feed", "x\f\n\ny", "x", keep("y"));
    row("tab behind a form feed", "\f\t\tx", "", keep("\f\tx"));
    row("letter behind a form feed", "\fxy\n", "", keep("\fxy"));
    row("form feed behind a form feed", "\f\f\nx", "", keep("\f\fx"));
    row("three form feeds", "\f\f\f\nx", "\f\f", keep("x"));
    row("form feed at the end", "a\f", "", keep("a\f") + nul);
    row("form feed alone", "\f", "", keep("\f") + nul);
    row("two form feeds at the end", "a\f\f", "", keep("a\f\f"));
    row("three form feeds at the end", "a\f\f\f", "", keep("a\f\f\f") + nul);
    row("separator", "\f\n", "", keep("\f\n"));
    row("two separators", "\f\n\f\n", "", keep("\f\n\f\n"));
    row("frame", "X\f\n", "X", QString());
    row("two frames", "X\f\nY\f\n", "X|Y", QString());
    row("frame and a beginning", "X\f\nY", "X", keep("Y"));
    row("empty frame between", "X\f\n\f\nY\f\n", "X|Y", QString());
    row("empty frame behind", "X\f\n\f\n", "X", QString());
    row("separator before a beginning", "\f\nX", "", keep("X"));
    row("two separators before a beginning", "\f\n\f\nX", "", keep("X"));
    row("separator before a frame", "\f\nX\f\n", "X", QString());
    row("all of it", "\f\n\f\nX\f\nY\f\nZ", "X|Y", keep("Z"));
    row("form feed at the end of a frame", "X\f\f\nY", "", keep("X\f\fY"));
}

void TestFrames::cutsWhatIsReceived()
{
    QFETCH(QString, text);
    QFETCH(QString, frames);
    QFETCH(QString, kept);
    const QStringList list = frames.isEmpty() ? QStringList() : frames.split(QLatin1Char('|'));
    const QString separators = QLatin1String("\f\n\f\n");
    QString buffer;
    const Reception reception = receive(buffer, text.toLatin1());
    QCOMPARE(reception.frames, list);
    QCOMPARE(shown(buffer), shown(kept));
    QCOMPARE(reception.unfinished, !separators.startsWith(kept));

    QString sameBuffer;
    const Reception same = receiveText(sameBuffer, text);
    QCOMPARE(shownReception(same, sameBuffer), shownReception(reception, buffer));
}

void TestFrames::takesTextsBeyondLatin1_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kept");
    const QString nul = QString(QChar(0));
    const QString a = QLatin1String("a");
    const QString b = QLatin1String("b");
    QTest::newRow("NUL") << a + nul + b << a + nul + b;
    QTest::newRow("low byte of a tab") << QString(QChar(0x0109)) << QString(QChar(0x0109));
    QTest::newRow("low byte of a line feed") << QString(QChar(0x010a)) << QString(QChar(0x010a));
    QTest::newRow("low byte of a form feed")
        << QString(QChar(0x010c)) + QLatin1Char('\n') << QString(QChar(0x010c));
}

void TestFrames::takesTextsBeyondLatin1()
{
    QFETCH(QString, text);
    QFETCH(QString, kept);
    QString buffer;
    receiveText(buffer, text);
    QCOMPARE(shown(buffer), shown(kept));
}

void TestFrames::losesBytesBehindANul()
{
    QString buffer;
    const Reception reception = receive(buffer, QByteArray("a\tb\0c\f\n", 7));
    QCOMPARE(shownReception(reception, buffer), QByteArray("3>2: | ab ..."));
    receive(buffer, QByteArray("\0d", 2));
    QCOMPARE(shown(buffer), QByteArray("ab"));
    const Reception next = receive(buffer, "e\f\n");
    QCOMPARE(shownReception(next, buffer), QByteArray("3>5: abe | "));
}

void TestFrames::doesNotLookAtTheKeptPartAgain()
{
    // Such a buffer never arises; it shows what is looked at.
    QString buffer = QLatin1String("\t\nX\f\nY");
    const Reception none = receive(buffer, QByteArray());
    QCOMPARE(shownReception(none, buffer), QByteArray("0>6: | [9][a]X[c][a]Y ..."));
    const Reception one = receive(buffer, "\f\nZ");
    QCOMPARE(shownReception(one, buffer), QByteArray("3>9: [9][a]X[c][a]Y | Z ..."));
}

void TestFrames::equalsThePlainFormulation_data()
{
    QTest::addColumn<int>("longest");
    QTest::addColumn<int>("streams");
    QTest::newRow("short reads") << 12 << 100000;
    QTest::newRow("many separators in a read") << 400 << 500;
}

void TestFrames::equalsThePlainFormulation()
{
    QFETCH(int, longest);
    QFETCH(int, streams);
    Random random(1);
    for (int i = randomCases(streams); i > 0; --i) {
        QString buffer;
        QString byteBuffer;
        PlainReceiver plain;
        PlainReceiver bytePlain;
        QByteArray story;
        for (int reads = 1 + random.below(6); reads > 0; --reads) {
            const QString text = randomText(random, longest);
            story += shown(text) + " | ";
            const QByteArray expected = readPlainly(plain, text);
            const Reception reception = receiveText(buffer, text);
            QVERIFY2(shownReception(reception, buffer) == expected, story.constData());

            const QByteArray received = text.toLatin1();
            const QByteArray byteExpected = readPlainly(bytePlain, fromCString(received));
            const Reception byteReception = receive(byteBuffer, received);
            QVERIFY2(shownReception(byteReception, byteBuffer) == byteExpected, story.constData());
        }
    }
}

void TestFrames::takesHugeFrames_data()
{
    const QString x = QString(receiveReserve + 1, QLatin1Char('x'));
    const QString y = QString(receiveReserve + 1, QLatin1Char('y'));
    QTest::addColumn<QStringList>("reads");
    const auto row = [](const char *name, const QStringList &reads) {
        QTest::newRow(name) << reads;
    };
    row("just as large as the reserve", QStringList(x.mid(1) + separator));
    row("alone", QStringList(x + separator));
    row("with something behind", QStringList(x + separator + QLatin1Char('y')));
    row("with a separator behind", QStringList(x + separator + separator));
    row("behind a separator", QStringList(separator + x + separator));
    row("behind a kept separator", QStringList() << separator << x + separator);
    row("behind a frame", QStringList(QLatin1String("a\f\n") + x + separator));
    row("in two reads", QStringList() << x << y + separator);
    row("separator alone", QStringList() << x << separator);
    row("two", QStringList(x + separator + y + separator));
    row("two and a beginning", QStringList() << x + separator + y + separator + x << y << separator
                                             << QLatin1String("\n") << QLatin1String("last\f\n"));
}

void TestFrames::takesHugeFrames()
{
    QFETCH(QStringList, reads);
    QString buffer;
    PlainReceiver plain;
    for (const QString &received : reads) {
        const QByteArray expected = readPlainly(plain, received);
        const Reception reception = receive(buffer, received.toLatin1());
        QVERIFY(shownReception(reception, buffer) == expected);
    }
}

void TestFrames::wastesNoMemoryOnAHugeFrame()
{
    const int length = 3 * receiveReserve;
    QString buffer;
    for (int i = 0; i < 3; ++i)
        receive(buffer, bytes(receiveReserve, 'x'));
    const Reception reception = receive(buffer, "\f\n");
    QCOMPARE(int(reception.frames.size()), 1);
    QCOMPARE(int(reception.frames.first().size()), length);
    QVERIFY(reception.frames.first().capacity() < length + 1024);
    QVERIFY(buffer.capacity() < 1024);
}

void TestFrames::growsLinearly()
{
    const int pieces = 4096;
    const QByteArray piece = bytes(4096, 'x');
    QString buffer;
    buffer.reserve(receiveReserve);
    int moves = 0;
    qint64 moved = 0;
    for (int i = 0; i < pieces; ++i) {
        const Size kept = buffer.size();
        const Size capacity = buffer.capacity();
        const Reception reception = receive(buffer, piece);
        QVERIFY(reception.unfinished && reception.frames.isEmpty());
        if (buffer.capacity() != capacity) {
            ++moves;
            moved += kept;
        }
    }
    QCOMPARE(qint64(buffer.size()), qint64(pieces) * piece.size());
    // Growth in steps of a fixed size would copy hundreds of times as much as there is.
    QVERIFY2(moved < 8 * qint64(buffer.size()), QByteArray::number(moved).constData());
    QVERIFY2(moves < 64, QByteArray::number(moves).constData());
}

void TestFrames::releasesTheMemoryOfAHugeFrame()
{
    QString buffer;
    buffer.reserve(receiveReserve);
    receive(buffer, bytes(20 * receiveReserve, 'x'));
    QVERIFY(buffer.capacity() >= 20 * receiveReserve);
    receive(buffer, "\f\ny");
    QCOMPARE(buffer, QString(QLatin1Char('y')));
    QVERIFY(buffer.capacity() <= 2 * receiveReserve);

    // Ordinary frames leave the reserved room alone.
    QString reserved;
    reserved.reserve(receiveReserve);
    for (int i = 0; i < 3; ++i) {
        receive(reserved, "abc\f\nd");
        QVERIFY(reserved.capacity() >= receiveReserve);
    }
}

void TestFrames::keepsItsReserveWhenItDiscards_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("small") << 10;
    QTest::newRow("as large as the reserve") << receiveReserve;
    QTest::newRow("huge") << 20 * receiveReserve;
}

void TestFrames::keepsItsReserveWhenItDiscards()
{
    QFETCH(int, size);
    QString buffer;
    buffer.reserve(receiveReserve);
    receive(buffer, bytes(size, 'x'));
    discardReceived(buffer);
    QVERIFY(buffer.isEmpty());
    QVERIFY(buffer.capacity() <= 2 * receiveReserve);
    if (size <= receiveReserve)
        QVERIFY(buffer.capacity() >= receiveReserve);
}

QTEST_MAIN(TestFrames)
#include "tst_frames.moc"

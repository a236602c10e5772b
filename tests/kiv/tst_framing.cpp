// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "localcodec.h"
#include "random.h"
#include "waiting.h"
#include "wire.h"

#include <QtCore/QCoreApplication>
#include <QtTest/QtTest>

namespace
{

struct Message {
    const char *name;
    QByteArray bytes;
};

#define BYTES(literal) QByteArray(literal, int(sizeof literal - 1))

QList<Message> messages()
{
    return QList<Message>()
           << Message{"get reply",
                      "ack:1\r\n<reply>\n\t<ref>7</ref>\r\n<out><get><data><a>1</a>\r\n<b/>"
                      "</data><crc32>9</crc32></get></out></reply>\r\n\f\n"}
           << Message{"error reply", "errbody: 5\r\n<reply><ref>7</ref><out><error><type>t</type>"
                                     "<message>m</message></error></out></reply>\r\n\f\n"}
           << Message{"notification", "<notify><ref>s</ref><event><change><op>o</op><data>1</data>"
                                      "</change></event></notify>\r\n\f\n"}
           << Message{"two replies", "<reply><ref>1</ref><out><edit><ok/></edit></out></reply>\f\n"
                                     "ack:\r\n\r\n"
                                     "<reply><ref>2</ref><out><edit><ok/></edit></out></reply>\f\n"}
           << Message{"headers alone", "ack:one\r\n\f\nerrbody:two\r\n\f\nother\f\nACK:\f\n"}
           << Message{"empty frames", "\f\n\f\nack:x\f\n\f\n\f\n\f\nack:y\f\n\f\n"}
           << Message{"form feeds in a frame", "ack:a\fb\f\f\f\tc\f\n\fack:d\f\f\n\f\n"}
           << Message{"tabs and line feeds", "\n\tack:\n\ta\t\n\f\n\n\nack:\tb\n\f\n\t"}
           << Message{"malformed", "<reply><ref>7</reply>\r\n\f\nack:<\f\n<<\f\n>\f\n"}
           << Message{"no separator", "ack:no end<reply>"}
           << Message{"NUL bytes", BYTES("ack:a\0b\f\nack:c\f\0\n\f\nack:d\f\n\0ack:e\f\n")}
           << Message{"Latin-1",
                      "ack:\xe4\xf6\r\n<reply><ref>\xff</ref><out><edit><ok/></edit></out>"
                      "</reply>\x85\f\nack:\xa0\x80\f\n"}
           << Message{"longer than the tail shown",
                      "ack:0123456789 0123456789 0123456789 0123456789\f\n"};
}

} // namespace

class TestFraming : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cutsReadsIntoFrames_data();
    void cutsReadsIntoFrames();
    void joinsASeparatorCutBetweenReads_data();
    void joinsASeparatorCutBetweenReads();
    void tellsOfReadsFromTheLocalDaemon();
    void tellsOfReadsFromTheDomainDaemon();
    void isQuietWithoutDebug_data();
    void isQuietWithoutDebug();
    void survivesNothingToRead_data();
    void survivesNothingToRead();
    void survivesCutsAtEveryByte_data();
    void survivesCutsAtEveryByte();
    void readsByteByByte_data();
    void readsByteByByte();
    void survivesRandomReads_data();
    void survivesRandomReads();
    void handlesEachKindOfFrame_data();
    void handlesEachKindOfFrame();
    void logsHeadersWhenDebugging_data();
    void logsHeadersWhenDebugging();
    void logsWithTheRightGroupsAndLevels();
    void readsAHugeMessage_data();
    void readsAHugeMessage();
    void clearsTheBufferWhenItConnectsAgain_data();
    void clearsTheBufferWhenItConnectsAgain();
    void keepsAnUnfinishedFrameWhileThereIsNoConnection_data() { transports(); }
    void keepsAnUnfinishedFrameWhileThereIsNoConnection();
    void readsInTheCodecForCStrings_data() { transports(); }
    void readsInTheCodecForCStrings();
    void keepsTheBuffersApart();
    void handlesFramesBeforeTheEndOfAConnection_data();
    void handlesFramesBeforeTheEndOfAConnection();
    void readsSocketsThatAreNotOpenWithoutAWarning();
    void keepsTheChecksum();
};

void TestFraming::cutsReadsIntoFrames_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<QStringList>("pieces");
    QTest::addColumn<QStringList>("headers");
    const auto row = [](const char *name, const QStringList &pieces, const char *headers) {
        const QString list = latin1(headers);
        const QStringList expected = list.isEmpty() ? QStringList() : list.split(QLatin1Char('|'));
        QTest::newRow(QByteArray(name) + ", local") << true << pieces << expected;
        QTest::newRow(QByteArray(name) + ", domain") << false << pieces << expected;
    };
    typedef QStringList Pieces;
    const auto bytes = [](const QByteArray &piece) {
        return QString::fromLatin1(piece.constData(), piece.size());
    };
    row("several frames in one read", Pieces() << latin1("ack:X\f\nack:Y\f\n"), "ack:X|ack:Y");
    row("unfinished frame", Pieces() << latin1("ack:X\f\nack:Y") << latin1("Z\f\n"),
        "ack:X|ack:YZ");
    row("unfinished frame alone",
        Pieces() << latin1("ack:") << latin1("X") << latin1("Y") << latin1("\f\n"), "ack:XY");
    row("empty frames",
        Pieces() << latin1("\f\n\f\n") << latin1("\f\n") << latin1("ack:X\f\n\f\n")
                 << latin1("\f\nack:Y\f\n"),
        "ack:X|ack:Y");
    row("separator first", Pieces() << latin1("ack:X") << latin1("\f\nack:Y") << latin1("\f\n"),
        "ack:X|ack:Y");
    row("tabs and line feeds",
        Pieces() << latin1("\n\t") << latin1("\ta\n") << latin1("ck:\t\nX\n") << latin1("\f\n"),
        "ack:X");
    row("rest of a read behind a NUL", Pieces() << bytes(BYTES("ack:X\0Y\f\n")) << latin1("Z\f\n"),
        "ack:XZ");
    row("NUL first", Pieces() << bytes(BYTES("\0ack:X\f\n")) << latin1("ack:Y\f\n"), "ack:Y");
    row("NUL alone",
        Pieces() << latin1("ack:X") << bytes(BYTES("\0")) << bytes(BYTES("\0")) << latin1("\f\n"),
        "ack:X");
    row("unknown headers",
        Pieces() << latin1("Ack:X\f\n ack:X\f\nerrbod:\f\nerrbody\f\nack\f\nack:!\f\n"), "ack:!");
}

void TestFraming::cutsReadsIntoFrames()
{
    QFETCH(bool, local);
    QFETCH(QStringList, pieces);
    QFETCH(QStringList, headers);
    Wire wire(local);
    QVERIFY(wire.connected);
    for (const QString &piece : pieces)
        QVERIFY(wire.deliver(piece.toLatin1()));
    QStringList logged;
    for (const QString &line : wire.takeSaid()) {
        if (!line.startsWith(QLatin1String("debug: ")))
            logged << line;
    }
    QStringList expected;
    for (const QString &header : headers)
        expected << traced("handleHeader", header);
    QVERIFY(sameRecord(logged, expected));
}

void TestFraming::joinsASeparatorCutBetweenReads_data()
{
    transports();
}

void TestFraming::joinsASeparatorCutBetweenReads()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    QVERIFY(wire.deliver("ack:X\f"));
    wire.takeSaid();
    QVERIFY(wire.deliver("\nY\f\n"));
    const QString header = latin1("ack:X\f") + QChar(0) + latin1("Y");
    QCOMPARE(wire.takeSaid().last(), traced("handleHeader", header));
}

void TestFraming::tellsOfReadsFromTheLocalDaemon()
{
    Wire wire(true);
    QVERIFY(wire.connected);
    QVERIFY(wire.deliver("\n\t"));
    QVERIFY(wire.deliver("\f\n"));
    QVERIFY(wire.deliver("ack:X\f\nack:a tail of more than thirty characters"));
    QVERIFY(wire.deliver(" \xe4\"\\\f"));
    QVERIFY(wire.deliver("\f\n"));
    QStringList expected;
    expected << latin1("debug: Rcv LocalUnix package size :  0 ")
             << latin1("debug: Rcv LocalUnix package size :  2 ")
             << latin1("debug: Rcv LocalUnix package size :  50 ")
             << latin1("debug: Incomplete Rcv LocalUnix package - size :  41 ")
             << latin1("debug: Last 20 bytes \"of more than thirty characters\" ")
             << traced("handleHeader", "ack:X")
             << latin1("debug: Rcv LocalUnix package size :  47 ")
             << latin1("debug: Incomplete Rcv LocalUnix package - size :  47 ")
             << latin1("debug: Last 20 bytes \"e than thirty characters \xe4\"\\\f")
             << latin1("debug: Rcv LocalUnix package size :  49 ")
             << traced("handleHeader",
                       latin1("ack:a tail of more than thirty characters \xe4\"\\\f") + QChar(0));
    QVERIFY(sameRecord(wire.takeSaid(), expected));
}

void TestFraming::tellsOfReadsFromTheDomainDaemon()
{
    Wire wire(false);
    QVERIFY(wire.connected);
    QVERIFY(wire.deliver("\n\t"));
    QVERIFY(wire.deliver("\f\n"));
    QVERIFY(wire.deliver("ack:X\f\n\t\tack:a tail of more than thirty characters"));
    QVERIFY(wire.deliver("\f\n"));
    QStringList expected;
    expected << latin1("debug: Rcv tcp pkg 2 Prev incomplete tcp pkg 0 ")
             << latin1("debug: Rcv tcp pkg 2 Prev incomplete tcp pkg 0 ")
             << latin1("debug: Prev + new pkg filtered 2 # frames 0 ")
             << latin1("debug: Rcv tcp pkg 50 Prev incomplete tcp pkg 2 ")
             << latin1("debug: Prev + new pkg filtered 50 # frames 2 ")
             << latin1("debug: Incomplete Rcv Doamin tcp package size :  41 ")
             << latin1("debug: Last 20 bytes \"of more than thirty characters\" ")
             << traced("handleHeader", "ack:X")
             << latin1("debug: Rcv tcp pkg 2 Prev incomplete tcp pkg 41 ")
             << latin1("debug: Prev + new pkg filtered 43 # frames 1 ")
             << traced("handleHeader", "ack:a tail of more than thirty characters");
    QVERIFY(sameRecord(wire.takeSaid(), expected));
}

void TestFraming::isQuietWithoutDebug_data()
{
    transports();
}

void TestFraming::isQuietWithoutDebug()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    wire.daemon.send("ack:X\f\nerrbody:Y\f\n\f\n" + getReply("7", "x") + "unfinished");
    QStringList said;
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return !said.isEmpty();
    }));
    QVERIFY(sameRecord(said, QStringList(got("7", "x"))));
    wire.daemon.send("\f\n" + getReply("8", "y"));
    said.clear();
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return !said.isEmpty();
    }));
    QVERIFY(sameRecord(said, QStringList(got("8", "y"))));
}

void TestFraming::survivesNothingToRead_data()
{
    transports();
}

void TestFraming::survivesNothingToRead()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    for (const char *piece : {"", "ack:X", "\f\nack:Y", "\f\n", "\f\n"}) {
        if (*piece) {
            wire.expect(piece);
            QVERIFY(wire.deliver(piece));
            wire.takeSaid();
        }
        const QStringList expected = wire.expect(QByteArray());
        if (local)
            wire.fixture.kiv->dataFromKivLocalUnixSlot();
        else
            wire.fixture.kiv->dataFromKivDomainTcpSlot();
        QVERIFY(sameRecord(wire.fixture.take(), expected));
    }
}

void TestFraming::survivesCutsAtEveryByte_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<QByteArray>("bytes");
    for (const Message &message : messages()) {
        QTest::newRow(QByteArray(message.name) + ", local") << true << message.bytes;
        QTest::newRow(QByteArray(message.name) + ", domain") << false << message.bytes;
    }
}

void TestFraming::survivesCutsAtEveryByte()
{
    QFETCH(bool, local);
    QFETCH(QByteArray, bytes);
    Wire wire(local);
    QVERIFY(wire.connected);
    for (int cut = 0; cut < int(bytes.size()); ++cut) {
        QList<QByteArray> pieces;
        if (cut > 0)
            pieces << bytes.left(cut);
        pieces << bytes.mid(cut);
        pieces << "\f\n";
        for (const QByteArray &piece : pieces) {
            const QStringList expected = wire.expect(piece);
            QVERIFY(wire.deliver(piece));
            QVERIFY2(sameRecord(wire.takeSaid(), expected), QByteArray::number(cut).constData());
        }
    }
}

void TestFraming::readsByteByByte_data()
{
    survivesCutsAtEveryByte_data();
}

void TestFraming::readsByteByByte()
{
    QFETCH(bool, local);
    QFETCH(QByteArray, bytes);
    Wire wire(local);
    QVERIFY(wire.connected);
    for (int i = 0; i < int(bytes.size()); ++i) {
        const QByteArray piece = bytes.mid(i, 1);
        const QStringList expected = wire.expect(piece);
        QVERIFY(wire.deliver(piece));
        QVERIFY2(sameRecord(wire.takeSaid(), expected), QByteArray::number(i).constData());
    }
}

void TestFraming::survivesRandomReads_data()
{
    transports();
}

void TestFraming::survivesRandomReads()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    Random random(local ? 2 : 3);
    const char *const words[] = {"\f\n", "\f\n", "\f",          "\n",       "\t",   "\r",
                                 "ack:", "x",    "errbody:",    "<a/>",     "<",    "\xe9",
                                 "\x85", "\v",   "<reply>\f\n", "</reply>", "<!--", "]]>"};
    const int cases = randomCases(3000);
    for (int read = 0; read < cases; ++read) {
        QByteArray piece;
        for (int count = 1 + random.below(8); count > 0; --count) {
            if (random.below(40) == 0)
                piece += '\0';
            else
                piece += words[random.below(int(sizeof words / sizeof *words))];
        }
        const QStringList expected = wire.expect(piece);
        QVERIFY(wire.deliver(piece));
        QVERIFY2(sameRecord(wire.takeSaid(), expected), QByteArray::number(read).constData());
    }
}

void TestFraming::handlesEachKindOfFrame_data()
{
    QTest::addColumn<QString>("frame");
    QTest::addColumn<QStringList>("said");
    const auto body = [](const char *text) { return traced("handleKivMsgBody", text); };
    const QString failed = traced("reportKivParsingErr", "Kiv meg frame error");
    const QString ok = QLatin1String("<reply><ref>7</ref><out><edit><ok/></edit></out></reply>");
    const QString okSignal = QLatin1String("signal: ok(7)");
    const auto row = [](const char *frame, const QStringList &said) {
        QTest::newRow(shown(latin1(frame)).constData()) << latin1(frame) << said;
    };
    row("", QStringList());
    row("text", QStringList());
    row("\r\n", QStringList());
    row("ack:1", QStringList(traced("handleHeader", "ack:1")));
    row("errbody:1", QStringList(traced("handleHeader", "errbody:1")));
    row("<a/>", QStringList(body("<a/>")));
    row("text<a/>", QStringList(body("<a/>")));
    row("ack:1\r<a/>\r", QStringList() << traced("handleHeader", "ack:1\r") << body("<a/>\r"));
    row("errbody:<a/>", QStringList() << traced("handleHeader", "errbody:") << body("<a/>"));
    row("ack:<", QStringList() << traced("handleHeader", "ack:") << body("<") << failed
                               << traced("reportKivParsingErr", "<"));
    row("<a/>ack:",
        QStringList() << body("<a/>ack:") << failed << traced("reportKivParsingErr", "<a/>ack:"));
    QTest::newRow("errbody with a body")
        << QString(QLatin1String("errbody:1\r") + ok)
        << (QStringList() << traced("handleHeader", "errbody:1") << traced("handleKivMsgBody", ok)
                          << okSignal);
    QTest::newRow("unknown header")
        << QString(QLatin1String("any:1\r") + ok)
        << (QStringList() << traced("handleKivMsgBody", ok) << okSignal);
}

void TestFraming::handlesEachKindOfFrame()
{
    QFETCH(QString, frame);
    QFETCH(QStringList, said);
    KivFixture fixture;
    fixture.take();
    const QString before = frame;
    KivInterface::debugPrintEnable();
    fixture.kiv->handleFrame(frame);
    QVERIFY(sameRecord(fixture.take(), said));
    QCOMPARE(frame, before);

    // Without the debug output the signals and the reports are left.
    KivInterface::debugPrintDisable();
    QStringList rest;
    for (const QString &line : said) {
        if (line.startsWith(QLatin1String("signal: ")) || line.endsWith(QLatin1String("error")))
            rest << line;
    }
    fixture.kiv->handleFrame(frame);
    QVERIFY(sameRecord(fixture.take(), rest));
}

void TestFraming::logsHeadersWhenDebugging_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<bool>("logged");
    const auto row = [](const char *header, bool logged) {
        QTest::newRow(header) << latin1(header) << logged;
    };
    row("ack:", true);
    row("ack: text", true);
    row("errbody:", true);
    row("errbody:ack:", true);
    row("ack", false);
    row("ACK:", false);
    row("Errbody:", false);
    row(" ack:", false);
    row("errbody", false);
    row("encode:xml", false);
    row("", false);
}

void TestFraming::logsHeadersWhenDebugging()
{
    QFETCH(QString, header);
    QFETCH(bool, logged);
    KivFixture fixture;
    fixture.take();
    const QString before = header;
    fixture.kiv->handleHeader(header);
    QCOMPARE(fixture.take(), QStringList());
    KivInterface::debugPrintEnable();
    fixture.kiv->handleHeader(header);
    QCOMPARE(fixture.take(), logged ? QStringList(traced("handleHeader", header)) : QStringList());
    QCOMPARE(header, before);
}

void TestFraming::logsWithTheRightGroupsAndLevels()
{
    KivFixture fixture;
    KivInterface::debugPrintEnable();
    const QList<TraceLine> expected = QList<TraceLine>()
                                      << TraceLine{1, "handleHeader", latin1("ack:x")}
                                      << TraceLine{1, "handleHeader", latin1("errbody:y")};
    QCOMPARE(compareUnderFilters(fixture, expected,
                                 [&]() {
                                     for (const char *header : {"ack:x", "errbody:y"}) {
                                         QString text = latin1(header);
                                         fixture.kiv->handleHeader(text);
                                     }
                                 }),
             QString());
}

void TestFraming::readsAHugeMessage_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<int>("pieceSize");
    QTest::newRow("local, in one piece") << true << 0;
    QTest::newRow("local, in pieces of 4 kB") << true << 4096;
    QTest::newRow("domain, in one piece") << false << 0;
    QTest::newRow("domain, in pieces of 4 kB") << false << 4096;
}

void TestFraming::readsAHugeMessage()
{
    QFETCH(bool, local);
    QFETCH(int, pieceSize);
    Wire wire(local);
    QVERIFY(wire.connected);
    const int size = 16 << 20;
    const QByteArray message = getReply("7", QByteArray(size, 'x')) + getReply("8", "small");
    if (pieceSize) {
        for (int at = 0; at < int(message.size()); at += pieceSize)
            QVERIFY(wire.deliver(message.mid(at, pieceSize)));
    } else {
        KivInterface::debugPrintDisable();
        wire.daemon.send(message);
    }
    QStringList signalled;
    QVERIFY(spinUntil([&]() {
        for (const QString &line : wire.takeSaid() + wire.fixture.take()) {
            if (line.startsWith(QLatin1String("signal: ")))
                signalled << line;
        }
        return signalled.size() == 2;
    }));
    QVERIFY(signalled.first() ==
            latin1("signal: get(7, ") + QString(size, QLatin1Char('x')) + QLatin1Char(')'));
    QCOMPARE(signalled.last(), got("8", "small"));
}

void TestFraming::clearsTheBufferWhenItConnectsAgain_data()
{
    transports();
}

void TestFraming::clearsTheBufferWhenItConnectsAgain()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    const QByteArray message = getReply("7", "x");
    for (int cut = 1; cut < int(message.size()); cut += 7) {
        QVERIFY(wire.deliver(message.left(cut)));
        wire.reconnect();
        QVERIFY(wire.connected);
        wire.takeSaid();
        // The new connection begins anew: neither the old beginning nor the old length counts.
        const QStringList expected = wire.expect("ack:new\f\n");
        QVERIFY(wire.deliver("ack:new\f\n"));
        QVERIFY(sameRecord(wire.takeSaid(), expected));
        QCOMPARE(expected.last(), traced("handleHeader", "ack:new"));
    }
}

/** Neither an error nor a tick nor another server clears it; only a connection does. */
void TestFraming::keepsAnUnfinishedFrameWhileThereIsNoConnection()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivFixture &fixture = wire.fixture;
    wire.expect("ack:lost");
    QVERIFY(wire.deliver("ack:lost"));
    const QStringList kept = wire.expect(QByteArray());
    const auto readAgain = [&]() {
        fixture.take();
        if (local)
            fixture.kiv->dataFromKivLocalUnixSlot();
        else
            fixture.kiv->dataFromKivDomainTcpSlot();
        return fixture.take();
    };
    QStringList said;
    const auto hasFailed = [&]() {
        said << fixture.take();
        return said.contains(local ? latin1("signal: local disconnected")
                                   : latin1("signal: domain disconnected"));
    };
    wire.daemon.stop();
    QVERIFY(spinUntil(hasFailed));
    QVERIFY(settle());
    QVERIFY(sameRecord(readAgain(), kept));
    said.clear();
    tick(fixture);
    QVERIFY(spinUntil(hasFailed));
    QVERIFY(sameRecord(readAgain(), kept));
    if (!local)
        KivInterface::updateDomainServerIpAddress(latin1("localhost"), wire.daemon.port());
    QVERIFY(sameRecord(readAgain(), kept));

    wire.daemon.start();
    QVERIFY(fixture.connectTo(wire.daemon));
    wire.plain.buffer.clear();
    QVERIFY(sameRecord(readAgain(), wire.expect(QByteArray())));
}

/** Each read is converted by itself: a character that is cut in two is lost. */
void TestFraming::readsInTheCodecForCStrings()
{
    QFETCH(bool, local);
    const QByteArray pieces[] = {"ack:\xc3\xa9 \xc4\x8a \xc4\x8c\n\f\n", "ack:\xc3", "\xa9\f\n"};
    Wire wire(local);
    QVERIFY(wire.connected);
    for (const QByteArray &piece : pieces) {
        const bool isChosen = setCodecForCStrings("UTF-8");
        const bool isDelivered = wire.deliver(piece);
        setCodecForCStrings(nullptr);
        QVERIFY(isDelivered);
        const QString text = isChosen ? QString::fromUtf8(piece.constData(), int(piece.size()))
                                      : QString::fromLatin1(piece.constData(), int(piece.size()));
        QStringList expected;
        for (const QString &header : wire.plain.read(text))
            expected << traced("handleHeader", header);
        QStringList logged;
        for (const QString &line : wire.takeSaid()) {
            if (line.startsWith(latin1("trace: ")))
                logged << line;
        }
        QVERIFY(sameRecord(logged, expected));
    }
}

void TestFraming::keepsTheBuffersApart()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
    const QByteArray localReply = getReply("local", "1");
    const QByteArray domainReply = getReply("domain", "2");
    local.send(localReply.left(30));
    domain.send(domainReply.left(20));
    QVERIFY(settle());
    QCOMPARE(fixture.take(), QStringList());
    domain.send(domainReply.mid(20));
    QStringList said;
    const auto heard = [&](int count) {
        return spinUntil([&]() {
            said << fixture.take();
            return said.size() >= count;
        });
    };
    QVERIFY(heard(1));
    local.send(localReply.mid(30));
    QVERIFY(heard(2));
    QCOMPARE(said, QStringList() << got("domain", "2") << got("local", "1"));
}

void TestFraming::handlesFramesBeforeTheEndOfAConnection_data()
{
    transports();
}

void TestFraming::handlesFramesBeforeTheEndOfAConnection()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    wire.daemon.send(getReply("7", "x") + getReply("8", "y") + "unfinished");
    wire.daemon.hangUp();
    const QString last =
        local ? latin1("signal: local disconnected") : latin1("signal: domain disconnected");
    QStringList said;
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return said.contains(last);
    }));
    QCOMPARE(QStringList(said.mid(0, 2)), QStringList() << got("7", "x") << got("8", "y"));
}

void TestFraming::readsSocketsThatAreNotOpenWithoutAWarning()
{
    KivFixture fixture;
    fixture.take();
    fixture.kiv->dataFromKivLocalUnixSlot();
    fixture.kiv->dataFromKivDomainTcpSlot();
    QCOMPARE(fixture.take(), QStringList());
    KivInterface::debugPrintEnable();
    fixture.kiv->dataFromKivLocalUnixSlot();
    fixture.kiv->dataFromKivDomainTcpSlot();
    QCOMPARE(fixture.take(), QStringList()
                                 << latin1("debug: Rcv LocalUnix package size :  0 ")
                                 << latin1("debug: Rcv tcp pkg 0 Prev incomplete tcp pkg 0 "));
}

void TestFraming::keepsTheChecksum()
{
    KivFixture fixture;
    QVERIFY(KivInterface::getCurrentKivMsgCrc32Value().isEmpty());
    QCOMPARE(&KivInterface::getCurrentKivMsgCrc32Value(), &KivInterface::crc32);
    QString frame = latin1("<reply><out><get><crc32>99</crc32></get></out></reply>");
    fixture.kiv->handleFrame(frame);
    QCOMPARE(KivInterface::getCurrentKivMsgCrc32Value(), latin1("99"));
    KivInterface::getCurrentKivMsgCrc32Value() = latin1("own");
    QCOMPARE(KivInterface::crc32, latin1("own"));

    // It outlives the object.
    fixture.kiv.reset();
    QCOMPARE(KivInterface::getCurrentKivMsgCrc32Value(), latin1("own"));
}

int main(int argc, char **argv)
{
    // Debug lines come back from the local encoding on Qt 4: let it be able to hold them all.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    TestFraming test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_framing.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "clock.h"
#include "kivlogs.h"
#include "scripteddaemon.h"
#include "texts.h"
#include "trace.h"
#include "waiting.h"

#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

Q_DECLARE_METATYPE(QStringList)

static const char timestamp[] = "TIMESTAMP";

static QStringList texts(const char *joined)
{
    return text(joined).split(QLatin1Char('|'));
}

class TestSystemMessages : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void postsAMessage_data();
    void postsAMessage();
    void postsWithoutLineId();
    void takesNullTextsForEmptyOnes();
    void goesToTheLocalDaemonAlone();
    void stampsAMessageWithTheTimeOfPosting();
    void withdrawsAMessage_data();
    void withdrawsAMessage();
    void logsTheRequestWhenDebugging();
    void getsAnswersWithTheReference();
    void failsWithoutConnection();
    void failsWithoutInterface();

private:
    bool put(const QStringList &arguments);
    bool received(const QString &expected);

    QScopedPointer<ScriptedDaemon> daemon;
    QScopedPointer<KivInterface> kiv;
};

void TestSystemMessages::init()
{
    daemon.reset(new ScriptedDaemon(ScriptedDaemon::Local));
    kiv.reset(new KivInterface(nullptr));
    kiv->connectToLocalKivSocketSlot();
    QVERIFY(waitFor([this] { return daemon->lastReceived() == handshake; }));
    daemon->forget();
}

void TestSystemMessages::cleanup()
{
    KivInterface::debugPrintDisable();
    kiv.reset();
    daemon.reset();
}

bool TestSystemMessages::put(const QStringList &a)
{
    return KivInterface::putSysMessage(a.at(0), a.at(1), a.at(2), a.at(3), a.at(4), a.at(5),
                                       a.at(6));
}

/** The second of a moment ago, wherever it stands, gives way to a fixed text. */
static QByteArray withoutTime(QByteArray bytes)
{
    const std::time_t now = currentSecond();
    for (std::time_t second = now - 60; second <= now; ++second)
        bytes.replace(QByteArray::number(qint64(second)), timestamp);
    return bytes;
}

/** Waits until as many bytes have come as are expected, and compares them. */
bool TestSystemMessages::received(const QString &expected)
{
    const QByteArray bytes = expected.toLocal8Bit();
    if (waitFor([&] { return withoutTime(daemon->lastReceived()) == bytes; }))
        return true;
    qWarning("got      %s\nexpected %s", daemon->lastReceived().constData(), bytes.constData());
    return false;
}

void TestSystemMessages::postsAMessage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("data");

    QTest::newRow("without line id")
        << texts("r|app|7|error||Disk full|")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<timestamp>TIMESTAMP</timestamp><text>Disk full</text><msgdata></msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("with line id")
        << texts("r|app|7|error|3|Disk full|<disk>sda</disk>")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<line_id>3</line_id><timestamp>TIMESTAMP</timestamp><text>Disk full</text>"
                "<msgdata><disk>sda</disk></msgdata></sys_message></sys_messages>");
    QTest::newRow("line id of one blank")
        << texts("r|app|7|error| |t|d")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<line_id> </line_id><timestamp>TIMESTAMP</timestamp><text>t</text>"
                "<msgdata>d</msgdata></sys_message></sys_messages>");
    QTest::newRow("everything empty")
        << texts("||||||")
        << text("<sys_messages><sys_message><reporter></reporter><rep_ref></rep_ref>"
                "<src_path>/state/sys_messages</src_path><level></level>"
                "<timestamp>TIMESTAMP</timestamp><text></text><msgdata></msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("nothing is escaped")
        << texts("r|a&b|<7>|\"|'|100 %|%")
        << text("<sys_messages><sys_message><reporter>a&b</reporter><rep_ref><7></rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>\"</level>"
                "<line_id>'</line_id><timestamp>TIMESTAMP</timestamp><text>100 %</text>"
                "<msgdata>%</msgdata></sys_message></sys_messages>");

    // What is filled in takes part in the replacements after it.
    QTest::newRow("reporter asks for the missing placeholder")
        << texts("r|x%3|7|error|3|Disk full|data")
        << text("<sys_messages><sys_message><reporter>xerror</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level><line_id>3</line_id></level>"
                "TIMESTAMP<timestamp>Disk full</timestamp><text>data</text><msgdata>%8</msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("reporter repeats the reference")
        << texts("r|x%2|7|error||t|d")
        << text("<sys_messages><sys_message><reporter>x7</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<timestamp>TIMESTAMP</timestamp><text>t</text><msgdata>d</msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("reference asks for its own placeholder")
        << texts("r|app|%1|error||t|d")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>error</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level></level>TIMESTAMP"
                "<timestamp>t</timestamp><text>d</text><msgdata>%8</msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("line id asks for the text")
        << texts("r|app|7|error|%7|t|d")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<line_id>t</line_id><timestamp>TIMESTAMP</timestamp><text>t</text>"
                "<msgdata>d</msgdata></sys_message></sys_messages>");
    QTest::newRow("text asks for the data")
        << texts("r|app|7|error||%8 %L8 %08|d")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<timestamp>TIMESTAMP</timestamp><text>d d d</text><msgdata>d</msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("line id asks for its own placeholder, and the next")
        << texts("r|app|7|error|%1 %2|t|d")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<line_id>TIMESTAMP t</line_id><timestamp>d</timestamp><text>%7</text>"
                "<msgdata>%8</msgdata></sys_message></sys_messages>");
    QTest::newRow("text takes the data away")
        << texts("r|app|7|error||%0|d")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<timestamp>TIMESTAMP</timestamp><text>d</text><msgdata>%8</msgdata>"
                "</sys_message></sys_messages>");
    QTest::newRow("placeholders that are left over")
        << texts("r|app|7|error||%9 %99|%1")
        << text("<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
                "<src_path>/state/sys_messages</src_path><level>error</level>"
                "<timestamp>TIMESTAMP</timestamp><text>%9 %99</text><msgdata>%1</msgdata>"
                "</sys_message></sys_messages>");
}

void TestSystemMessages::postsAMessage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, data);
    QVERIFY(put(arguments));
    QVERIFY(received(text("<request><ref>") + arguments.at(0) +
                     text("</ref><rpc><edit><op>patch</op><path>/state/sys_messages</path><data>") +
                     data + text("</data></edit></rpc></request>\r\n\f\n")));
}

void TestSystemMessages::postsWithoutLineId()
{
    QVERIFY(KivInterface::putSysMessage(text("r"), text("app"), text("7"), text("error"),
                                        text("Disk full"), text("d")));
    QVERIFY(received(
        text("<request><ref>r</ref><rpc><edit><op>patch</op><path>/state/sys_messages</path><data>"
             "<sys_messages><sys_message><reporter>app</reporter><rep_ref>7</rep_ref>"
             "<src_path>/state/sys_messages</src_path><level>error</level>"
             "<timestamp>TIMESTAMP</timestamp><text>Disk full</text><msgdata>d</msgdata>"
             "</sys_message></sys_messages></data></edit></rpc></request>\r\n\f\n")));
}

void TestSystemMessages::takesNullTextsForEmptyOnes()
{
    const QString null;
    QVERIFY(KivInterface::putSysMessage(null, null, null, null, null, null, null));
    const QString begin = text("<request><ref></ref><rpc><edit><op>");
    const QString end = text("</edit></rpc></request>\r\n\f\n");
    const QString post =
        begin +
        text("patch</op><path>/state/sys_messages</path><data><sys_messages><sys_message>"
             "<reporter></reporter><rep_ref></rep_ref><src_path>/state/sys_messages</src_path>"
             "<level></level><timestamp>TIMESTAMP</timestamp><text></text><msgdata></msgdata>"
             "</sys_message></sys_messages></data>") +
        end;
    QVERIFY(received(post));
    QVERIFY(KivInterface::putSysMessage(null, null, null, null, null, null));
    QVERIFY(received(post + post));
    daemon->forget();
    QVERIFY(KivInterface::deleteSysMessage(null, null, null));
    QVERIFY(received(begin +
                     text("delete</op><path>/state/sys_messages/sys_message[reporter='']"
                          "[rep_ref='']</path>") +
                     end));
}

void TestSystemMessages::goesToTheLocalDaemonAlone()
{
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    QVERIFY(KivInterface::updateDomainServerIpAddress(text("127.0.0.1"), domain.port()));
    QVERIFY(KivInterface::domainServerActivateTcpConnection(true));
    kiv->connectToDomainKivSocketSlot();
    QVERIFY(waitFor([&] { return domain.lastReceived() == handshake; }));
    daemon->stop();
    SignalLog signalLog(kiv.data());
    QVERIFY(waitFor([&] { return !signalLog.entries.isEmpty(); }));
    QVERIFY(!put(texts("r|app|7|error||t|d")));
    QVERIFY(!KivInterface::deleteSysMessage(text("r"), text("app"), text("7")));
    QVERIFY(KivInterface::requestData(text("|end"), KivInterface::KIVTARGET_DOMAIN));
    QVERIFY(waitFor([&] { return domain.lastReceived().contains("|end"); }));
    QVERIFY(domain.lastReceived().startsWith(QByteArray(handshake) + "|end"));
}

void TestSystemMessages::stampsAMessageWithTheTimeOfPosting()
{
    const std::time_t before = currentSecond();
    QVERIFY(put(texts("r|app|7|error||t|d")));
    const std::time_t after = currentSecond();
    QVERIFY(waitFor([this] { return daemon->lastReceived().endsWith("\f\n"); }));

    const QByteArray bytes = daemon->lastReceived();
    const int begin = int(bytes.indexOf("<timestamp>")) + int(qstrlen("<timestamp>"));
    const int end = int(bytes.indexOf("</timestamp>"));
    const QByteArray digits = bytes.mid(begin, end - begin);
    QVERIFY(digits.toLongLong() >= before);
    QVERIFY(digits.toLongLong() <= after);
    QCOMPARE(digits, QByteArray::number(digits.toLongLong()));
}

void TestSystemMessages::withdrawsAMessage_data()
{
    QTest::addColumn<QString>("reporter");
    QTest::addColumn<QString>("repRef");
    QTest::addColumn<QString>("predicates");

    QTest::newRow("plain") << text("app") << text("7") << text("[reporter='app'][rep_ref='7']");
    QTest::newRow("empty") << text("") << text("") << text("[reporter=''][rep_ref='']");
    QTest::newRow("apostrophe") << text("a'b") << text("7")
                                << text("[reporter='a'b'][rep_ref='7']");
    QTest::newRow("reporter asks for the reference")
        << text("%2") << text("7") << text("[reporter='7'][rep_ref='7']");
    QTest::newRow("reporter takes the reference away")
        << text("%1") << text("7") << text("[reporter='7'][rep_ref='%2']");
    QTest::newRow("reference with a placeholder")
        << text("app") << text("%1") << text("[reporter='app'][rep_ref='%1']");
}

void TestSystemMessages::withdrawsAMessage()
{
    QFETCH(QString, reporter);
    QFETCH(QString, repRef);
    QFETCH(QString, predicates);
    QVERIFY(KivInterface::deleteSysMessage(text("r"), reporter, repRef));
    QVERIFY(received(text("<request><ref>r</ref><rpc><edit><op>delete</op>"
                          "<path>/state/sys_messages/sys_message") +
                     predicates + text("</path></edit></rpc></request>\r\n\f\n")));
}

void TestSystemMessages::logsTheRequestWhenDebugging()
{
    Trace trace(nullptr);
    TraceLog log(&trace);
    KivInterface::debugPrintEnable();
    log.take();
    QVERIFY(KivInterface::deleteSysMessage(text("r"), text("a"), text("7")));
    QCOMPARE(log.take(),
             QStringList(text("KivInterface|sendKivEditMesssage|<request><ref>r</ref><rpc><edit>"
                              "<op>delete</op><path>/state/sys_messages/sys_message"
                              "[reporter='a'][rep_ref='7']</path></edit></rpc></request>")));
}

void TestSystemMessages::getsAnswersWithTheReference()
{
    SignalLog signalLog(kiv.data());
    QVERIFY(put(texts("r1|app|7|error||t|d")));
    daemon->send("<reply><ref>r1</ref><out><edit><ok/></edit></out></reply>\r\n\f\n");
    QVERIFY(waitFor([&] { return !signalLog.entries.isEmpty(); }));
    QCOMPARE(signalLog.take(), QStringList(text("ok(r1)")));

    QVERIFY(KivInterface::deleteSysMessage(text("r2"), text("app"), text("7")));
    daemon->send("<reply><ref>r2</ref><out><error><type>application</type>"
                 "<message>no such entry</message></error></out></reply>\r\n\f\n");
    QVERIFY(waitFor([&] { return !signalLog.entries.isEmpty(); }));
    QCOMPARE(signalLog.take(), QStringList(text("error(r2, application, no such entry)")));
}

void TestSystemMessages::failsWithoutConnection()
{
    daemon->stop();
    SignalLog signalLog(kiv.data());
    QVERIFY(waitFor([&] { return !signalLog.entries.isEmpty(); }));
    QVERIFY(!put(texts("r|app|7|error||t|d")));
    QVERIFY(!KivInterface::deleteSysMessage(text("r"), text("app"), text("7")));
}

void TestSystemMessages::failsWithoutInterface()
{
    kiv.reset();
    QVERIFY(!put(texts("r|app|7|error||t|d")));
    QVERIFY(!KivInterface::putSysMessage(text("r"), text("app"), text("7"), text("error"),
                                         text("t"), text("d")));
    QVERIFY(!KivInterface::deleteSysMessage(text("r"), text("app"), text("7")));
}

QTEST_MAIN(TestSystemMessages)

#include "tst_systemmessages.moc"

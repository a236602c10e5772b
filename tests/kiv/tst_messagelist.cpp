// SPDX-License-Identifier: LGPL-2.1-or-later

// Posts and withdraws system messages against the stand-in daemon, which keeps the list.

#include "kivinterface.h"

#include "clock.h"
#include "kivlogs.h"
#include "skip.h"
#include "standin.h"
#include "texts.h"
#include "waiting.h"

#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

static const char listPath[] = "/state/sys_messages";
static const char entryPath[] = "/state/sys_messages/sys_message[reporter='app'][rep_ref='7']";

class TestMessageList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void listsAPostedEntry();
    void replacesAnEntryThatIsPostedAgain();
    void dropsAWithdrawnEntry();
    void leavesOtherEntriesAlone();
    void tellsSubscribers();

private:
    /** The next signal of the client. */
    QString nextSignal();
    bool post(const char *repRef, const char *lineId, const char *message);
    bool withdraw(const char *repRef);
    /** One value of the entry, as the daemon has it. */
    QString valueOf(const char *element);

    QScopedPointer<StandIn> daemon;
    QScopedPointer<KivInterface> kiv;
    QScopedPointer<SignalLog> signalLog;
};

void TestMessageList::initTestCase()
{
    if (!qstrlen(KIVSIM_PROGRAM))
        SKIP_TEST("kivsim is not built: cmake -DQVCOMMON_BUILD_TOOLS=ON .");
}

void TestMessageList::init()
{
    daemon.reset(new StandIn(KIVSIM_PROGRAM, "<device><state><sys_messages/></state></device>"));
    kiv.reset(new KivInterface(nullptr));
    signalLog.reset(new SignalLog(kiv.data()));
    kiv->connectToLocalKivSocketSlot();
    QCOMPARE(nextSignal(), text("local connected"));
}

void TestMessageList::cleanup()
{
    signalLog.reset();
    kiv.reset();
    daemon.reset();
}

QString TestMessageList::nextSignal()
{
    if (!waitFor([this] { return !signalLog->entries.isEmpty(); }))
        return text("(no signal)");
    return signalLog->entries.takeFirst();
}

bool TestMessageList::post(const char *repRef, const char *lineId, const char *message)
{
    return KivInterface::putSysMessage(text("put"), text("app"), text(repRef), text("error"),
                                       text(lineId), text(message), text("<disk>sda</disk>"));
}

bool TestMessageList::withdraw(const char *repRef)
{
    return KivInterface::deleteSysMessage(text("delete"), text("app"), text(repRef));
}

QString TestMessageList::valueOf(const char *element)
{
    KivInterface::requestDataGet(text("get"), text(entryPath));
    const QString reply = nextSignal();
    const QString head = text("get(get, ");
    if (!reply.startsWith(head))
        return reply;
    QString value;
    const QString data = reply.mid(head.length(), reply.length() - head.length() - 1);
    return KivInterface::xpathGetTextNode(value, text("sys_message/") + text(element), QString(),
                                          data)
               ? value
               : text("(not found)");
}

void TestMessageList::listsAPostedEntry()
{
    const std::time_t before = currentSecond();
    QVERIFY(post("7", "3", "Disk full"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    QCOMPARE(valueOf("reporter"), text("app"));
    QCOMPARE(valueOf("rep_ref"), text("7"));
    QCOMPARE(valueOf("src_path"), text(listPath));
    QCOMPARE(valueOf("level"), text("error"));
    QCOMPARE(valueOf("line_id"), text("3"));
    QCOMPARE(valueOf("text"), text("Disk full"));
    QCOMPARE(valueOf("msgdata/disk"), text("sda"));
    const std::time_t posted = std::time_t(valueOf("timestamp").toLongLong());
    QVERIFY(posted >= before);
    QVERIFY(posted <= currentSecond());
}

void TestMessageList::replacesAnEntryThatIsPostedAgain()
{
    QVERIFY(post("7", "", "Disk full"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    QCOMPARE(valueOf("line_id"), text("(not found)"));
    QVERIFY(post("7", "", "Disk is all right"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    QCOMPARE(valueOf("text"), text("Disk is all right"));
    QVERIFY(withdraw("7"));
    QCOMPARE(nextSignal(), text("ok(delete)"));
    QCOMPARE(valueOf("text"),
             text("error(get, application, no such path: ") + text(entryPath) + text(")"));
}

void TestMessageList::dropsAWithdrawnEntry()
{
    QVERIFY(post("7", "", "Disk full"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    QVERIFY(withdraw("7"));
    QCOMPARE(nextSignal(), text("ok(delete)"));
    QVERIFY(KivInterface::requestDataGet(text("list"), text(listPath)));
    QCOMPARE(nextSignal(), text("get(list, <sys_messages></sys_messages>)"));
    QVERIFY(withdraw("7"));
    QCOMPARE(nextSignal(),
             text("error(delete, application, no such path: ") + text(entryPath) + text(")"));
}

void TestMessageList::leavesOtherEntriesAlone()
{
    QVERIFY(post("7", "", "Disk full"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    QVERIFY(post("8", "", "Fan stopped"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    QVERIFY(withdraw("8"));
    QCOMPARE(nextSignal(), text("ok(delete)"));
    QCOMPARE(valueOf("text"), text("Disk full"));
}

void TestMessageList::tellsSubscribers()
{
    QVERIFY(KivInterface::requestDataSubscribe(text("watch"), text(listPath), text("list")));
    QCOMPARE(nextSignal(), text("ok(watch)"));

    QVERIFY(post("7", "", "Disk full"));
    QCOMPARE(nextSignal(), text("ok(put)"));
    const QString posted = nextSignal();
    QVERIFY2(posted.startsWith(text("notify(watch, patch, /state/sys_messages, "
                                    "/state/sys_messages, <sys_messages><sys_message>"
                                    "<reporter>app</reporter><rep_ref>7</rep_ref>")),
             qPrintable(posted));
    QVERIFY2(posted.endsWith(text("<text>Disk full</text><msgdata><disk>sda</disk></msgdata>"
                                  "</sys_message></sys_messages>)")),
             qPrintable(posted));

    QVERIFY(withdraw("7"));
    QCOMPARE(nextSignal(), text("ok(delete)"));
    QCOMPARE(nextSignal(), text("notify(watch, delete, ") + text(entryPath) + text(", ") +
                               text(listPath) + text(", )"));
}

QTEST_MAIN(TestMessageList)

#include "tst_messagelist.moc"

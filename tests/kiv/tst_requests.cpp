// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivfixture.h"
#include "scripteddaemon.h"

#include <QtCore/QCoreApplication>
#include <QtTest/QtTest>

#include <limits>

namespace
{

typedef KivInterface::KIVTARGET_ENUM Target;
const Target localTarget = KivInterface::KIVTARGET_LOCAL;
const Target domainTarget = KivInterface::KIVTARGET_DOMAIN;

enum Entrance {
    Builder,
    FrontDoor,
    LocalFrontDoor ///< has no target: for the local daemon
};

/** A call, and what has to come of it. */
struct Request {
    const char *name;
    Entrance entrance;
    const char *function;
    std::function<bool(Target)> call;
    QString text;
};

const char getFunction[] = "sendKivGetMesssage";
const char editFunction[] = "sendKivEditMesssage";
const char subscribeFunction[] = "sendKivSubscribeMesssage";
const char singleLevelFunction[] = "sendKivSubscribeMesssageSingleLevel";
const char rawFunction[] = "sendKivMesssage";
const char validateFunction[] = "sendKivDebugValidateOff";

/** The texts of a get request. */
struct Get {
    const char *name;
    QString ref;
    QString path;
    const char *text;
};

void addGets(QList<Request> &requests)
{
    const Get gets[] = {
        {"plain", text("r1"), text("/a/b"),
         "<request><ref>r1</ref><rpc><get><path>/a/b</path></get></rpc></request>\r\n\f\n"},
        {"null texts", QString(), QString(),
         "<request><ref></ref><rpc><get><path></path></get></rpc></request>\r\n\f\n"},
        {"empty texts", text(""), text(""),
         "<request><ref></ref><rpc><get><path></path></get></rpc></request>\r\n\f\n"},
        {"nothing escaped", text("<r>&\"'"), text(" /a[b='<&>']\t\n"),
         "<request><ref><r>&\"'</ref><rpc><get><path> /a[b='<&>']\t\n</path></get></rpc></request>"
         "\r\n\f\n"},
        {"placeholders", text("%2 %1"), text("/interfaces/%1/%L1/%99/%%/%n"),
         "<request><ref>%2 %1</ref><rpc><get><path>/interfaces/%1/%L1/%99/%%/%n</path></get></rpc>"
         "</request>\r\n\f\n"}};
    for (const Get &get : gets) {
        const QString ref = get.ref;
        const QString path = get.path;
        const QString sent = text(get.text);
        requests << Request{get.name, Builder, getFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivGetMesssage(path, ref,
                                                                                  target);
                            },
                            sent}
                 << Request{get.name, FrontDoor, getFunction,
                            [=](Target target) {
                                return KivInterface::requestDataGet(ref, path, target);
                            },
                            sent}
                 << Request{get.name, LocalFrontDoor, getFunction,
                            [=](Target) { return KivInterface::requestDataGet(ref, path); }, sent};
    }
}

struct Edit {
    const char *name;
    QString ref;
    QString path;
    QString op;
    QString data;
    const char *text;
};

void addEdits(QList<Request> &requests)
{
    const Edit edits[] = {
        {"with data", text("r1"), text("/a"), text("patch"), text("<b>1</b>"),
         "<request><ref>r1</ref><rpc><edit><op>patch</op><path>/a</path><data><b>1</b></data>"
         "</edit></rpc></request>\r\n\f\n"},
        {"null data", text("r1"), text("/a"), text("delete"), QString(),
         "<request><ref>r1</ref><rpc><edit><op>delete</op><path>/a</path></edit></rpc></request>"
         "\r\n\f\n"},
        {"empty data", text("r1"), text("/a"), text("delete"), text(""),
         "<request><ref>r1</ref><rpc><edit><op>delete</op><path>/a</path></edit></rpc></request>"
         "\r\n\f\n"},
        {"data of one blank", text("r1"), text("/a"), text("delete"), text(" "),
         "<request><ref>r1</ref><rpc><edit><op>delete</op><path>/a</path><data> </data></edit>"
         "</rpc></request>\r\n\f\n"},
        {"null texts", QString(), QString(), QString(), QString(),
         "<request><ref></ref><rpc><edit><op></op><path></path></edit></rpc></request>\r\n\f\n"},
        {"nothing escaped", text("&"), text("<"), text(">"), text("\"'&"),
         "<request><ref>&</ref><rpc><edit><op>></op><path><</path><data>\"'&</data></edit></rpc>"
         "</request>\r\n\f\n"},
        {"placeholders", text("%1"), text("%2"), text("%3"), text("%4%1"),
         "<request><ref>%1</ref><rpc><edit><op>%3</op><path>%2</path><data>%4%1</data></edit></rpc>"
         "</request>\r\n\f\n"}};
    for (const Edit &edit : edits) {
        const QString ref = edit.ref;
        const QString path = edit.path;
        const QString op = edit.op;
        const QString data = edit.data;
        const QString sent = text(edit.text);
        requests << Request{edit.name, Builder, editFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivEditMesssage(path, ref, op,
                                                                                   data, target);
                            },
                            sent}
                 << Request{edit.name, FrontDoor, editFunction,
                            [=](Target target) {
                                return KivInterface::requestDataEdit(ref, path, op, data, target);
                            },
                            sent}
                 << Request{
                        edit.name, LocalFrontDoor, editFunction,
                        [=](Target) { return KivInterface::requestDataEdit(ref, path, op, data); },
                        sent};
    }
}

struct Subscription {
    const char *name;
    QString rpathMatch;
    QString sendNow;
    const char *options;
};

void addSubscriptions(QList<Request> &requests)
{
    const QString ref = text("s1");
    const QString path = text("/a<&");
    const QString tag = text("multi_level");
    const QString begin =
        text("<request><ref>s1</ref><rpc><subscribe><multi_level><path>/a<&</path>");
    const QString end = text("</multi_level></subscribe></rpc></request>\r\n\f\n");
    const Subscription subscriptions[] = {
        {"both options", text("/x"), text("true"),
         "<rpath_match>/x</rpath_match><send_now>true</send_now>"},
        {"both null", QString(), QString(), ""},
        {"both empty", text(""), text(""), "<rpath_match></rpath_match><send_now></send_now>"},
        {"match alone", text("/x"), QString(), "<rpath_match>/x</rpath_match>"},
        {"empty match alone", text(""), QString(), "<rpath_match></rpath_match>"},
        {"sendNow alone", QString(), text("false"), "<send_now>false</send_now>"},
        {"empty sendNow alone", QString(), text(""), "<send_now></send_now>"},
        {"placeholders", text("%1"), text("%2"),
         "<rpath_match>%1</rpath_match><send_now>%2</send_now>"}};
    for (const Subscription &subscription : subscriptions) {
        const QString match = subscription.rpathMatch;
        const QString now = subscription.sendNow;
        const QString sent = begin + text(subscription.options) + end;
        requests << Request{subscription.name, Builder, subscribeFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivSubscribeMesssage(
                                    path, ref, tag, match, now, target);
                            },
                            sent}
                 << Request{subscription.name, FrontDoor, subscribeFunction,
                            [=](Target target) {
                                return KivInterface::requestDataSubscribe(ref, path, tag, match,
                                                                          now, target);
                            },
                            sent}
                 << Request{subscription.name, LocalFrontDoor, subscribeFunction,
                            [=](Target) {
                                return KivInterface::requestDataSubscribe(ref, path, tag, match,
                                                                          now);
                            },
                            sent};
    }
    const QString marked = text("<m a=\"'\">&");
    requests << Request{"nothing escaped", FrontDoor, subscribeFunction,
                        [=](Target target) {
                            return KivInterface::requestDataSubscribe(marked, marked, marked,
                                                                      marked, marked, target);
                        },
                        text("<request><ref>") + marked + text("</ref><rpc><subscribe><") + marked +
                            text("><path>") + marked + text("</path><rpath_match>") + marked +
                            text("</rpath_match><send_now>") + marked + text("</send_now></") +
                            marked + text("></subscribe></rpc></request>\r\n\f\n")};
    requests << Request{"without options", FrontDoor, subscribeFunction,
                        [=](Target target) {
                            return KivInterface::requestDataSubscribe(ref, path, tag, target);
                        },
                        begin + end}
             << Request{"without options", LocalFrontDoor, subscribeFunction,
                        [=](Target) { return KivInterface::requestDataSubscribe(ref, path, tag); },
                        begin + end}
             << Request{
                    "null texts", FrontDoor, subscribeFunction,
                    [=](Target target) {
                        return KivInterface::requestDataSubscribe(QString(), QString(), QString(),
                                                                  target);
                    },
                    text("<request><ref></ref><rpc><subscribe><><path></path></></subscribe></rpc>"
                         "</request>\r\n\f\n")};
}

void addSingleLevels(QList<Request> &requests)
{
    const QString ref = text("s2");
    const QString path = text("/y<&");
    const QString tag = text("single_level");
    const QString begin =
        text("<request><ref>s2</ref><rpc><subscribe><single_level><ypath>/y<&</ypath>");
    const QString end = text("</single_level></subscribe></rpc></request>\r\n\f\n");
    const struct {
        const char *name;
        QString sendNow;
        const char *options;
    } rows[] = {{"sendNow", text("true"), "<send_now>true</send_now>"},
                {"sendNow of one blank", text(" "), "<send_now> </send_now>"},
                {"placeholder", text("%1"), "<send_now>%1</send_now>"},
                {"null sendNow", QString(), ""},
                {"empty sendNow", text(""), ""}};
    for (const auto &row : rows) {
        const QString now = row.sendNow;
        const QString sent = begin + text(row.options) + end;
        requests << Request{row.name, Builder, singleLevelFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivSubscribeMesssageSingleLevel(
                                    path, ref, tag, now, target);
                            },
                            sent}
                 << Request{row.name, FrontDoor, singleLevelFunction,
                            [=](Target target) {
                                return KivInterface::requestDataSubscribeSingleLevel(ref, path, tag,
                                                                                     now, target);
                            },
                            sent};
    }
    const struct {
        const char *name;
        QString text;
    } arguments[] = {{"null texts", QString()},
                     {"empty texts", text("")},
                     {"nothing escaped", text("<m a=\"'\">&")}};
    for (const auto &row : arguments) {
        const QString argument = row.text;
        const QString now = argument.isEmpty()
                                ? QString()
                                : QString(text("<send_now>") + argument + text("</send_now>"));
        requests << Request{row.name, FrontDoor, singleLevelFunction,
                            [=](Target target) {
                                return KivInterface::requestDataSubscribeSingleLevel(
                                    argument, argument, argument, argument, target);
                            },
                            text("<request><ref>") + argument + text("</ref><rpc><subscribe><") +
                                argument + text("><ypath>") + argument + text("</ypath>") + now +
                                text("</") + argument +
                                text("></subscribe></rpc></request>\r\n\f\n")};
    }
}

void addOthers(QList<Request> &requests)
{
    const struct {
        const char *name;
        QString argument;
    } rows[] = {{"plain", text("<request><ref>own</ref></request>")},
                {"value", text("true")},
                {"null", QString()},
                {"empty", text("")},
                {"not escaped", text("<&>\"'%1")},
                {"a separator in it", text("a\f\nb")},
                {"long", QString(150, QLatin1Char('x'))},
                {"longer", QString(250, QLatin1Char('x'))},
                {"huge", QString(500000, QLatin1Char('x'))}};
    for (const auto &row : rows) {
        const QString argument = row.argument;
        const QString raw = argument + text("\r\n\f\n");
        const QString validate = text("encode:xml\r\n<rpc><kivd_debug><validate_off>") + argument +
                                 text("</validate_off></kivd_debug></rpc>\r\n\f\n");
        requests
            << Request{row.name, Builder, rawFunction,
                       [=](Target target) {
                           return KivInterface::instance->sendKivMesssage(argument, target);
                       },
                       raw}
            << Request{row.name, FrontDoor, rawFunction,
                       [=](Target target) { return KivInterface::requestData(argument, target); },
                       raw}
            << Request{row.name, Builder, validateFunction,
                       [=](Target target) {
                           return KivInterface::instance->sendKivDebugValidateOff(argument, target);
                       },
                       validate}
            << Request{row.name, FrontDoor, validateFunction,
                       [=](Target target) {
                           return KivInterface::requestSendKivDebugValidateOff(argument, target);
                       },
                       validate}
            << Request{
                   row.name, LocalFrontDoor, validateFunction,
                   [=](Target) { return KivInterface::requestSendKivDebugValidateOff(argument); },
                   validate};
    }
}

QList<Request> allRequests()
{
    QList<Request> requests;
    addGets(requests);
    addEdits(requests);
    addSubscriptions(requests);
    addSingleLevels(requests);
    addOthers(requests);
    return requests;
}

const QList<Request> &requests()
{
    static const QList<Request> all = allRequests();
    return all;
}

bool isAny(const Request &)
{
    return true;
}

bool isTargeted(const Request &request)
{
    return request.entrance != LocalFrontDoor;
}

bool isFrontDoor(const Request &request)
{
    return request.entrance != Builder;
}

/** A text with placeholders takes part in the making of its own trace line. */
bool hasNoPlaceholder(const Request &request)
{
    return !request.text.contains(QLatin1Char('%'));
}

/** One row for each request that fits, by its index. */
void requestRows(bool (*fits)(const Request &))
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < int(requests().size()); ++i) {
        const Request &request = requests().at(i);
        if (fits(request))
            QTest::newRow(QByteArray(request.function) + ' ' + QByteArray::number(i) + ' ' +
                          request.name)
                << i;
    }
}

/** The client and both daemons, connected. */
struct Connected {
    Connected()
        : local(ScriptedDaemon::Local)
        , domain(ScriptedDaemon::Tcp)
    {
        ok = fixture.connectTo(local) && fixture.connectTo(domain);
    }

    /** Whether exactly these bytes have been sent since the connection. */
    bool hasSent(const QByteArray &toLocal, const QByteArray &toDomain)
    {
        const QLatin1String mark("|end");
        fixture.kiv->sendMsgToLocalKiv(mark);
        fixture.kiv->sendMsgToDomainKiv(mark);
        return spinUntil([&]() {
                   return local.lastReceived().endsWith("|end") &&
                          domain.lastReceived().endsWith("|end");
               }) &&
               local.lastReceived() == toLocal + "|end" &&
               domain.lastReceived() == toDomain + "|end";
    }

    ScriptedDaemon local;
    ScriptedDaemon domain;
    KivFixture fixture;
    bool ok;
};

QStringList dumped(const Request &request)
{
    return QStringList(traced(request.function, request.text));
}

QStringList notConnectedTo(const Request &request, Target target)
{
    return QStringList(isTargeted(request) && target == domainTarget
                           ? traced("verifyDomainKivSocketOk", "domainKivSocket->state()")
                           : traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0"));
}

QStringList wrongTargetOf(const Request &request)
{
    return QStringList(traced(request.function, "Wrong kiv target!!"));
}

} // namespace

class TestRequests : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sendsTheWholeRequest_data() { requestRows(isAny); }
    void sendsTheWholeRequest();
    void failsWithoutConnection_data() { requestRows(isAny); }
    void failsWithoutConnection();
    void refusesAWrongTarget_data() { requestRows(isTargeted); }
    void refusesAWrongTarget();
    void failsSilentlyWithoutInstance_data() { requestRows(isFrontDoor); }
    void failsSilentlyWithoutInstance();
    void logsTheRequestWhenDebugging_data() { requestRows(hasNoPlaceholder); }
    void logsTheRequestWhenDebugging();
    void leavesPlaceholdersInALoggedRequestAlone();
    void encodesAsTheLocaleDoes();
    void cutsARequestAtNul();
    void logsWithTheRightGroupsAndLevels_data() { requestRows(hasNoPlaceholder); }
    void logsWithTheRightGroupsAndLevels();
};

void TestRequests::sendsTheWholeRequest()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    const QByteArray bytes = request.text.toLatin1();
    Connected connected;
    QVERIFY(connected.ok);
    QVERIFY(request.call(localTarget));
    QVERIFY(connected.hasSent(bytes, QByteArray()));
    connected.local.forget();
    connected.domain.forget();
    QVERIFY(request.call(domainTarget));
    QVERIFY(isTargeted(request) ? connected.hasSent(QByteArray(), bytes)
                                : connected.hasSent(bytes, QByteArray()));
    QCOMPARE(connected.fixture.take(), QStringList());
}

void TestRequests::failsWithoutConnection()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    KivFixture fixture;
    fixture.take();
    for (const Target target : {localTarget, domainTarget}) {
        QVERIFY(!request.call(target));
        QVERIFY(sameRecord(fixture.take(), notConnectedTo(request, target)));
    }
}

void TestRequests::refusesAWrongTarget()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    Connected connected;
    QVERIFY(connected.ok);
    for (const int target :
         {2, -1, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        QVERIFY(!request.call(Target(target)));
        QVERIFY(sameRecord(connected.fixture.take(), wrongTargetOf(request)));
    }
    QVERIFY(connected.hasSent(QByteArray(), QByteArray()));
}

void TestRequests::failsSilentlyWithoutInstance()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    KivFixture fixture;
    fixture.kiv.reset();
    fixture.take();
    for (const bool debug : {false, true}) {
        KivInterface::enableDebugPrint = debug;
        for (const int target : {0, 1, 2})
            QVERIFY(!request.call(Target(target)));
        QCOMPARE(fixture.take(), QStringList());
    }
}

void TestRequests::logsTheRequestWhenDebugging()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    {
        Connected connected;
        QVERIFY(connected.ok);
        KivInterface::debugPrintEnable();
        QVERIFY(request.call(localTarget));
        QVERIFY(request.call(domainTarget));
        QVERIFY(sameRecord(connected.fixture.take(), dumped(request) + dumped(request)));
    }
    KivFixture fixture;
    fixture.take();
    KivInterface::debugPrintEnable();
    for (const Target target : {localTarget, domainTarget}) {
        QVERIFY(!request.call(target));
        QVERIFY(sameRecord(fixture.take(), dumped(request) + notConnectedTo(request, target)));
    }
    if (isTargeted(request)) {
        // The target is looked at only afterwards.
        QVERIFY(!request.call(Target(2)));
        QVERIFY(sameRecord(fixture.take(), dumped(request) + wrongTargetOf(request)));
    }
}

void TestRequests::leavesPlaceholdersInALoggedRequestAlone()
{
    // A trace line of this length takes the message last, and so leaves its placeholders alone.
    KivFixture fixture;
    fixture.take();
    KivInterface::debugPrintEnable();
    QVERIFY(!KivInterface::requestDataGet(text("%1 %2"),
                                          text("/interfaces/interface[name='%7']/mtu %9")));
    QCOMPARE(fixture.take(),
             QStringList() << traced(getFunction,
                                     "<request><ref>%1 %2</ref><rpc><get><path>/interfaces/"
                                     "interface[name='%7']/mtu %9</path></get></rpc></request>"
                                     "\r\n\f\n")
                           << traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0"));
}

void TestRequests::encodesAsTheLocaleDoes()
{
    Connected connected;
    QVERIFY(connected.ok);
    const QString word = QString::fromUtf8("\xc3\xa9\xe2\x82\xac");
    QVERIFY(KivInterface::requestDataGet(word, word, domainTarget));
    QVERIFY(connected.hasSent(QByteArray(),
                              "<request><ref>\xc3\xa9\xe2\x82\xac</ref><rpc><get><path>\xc3\xa9"
                              "\xe2\x82\xac</path></get></rpc></request>\r\n\f\n"));
}

void TestRequests::cutsARequestAtNul()
{
    Connected connected;
    QVERIFY(connected.ok);
    QVERIFY(
        KivInterface::requestDataGet(text("7"), text("/a") + QChar(0) + text("b"), localTarget));
    QVERIFY(connected.hasSent("<request><ref>7</ref><rpc><get><path>/a", QByteArray()));
}

void TestRequests::logsWithTheRightGroupsAndLevels()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    KivFixture fixture;
    KivInterface::debugPrintEnable();
    const int wrongTargetLevel = request.function == validateFunction ? 1 : 5;
    QList<TraceLine> expected;
    expected << TraceLine{1, request.function, request.text}
             << TraceLine{1, "verifyLocalKivSocketOk", text("localKivSocket->state(): 0")};
    if (isTargeted(request))
        expected << TraceLine{1, request.function, request.text}
                 << TraceLine{wrongTargetLevel, request.function, text("Wrong kiv target!!")};
    QCOMPARE(compareUnderFilters(fixture, expected,
                                 [&]() {
                                     request.call(localTarget);
                                     if (isTargeted(request))
                                         request.call(Target(2));
                                 }),
             QString());
}

int main(int argc, char **argv)
{
    qputenv("LC_ALL", "C.UTF-8"); // the encoding of what is sent
    QCoreApplication application(argc, argv);
    TestRequests test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_requests.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivfixture.h"
#include "scripteddaemon.h"

#include <QtCore/QCoreApplication>
#include <QtTest/QtTest>

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

QString l(const char *text)
{
    return QString::fromLatin1(text);
}

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
        {"plain", l("r1"), l("/a/b"),
         "<request><ref>r1</ref><rpc><get><path>/a/b</path></get></rpc></request>\r\n\f\n"},
        {"null texts", QString(), QString(),
         "<request><ref></ref><rpc><get><path></path></get></rpc></request>\r\n\f\n"},
        {"empty texts", l(""), l(""),
         "<request><ref></ref><rpc><get><path></path></get></rpc></request>\r\n\f\n"},
        {"nothing escaped", l("<r>&\"'"), l(" /a[b='<&>']\t\n"),
         "<request><ref><r>&\"'</ref><rpc><get><path> /a[b='<&>']\t\n</path></get></rpc></request>"
         "\r\n\f\n"},
        {"placeholders", l("%2 %1"), l("/interfaces/%1/%L1/%99/%%/%n"),
         "<request><ref>%2 %1</ref><rpc><get><path>/interfaces/%1/%L1/%99/%%/%n</path></get></rpc>"
         "</request>\r\n\f\n"}};
    for (const Get &get : gets) {
        const QString ref = get.ref;
        const QString path = get.path;
        const QString text = l(get.text);
        requests << Request{get.name, Builder, getFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivGetMesssage(path, ref,
                                                                                  target);
                            },
                            text}
                 << Request{get.name, FrontDoor, getFunction,
                            [=](Target target) {
                                return KivInterface::requestDataGet(ref, path, target);
                            },
                            text}
                 << Request{get.name, LocalFrontDoor, getFunction,
                            [=](Target) { return KivInterface::requestDataGet(ref, path); }, text};
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
        {"with data", l("r1"), l("/a"), l("patch"), l("<b>1</b>"),
         "<request><ref>r1</ref><rpc><edit><op>patch</op><path>/a</path><data><b>1</b></data>"
         "</edit></rpc></request>\r\n\f\n"},
        {"null data", l("r1"), l("/a"), l("delete"), QString(),
         "<request><ref>r1</ref><rpc><edit><op>delete</op><path>/a</path></edit></rpc></request>"
         "\r\n\f\n"},
        {"empty data", l("r1"), l("/a"), l("delete"), l(""),
         "<request><ref>r1</ref><rpc><edit><op>delete</op><path>/a</path></edit></rpc></request>"
         "\r\n\f\n"},
        {"data of one blank", l("r1"), l("/a"), l("delete"), l(" "),
         "<request><ref>r1</ref><rpc><edit><op>delete</op><path>/a</path><data> </data></edit>"
         "</rpc></request>\r\n\f\n"},
        {"null texts", QString(), QString(), QString(), QString(),
         "<request><ref></ref><rpc><edit><op></op><path></path></edit></rpc></request>\r\n\f\n"},
        {"nothing escaped", l("&"), l("<"), l(">"), l("\"'&"),
         "<request><ref>&</ref><rpc><edit><op>></op><path><</path><data>\"'&</data></edit></rpc>"
         "</request>\r\n\f\n"},
        {"placeholders", l("%1"), l("%2"), l("%3"), l("%4%1"),
         "<request><ref>%1</ref><rpc><edit><op>%3</op><path>%2</path><data>%4%1</data></edit></rpc>"
         "</request>\r\n\f\n"}};
    for (const Edit &edit : edits) {
        const QString ref = edit.ref;
        const QString path = edit.path;
        const QString op = edit.op;
        const QString data = edit.data;
        const QString text = l(edit.text);
        requests << Request{edit.name, Builder, editFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivEditMesssage(path, ref, op,
                                                                                   data, target);
                            },
                            text}
                 << Request{edit.name, FrontDoor, editFunction,
                            [=](Target target) {
                                return KivInterface::requestDataEdit(ref, path, op, data, target);
                            },
                            text}
                 << Request{
                        edit.name, LocalFrontDoor, editFunction,
                        [=](Target) { return KivInterface::requestDataEdit(ref, path, op, data); },
                        text};
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
    const QString ref = l("s1");
    const QString path = l("/a<&");
    const QString tag = l("multi_level");
    const QString begin = l("<request><ref>s1</ref><rpc><subscribe><multi_level><path>/a<&</path>");
    const QString end = l("</multi_level></subscribe></rpc></request>\r\n\f\n");
    const Subscription subscriptions[] = {
        {"both options", l("/x"), l("true"),
         "<rpath_match>/x</rpath_match><send_now>true</send_now>"},
        {"both null", QString(), QString(), ""},
        {"both empty", l(""), l(""), "<rpath_match></rpath_match><send_now></send_now>"},
        {"match alone", l("/x"), QString(), "<rpath_match>/x</rpath_match>"},
        {"empty match alone", l(""), QString(), "<rpath_match></rpath_match>"},
        {"sendNow alone", QString(), l("false"), "<send_now>false</send_now>"},
        {"empty sendNow alone", QString(), l(""), "<send_now></send_now>"},
        {"placeholders", l("%1"), l("%2"), "<rpath_match>%1</rpath_match><send_now>%2</send_now>"}};
    for (const Subscription &subscription : subscriptions) {
        const QString match = subscription.rpathMatch;
        const QString now = subscription.sendNow;
        const QString text = begin + l(subscription.options) + end;
        requests << Request{subscription.name, Builder, subscribeFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivSubscribeMesssage(
                                    path, ref, tag, match, now, target);
                            },
                            text}
                 << Request{subscription.name, FrontDoor, subscribeFunction,
                            [=](Target target) {
                                return KivInterface::requestDataSubscribe(ref, path, tag, match,
                                                                          now, target);
                            },
                            text}
                 << Request{subscription.name, LocalFrontDoor, subscribeFunction,
                            [=](Target) {
                                return KivInterface::requestDataSubscribe(ref, path, tag, match,
                                                                          now);
                            },
                            text};
    }
    requests << Request{"without options", FrontDoor, subscribeFunction,
                        [=](Target target) {
                            return KivInterface::requestDataSubscribe(ref, path, tag, target);
                        },
                        begin + end}
             << Request{"without options", LocalFrontDoor, subscribeFunction,
                        [=](Target) { return KivInterface::requestDataSubscribe(ref, path, tag); },
                        begin + end}
             << Request{"null texts", FrontDoor, subscribeFunction,
                        [=](Target target) {
                            return KivInterface::requestDataSubscribe(QString(), QString(),
                                                                      QString(), target);
                        },
                        l("<request><ref></ref><rpc><subscribe><><path></path></></subscribe></rpc>"
                          "</request>\r\n\f\n")};
}

void addSingleLevels(QList<Request> &requests)
{
    const QString ref = l("s2");
    const QString path = l("/y<&");
    const QString tag = l("single_level");
    const QString begin =
        l("<request><ref>s2</ref><rpc><subscribe><single_level><ypath>/y<&</ypath>");
    const QString end = l("</single_level></subscribe></rpc></request>\r\n\f\n");
    const struct {
        const char *name;
        QString sendNow;
        const char *options;
    } rows[] = {{"sendNow", l("true"), "<send_now>true</send_now>"},
                {"sendNow of one blank", l(" "), "<send_now> </send_now>"},
                {"placeholder", l("%1"), "<send_now>%1</send_now>"},
                {"null sendNow", QString(), ""},
                {"empty sendNow", l(""), ""}};
    for (const auto &row : rows) {
        const QString now = row.sendNow;
        const QString text = begin + l(row.options) + end;
        requests << Request{row.name, Builder, singleLevelFunction,
                            [=](Target target) {
                                return KivInterface::instance->sendKivSubscribeMesssageSingleLevel(
                                    path, ref, tag, now, target);
                            },
                            text}
                 << Request{row.name, FrontDoor, singleLevelFunction,
                            [=](Target target) {
                                return KivInterface::requestDataSubscribeSingleLevel(ref, path, tag,
                                                                                     now, target);
                            },
                            text};
    }
}

void addOthers(QList<Request> &requests)
{
    const struct {
        const char *name;
        QString argument;
    } rows[] = {{"plain", l("<request><ref>own</ref></request>")},
                {"value", l("true")},
                {"null", QString()},
                {"empty", l("")},
                {"not escaped", l("<&>\"'%1")},
                {"a separator in it", l("a\f\nb")},
                {"long", QString(150, QLatin1Char('x'))},
                {"longer", QString(250, QLatin1Char('x'))},
                {"huge", QString(500000, QLatin1Char('x'))}};
    for (const auto &row : rows) {
        const QString argument = row.argument;
        const QString raw = argument + l("\r\n\f\n");
        const QString validate = l("encode:xml\r\n<rpc><kivd_debug><validate_off>") + argument +
                                 l("</validate_off></kivd_debug></rpc>\r\n\f\n");
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
    void onTheWire_data() { requestRows(isAny); }
    void onTheWire();
    void notConnected_data() { requestRows(isAny); }
    void notConnected();
    void wrongTarget_data() { requestRows(isTargeted); }
    void wrongTarget();
    void withoutInstance_data() { requestRows(isFrontDoor); }
    void withoutInstance();
    void dumpedUnderDebug_data() { requestRows(hasNoPlaceholder); }
    void dumpedUnderDebug();
    void dumpWithPlaceholders();
    void encoding();
    void cutAtNul();
    void levels_data() { requestRows(hasNoPlaceholder); }
    void levels();
};

void TestRequests::onTheWire()
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

void TestRequests::notConnected()
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

void TestRequests::wrongTarget()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    Connected connected;
    QVERIFY(connected.ok);
    for (const int target : {2, -1, 3}) {
        QVERIFY(!request.call(Target(target)));
        QVERIFY(sameRecord(connected.fixture.take(), wrongTargetOf(request)));
    }
    QVERIFY(connected.hasSent(QByteArray(), QByteArray()));
}

void TestRequests::withoutInstance()
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

void TestRequests::dumpedUnderDebug()
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

void TestRequests::dumpWithPlaceholders()
{
    // A trace line of this length takes the message last, and so leaves its placeholders alone.
    KivFixture fixture;
    fixture.take();
    KivInterface::debugPrintEnable();
    QVERIFY(
        !KivInterface::requestDataGet(l("%1 %2"), l("/interfaces/interface[name='%7']/mtu %9")));
    QCOMPARE(fixture.take(),
             QStringList() << traced(getFunction,
                                     "<request><ref>%1 %2</ref><rpc><get><path>/interfaces/"
                                     "interface[name='%7']/mtu %9</path></get></rpc></request>"
                                     "\r\n\f\n")
                           << traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0"));
}

void TestRequests::encoding()
{
    Connected connected;
    QVERIFY(connected.ok);
    const QString word = QString::fromUtf8("\xc3\xa9\xe2\x82\xac");
    QVERIFY(KivInterface::requestDataGet(word, word, domainTarget));
    QVERIFY(connected.hasSent(QByteArray(),
                              "<request><ref>\xc3\xa9\xe2\x82\xac</ref><rpc><get><path>\xc3\xa9"
                              "\xe2\x82\xac</path></get></rpc></request>\r\n\f\n"));
}

void TestRequests::cutAtNul()
{
    Connected connected;
    QVERIFY(connected.ok);
    QVERIFY(KivInterface::requestDataGet(l("7"), l("/a") + QChar(0) + l("b"), localTarget));
    QVERIFY(connected.hasSent("<request><ref>7</ref><rpc><get><path>/a", QByteArray()));
}

void TestRequests::levels()
{
    QFETCH(int, index);
    const Request &request = requests().at(index);
    KivFixture fixture;
    KivInterface::debugPrintEnable();
    const int wrongTargetLevel = request.function == validateFunction ? 1 : 5;
    QList<TraceLine> expected;
    expected << TraceLine{1, request.function, request.text}
             << TraceLine{1, "verifyLocalKivSocketOk", l("localKivSocket->state(): 0")};
    if (isTargeted(request))
        expected << TraceLine{1, request.function, request.text}
                 << TraceLine{wrongTargetLevel, request.function, l("Wrong kiv target!!")};
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

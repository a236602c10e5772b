// SPDX-License-Identifier: LGPL-2.1-or-later

// The stand-in daemon reads paths with code of its own. What both understand, both must understand
// alike: the same paths are asked of the daemon and looked up in its document.

#include "kivinterface.h"

#include "kivlogs.h"
#include "skip.h"
#include "standin.h"
#include "texts.h"
#include "waiting.h"

#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

static const char document[] =
    "<?kivsim-keys interface=name address=ip?>"
    "<device><config><system><location>Pump house</location><contact/><note> two  blanks </note>"
    "</system><interfaces>"
    "<interface><name>eth0</name><mtu>1500</mtu><address><ip>192.0.2.1</ip><len>24</len></address>"
    "</interface>"
    "<interface><name>eth1</name><mtu>1400</mtu><address><ip>192.0.2.2</ip><len>25</len></address>"
    "<address><ip>192.0.2.3</ip><len>26</len></address></interface>"
    "<interface><name>a.b-c_d</name><mtu>9000</mtu></interface>"
    "</interfaces></config>"
    "<state><location>nowhere</location><up>1</up></state></device>";

/** What stands for a value that is not there. */
static const char nothing[] = "(nothing)";

class TestPathAgreement : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void findsTheSameAsTheDaemon_data();
    void findsTheSameAsTheDaemon();
    void differsFromTheDaemonWhereKnown_data();
    void differsFromTheDaemonWhereKnown();

private:
    /** The text that the first designated element begins with, according to the daemon. */
    QString askDaemon(const QString &path);

    QScopedPointer<StandIn> daemon;
    QScopedPointer<KivInterface> kiv;
    QScopedPointer<SignalLog> signalLog;
};

void TestPathAgreement::initTestCase()
{
    if (!qstrlen(KIVSIM_PROGRAM))
        SKIP_TEST("kivsim is not built: cmake -DQVCOMMON_BUILD_TOOLS=ON .");
    daemon.reset(new StandIn(KIVSIM_PROGRAM, document));
    kiv.reset(new KivInterface(nullptr));
    signalLog.reset(new SignalLog(kiv.data()));
    kiv->connectToLocalKivSocketSlot();
    QVERIFY(waitFor([this] { return !signalLog->entries.isEmpty(); }));
    QCOMPARE(signalLog->take(), QStringList(text("local connected")));
}

void TestPathAgreement::cleanupTestCase()
{
    signalLog.reset();
    kiv.reset();
    daemon.reset();
}

QString TestPathAgreement::askDaemon(const QString &path)
{
    KivInterface::requestDataGet(text("r"), path);
    if (!waitFor([this] { return !signalLog->entries.isEmpty(); }))
        return text("(no answer)");
    const QString answer = signalLog->entries.takeFirst();
    if (answer == text("error(r, application, no such path: ") + path + text(")"))
        return text(nothing);
    if (!answer.startsWith(text("get(r, <")))
        return answer;
    const auto begin = answer.indexOf(QLatin1Char('>')) + 1;
    return answer.mid(begin, answer.indexOf(QLatin1Char('<'), begin) - begin);
}

static QString lookUp(const QString &path)
{
    QString value;
    const bool found = KivInterface::xpathGetTextNode(value, path, QString(), text(document));
    return found ? value : text(nothing);
}

void TestPathAgreement::findsTheSameAsTheDaemon_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("value");

    QTest::newRow("leaf") << text("/config/system/location") << text("Pump house");
    QTest::newRow("namesake elsewhere") << text("/state/location") << text("nowhere");
    QTest::newRow("empty") << text("/config/system/contact") << text("");
    QTest::newRow("blanks") << text("/config/system/note") << text(" two  blanks ");
    QTest::newRow("element with children") << text("/config/system") << text("");
    QTest::newRow("missing") << text("/config/system/colour") << text(nothing);
    QTest::newRow("missing on the way") << text("/confug/system") << text(nothing);
    QTest::newRow("other case") << text("/config/System") << text(nothing);
    QTest::newRow("first entry") << text("/config/interfaces/interface[name='eth0']/mtu")
                                 << text("1500");
    QTest::newRow("second entry") << text("/config/interfaces/interface[name='eth1']/mtu")
                                  << text("1400");
    QTest::newRow("the key") << text("/config/interfaces/interface[name='eth1']/name")
                             << text("eth1");
    QTest::newRow("odd key value")
        << text("/config/interfaces/interface[name='a.b-c_d']/mtu") << text("9000");
    QTest::newRow("no such entry")
        << text("/config/interfaces/interface[name='eth2']/mtu") << text(nothing);
    QTest::newRow("entry of an entry")
        << text("/config/interfaces/interface[name='eth1']/address[ip='192.0.2.3']/len")
        << text("26");
    QTest::newRow("without keys, the first")
        << text("/config/interfaces/interface/mtu") << text("1500");
}

void TestPathAgreement::findsTheSameAsTheDaemon()
{
    QFETCH(QString, path);
    QFETCH(QString, value);
    QCOMPARE(lookUp(path), value);
    QCOMPARE(askDaemon(path), value);

    // Slashes in front, behind and doubled count for neither; the daemon spells paths its own way.
    if (value != text(nothing)) {
        QString slashes = path + QLatin1Char('/');
        slashes.replace(QLatin1String("/"), QLatin1String("//"));
        QCOMPARE(lookUp(slashes), value);
        QCOMPARE(askDaemon(slashes), value);
    }
}

void TestPathAgreement::differsFromTheDaemonWhereKnown_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("lookedUp");
    QTest::addColumn<QString>("asked");

    QTest::newRow("a look-up finds elements at any depth")
        << text("/config/location") << text("Pump house") << text(nothing);
    QTest::newRow("a look-up goes on behind the element")
        << text("/config/up") << text("1") << text(nothing);
    QTest::newRow("a look-up does not end with a list step")
        << text("/config/interfaces/interface[name='eth0']") << text(nothing) << text("");
    QTest::newRow("a look-up takes one key only")
        << text("/config/interfaces/interface[name='eth1'][mtu='9']/mtu") << text("1400")
        << text(nothing);
    QTest::newRow("a look-up takes single quotes only")
        << text("/config/interfaces/interface[name=\"eth1\"]/mtu") << text(nothing) << text("1400");
}

void TestPathAgreement::differsFromTheDaemonWhereKnown()
{
    QFETCH(QString, path);
    QTEST(lookUp(path), "lookedUp");
    QTEST(askDaemon(path), "asked");
}

QTEST_MAIN(TestPathAgreement)

#include "tst_pathagreement.moc"

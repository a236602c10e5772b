// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivfixture.h"

#include "scripteddaemon.h"
#include "waiting.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtCore/QTimerEvent>

#include <cstdio>

KivFixture::KivFixture(Timers timers)
    : trace(nullptr)
    , traceLog(&trace)
    , timers(timers)
    , messagesPulled(0)
{
    connect(&trace, SIGNAL(LogMessage(QString)), SLOT(pull()), Qt::DirectConnection);
    restart();
}

void KivFixture::restart()
{
    signalLog.reset();
    kiv.reset();
    const QObjectList otherTimers = QAbstractEventDispatcher::instance()->children();
    kiv.reset(new KivInterface(nullptr));
    if (timers == StoppedTimers)
        stopTimers(otherTimers);
    signalLog.reset(new SignalLog(kiv.get()));
    const char *const signalNames[] = {
        SIGNAL(kivOkSignal(QString)),
        SIGNAL(kivErrorSignal(QString, QString, QString)),
        SIGNAL(kivGetSignal(QString, QString)),
        SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
        SIGNAL(kivLocalUnixSocketConnectedSignal()),
        SIGNAL(kivLocalUnixSocketDisConnectedSignal()),
        SIGNAL(kivDomainTcpSocketConnectedSignal()),
        SIGNAL(kivDomainTcpSocketDisConnectedSignal())};
    for (const char *name : signalNames)
        connect(kiv.get(), name, SLOT(pull()));
}

// Single-shot timers are objects that belong to the event dispatcher.
void KivFixture::stopTimers(const QObjectList &otherTimers)
{
    for (QObject *timer : QAbstractEventDispatcher::instance()->children()) {
        if (!otherTimers.contains(timer))
            delete timer;
    }
    kiv->installEventFilter(this);
}

bool KivFixture::eventFilter(QObject *object, QEvent *event)
{
    // A test that wants a tick sends one with the number 0, which no timer has.
    return object == kiv.get() && event->type() == QEvent::Timer &&
           static_cast<QTimerEvent *>(event)->timerId() != 0;
}

KivFixture::~KivFixture()
{
    kiv.reset();
    KivInterface::debugPrintDisable();
    KivInterface::crc32 = QString();
}

// Runs at each signal and trace line, so that at most one of them is new.
void KivFixture::pull()
{
    const QStringList lines = messages.lines();
    while (messagesPulled < int(lines.size()))
        record << lines.at(messagesPulled++);
    const QString client = QLatin1String("KivInterface|");
    for (const QString &entry : traceLog.take()) {
        const bool own = entry.startsWith(client);
        record << QLatin1String("trace: ") + (own ? entry.mid(client.size()) : entry);
    }
    if (signalLog) {
        for (const QString &entry : signalLog->take())
            record << QLatin1String("signal: ") + entry;
    }
}

QStringList KivFixture::take()
{
    pull();
    messages.clear();
    messagesPulled = 0;
    QStringList taken;
    taken.swap(record);
    return taken;
}

bool KivFixture::connectTo(ScriptedDaemon &daemon)
{
    const int before = daemon.connections();
    if (daemon.port()) {
        kiv->updateDomainServerIpAddressLocal(QLatin1String("127.0.0.1"), daemon.port());
        KivInterface::domainServerActivateTcpConnection(true);
        kiv->connectToDomainKivSocketSlot();
    } else {
        kiv->connectToLocalKivSocketSlot();
    }
    const bool connected = spinUntil(
        [&]() { return daemon.connections() == before + 1 && daemon.lastReceived() == handshake; });
    daemon.forget();
    take();
    return connected;
}

QString traced(const char *function, const QString &message)
{
    const int split = 180;
    const int tooLong = 360;
    const QString begin = QLatin1String("trace: ");
    if (message.length() >= tooLong)
        return begin;
    QString text = message.left(split).simplified();
    if (message.length() >= split)
        text += QLatin1Char('\n') + message.mid(split).simplified();
    return begin + QLatin1String(function) + QLatin1Char('|') + text;
}

QString traced(const char *function, const char *message)
{
    return traced(function, QString::fromLatin1(message));
}

QString compareUnderFilters(KivFixture &fixture, const QList<TraceLine> &expected,
                            const std::function<void()> &scenario)
{
    const int everything = 0xffff;
    const int ownGroup = 8;
    struct Filter {
        int level;
        int groups;
    };
    const Filter filters[] = {
        {1, ownGroup}, {2, ownGroup}, {3, ownGroup},   {4, ownGroup},
        {5, ownGroup}, {6, ownGroup}, {1, everything}, {1, everything & ~ownGroup}};
    QString difference;
    for (const Filter &filter : filters) {
        fixture.trace.applyLogFilters(filter.level, filter.groups);
        fixture.take();
        scenario();
        const QStringList record = fixture.take();
        fixture.trace.applyLogFilters(1, everything);
        fixture.take();

        QStringList lines;
        for (const QString &entry : record) {
            if (entry.startsWith(QLatin1String("trace: ")))
                lines << entry;
        }
        QStringList accepted;
        for (const TraceLine &line : expected) {
            if (line.level >= filter.level && (filter.groups & ownGroup))
                accepted << traced(line.function, line.message);
        }
        if (lines != accepted)
            difference +=
                QString::fromLatin1("level %1, groups %2:\n%3\ninstead of\n%4\n")
                    .arg(filter.level)
                    .arg(filter.groups)
                    .arg(lines.join(QLatin1String("\n")), accepted.join(QLatin1String("\n")));
    }
    return difference;
}

bool spinUntil(const std::function<bool()> &condition)
{
    QElapsedTimer clock;
    clock.start();
    QTimer wakeUp; // for conditions that no event of this thread brings about
    wakeUp.start(50);
    while (!condition()) {
        if (clock.elapsed() > patience)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

bool sameRecord(const QStringList &actual, const QStringList &expected)
{
    if (actual == expected)
        return true;
    const int longest = 200;
    int at = 0;
    while (at < int(actual.size()) && at < int(expected.size()) && actual[at] == expected[at])
        ++at;
    const auto entry = [at](const QStringList &list) {
        return at < int(list.size()) ? list[at].left(longest).toLocal8Bit() : QByteArray("(end)");
    };
    std::fprintf(stderr, "entry %d of %d: %s\n    instead of %s\n", at + 1, int(actual.size()),
                 entry(actual).constData(), entry(expected).constData());
    return false;
}

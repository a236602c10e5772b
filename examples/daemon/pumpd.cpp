// SPDX-License-Identifier: LGPL-2.1-or-later

// A whole daemon: every service of the library, in the order in which they start and, backwards, end.
// A lamp on GPIO line 40 is on while the daemon's value /config/system/watchdog/enabled is "true".
//
//     pumpd /run/pumpd/pid /var/log/pumpd/          SIGTERM or SIGINT ends it
//     pumpd pid log/ board                          with a folder of files as the board
//
// Exit status: 0 ended by a signal, 1 another one runs or the PID file cannot be written, 2 wrong
// usage.

#include "gpio.h"
#include "kivinterface.h"
#include "loghandler.h"
#include "pidfilehandler.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/signalfd.h>
#include <unistd.h>

// [signals]
// From here on the signals that end a daemon arrive as input of a descriptor. A signal that ends the
// process at once would leave the PID file behind, and a log without its last lines.
static int endingSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}
// [signals]

// [leave]
// Ends the process without destructors: that of the guard would remove the other daemon's file.
[[noreturn]] static void leaveTheFile(const char *reason)
{
    std::fprintf(stderr, "pumpd: %s\n", reason);
    std::_Exit(EXIT_FAILURE);
}
// [leave]

/** What the daemon is there for. */
class Pump : public QObject
{
    Q_OBJECT
public:
    explicit Pump(Gpio *lamp)
        : lamp(lamp)
    {
    }

public Q_SLOTS:
    /** On each connection, as subscriptions end with theirs. */
    void subscribe()
    {
        KivInterface::requestDataSubscribe("lamp", "/config/system/watchdog/enabled",
                                           "subscription", QString(), "1");
    }

    void obey(const QString &ref, const QString &, const QString &, const QString &,
              const QString &data)
    {
        QString enabled;
        if (ref != "lamp" || !KivInterface::xpathGetTextNode(enabled, "enabled", QString(), data))
            return;
        lamp->setGpioValue(enabled == "true" ? Gpio::ValueHigh : Gpio::ValueLow);
        Trace::log(8, 2, "Pump", "obey", "the lamp is told: " + enabled);
    }

    void complain(const QString &, const QString &, const QString &message)
    {
        Trace::log(8, 4, "Pump", "complain", message);
    }

private:
    Gpio *lamp;
};

// [work]
// Board and client live here, so that their last lines are logged when this returns.
static int work(QCoreApplication &application)
{
    Gpio lamp(nullptr, Gpio::Gpios(40), Gpio::DirectionOutput, Gpio::EdgeNone);
    Pump pump(&lamp);
    KivInterface kiv(nullptr);
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &pump, SLOT(subscribe()));
    QObject::connect(&kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
                     &pump, SLOT(obey(QString, QString, QString, QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &pump,
                     SLOT(complain(QString, QString, QString)));
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    const int status = application.exec();
    lamp.setGpioValue(Gpio::ValueLow); // a line keeps its level otherwise
    Trace::log(8, 2, "main", "work", "stopped");
    return status;
}
// [work]

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc < 3 || argc > 4) {
        std::fputs("usage: pumpd PIDFILE LOGDIRECTORY/ [BOARDFOLDER]\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    const QByteArray board = argc == 4 ? QByteArray(argv[3]) + "/" : QByteArray();
    if (!board.isEmpty())
        Gpio::gpioImx28Path = board.constData();

    // [main]
    const int ending = endingSignals(); // before there are threads, which take the mask over
    QCoreApplication application(argc, argv);

    Trace trace(nullptr);
    trace.openSysLog("pumpd");

    // Before the log: opening it shifts the files of a daemon that runs.
    PidFileHandler pidFile(argv[1]); // argv lives as long as the process, as the path must
    if (pidFile.checkPid() != 0)
        leaveTheFile("another one is running");
    if (pidFile.writePid() == 0 || pidFile.readPid() != getpid())
        leaveTheFile("the PID file cannot be written");

    LogHandler handler(nullptr, false);
    if (!handler.open(QString::fromLocal8Bit(argv[2]), "pumpd"))
        Trace::log(8, 4, "main", "main", "no log files"); // syslog has the lines all the same
    handler.moveToThread(&handler);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::QueuedConnection);
    handler.start();
    Trace::log(8, 2, "main", "main", "started");

    QSocketNotifier notifier(ending, QSocketNotifier::Read);
    QObject::connect(&notifier, SIGNAL(activated(int)), &application, SLOT(quit()));
    const int status = work(application);

    handler.quit();
    handler.wait(); // every line is in the file now
    handler.close("ended");
    return status; // the handler goes, then the PID file, then the trace
    // [main]
}

#include "pumpd.moc"

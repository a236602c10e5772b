// SPDX-License-Identifier: LGPL-2.1-or-later

// Changes what is logged while the program runs: by a value of the daemon, and by signals for a
// machine whose daemon is down. Prints one line of each level whenever the threshold changes.
//
//     logfilter /config/system/syslog/level &
//     kivctl set /config/system/syslog/level error       debug, info, warning, error or critical
//     kill -USR1 %1                                      one level more
//     kill -USR2 %1                                      one level less
//
// Exit status: 0 ended by SIGTERM or SIGINT, 1 the daemon has refused, 2 wrong usage.

#include "kivinterface.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/signalfd.h>
#include <unistd.h>

/** Lets signals arrive as input of a descriptor, where a slot may do anything with them. */
static int signalsAsInput()
{
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int number : {SIGUSR1, SIGUSR2, SIGTERM, SIGINT})
        sigaddset(&wanted, number);
    sigprocmask(SIG_BLOCK, &wanted, nullptr);
    return signalfd(-1, &wanted, SFD_CLOEXEC);
}

class Filter : public QObject
{
    Q_OBJECT
public:
    Filter(const QString &path, int signalDescriptor)
        : path(path)
        , signalDescriptor(signalDescriptor)
        , threshold(1)
    {
        levels << "debug"
               << "info"
               << "warning"
               << "error"
               << "critical";
    }

public Q_SLOTS:
    void subscribe()
    {
        KivInterface::requestDataSubscribe("level", path, "subscription", QString(), "1");
    }

    // [filter]
    /** The value of the daemon; what cannot be understood changes nothing. */
    void obey(const QString &, const QString &, const QString &, const QString &,
              const QString &data)
    {
        QString word;
        const QString element = path.mid(path.lastIndexOf('/') + 1);
        if (KivInterface::xpathGetTextNode(word, element, QString(), data))
            setThreshold(int(levels.indexOf(word)) + 1);
    }

    void obeySignal()
    {
        signalfd_siginfo signal;
        if (read(signalDescriptor, &signal, sizeof signal) != ssize_t(sizeof signal))
            return;
        if (signal.ssi_signo == SIGUSR1)
            setThreshold(threshold - 1);
        else if (signal.ssi_signo == SIGUSR2)
            setThreshold(threshold + 1);
        else
            QCoreApplication::exit(0);
    }
    // [filter]

    void fail(const QString &, const QString &type, const QString &message)
    {
        std::fprintf(stderr, "logfilter: %s: %s\n", qPrintable(type), qPrintable(message));
        QCoreApplication::exit(1);
    }

    void print(const QString &line)
    {
        std::printf("%s\n", qPrintable(line));
        std::fflush(stdout);
    }

private:
    void setThreshold(int level)
    {
        if (level < 1 || level > levels.size())
            return;
        threshold = level;
        Trace::instance->applyLogFilters(threshold, -1); // the groups stay as they are
        for (int i = 1; i <= levels.size(); ++i)
            Trace::log(8, i, "Filter", "setThreshold", QString("this is %1").arg(levels.at(i - 1)));
    }

    QString path;
    int signalDescriptor;
    int threshold;
    QStringList levels;
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 2) {
        std::fputs("usage: logfilter PATH\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    const int signalDescriptor = signalsAsInput(); // before there are threads
    QCoreApplication application(argc, argv);
    Trace trace(nullptr);
    Filter filter(QString::fromLocal8Bit(argv[1]), signalDescriptor);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &filter, SLOT(print(QString)),
                     Qt::DirectConnection);
    QSocketNotifier notifier(signalDescriptor, QSocketNotifier::Read);
    QObject::connect(&notifier, SIGNAL(activated(int)), &filter, SLOT(obeySignal()));

    KivInterface kiv(nullptr);
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &filter, SLOT(subscribe()));
    QObject::connect(&kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
                     &filter, SLOT(obey(QString, QString, QString, QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &filter,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    return application.exec();
}

#include "logfilter.moc"

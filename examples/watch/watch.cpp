// SPDX-License-Identifier: LGPL-2.1-or-later

// Prints the present data below some paths, and each change of it, until it is interrupted.
// Subscriptions end with their connection, so it subscribes each time it is connected: that is all
// it takes to go on after the daemon has been restarted.
//
//     watch /config/system /state/alarms
//
// Exit status: 1 the daemon has refused a subscription, 2 wrong usage, else that of the signal.

#include "kivinterface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class Watch : public QObject
{
    Q_OBJECT
public:
    explicit Watch(const QStringList &paths)
        : paths(paths)
        , connected(false)
    {
    }

public Q_SLOTS:
    // [subscribe]
    void subscribe()
    {
        connected = true;
        for (const QString &path : paths) {
            // A null text is left out of the request: all changes below the path. "1" asks for the
            // present state, too, so nothing is missed that has changed meanwhile.
            KivInterface::requestDataSubscribe(path, path, "subscription", QString(), "1");
        }
    }
    // [subscribe]

    /** The signal comes for each attempt that fails, too. */
    void tellOfTheEnd()
    {
        if (connected)
            say("-- the connection is lost");
        connected = false;
    }

    void show(const QString &ref, const QString &op, const QString &rpath, const QString &,
              const QString &data)
    {
        // The reference tells which subscription it is; here it is the path.
        say(QString("%1: %2 %3 %4").arg(ref, op, rpath, data));
    }

    void fail(const QString &ref, const QString &type, const QString &message)
    {
        std::fprintf(stderr, "watch: %s: %s: %s\n", qPrintable(ref), qPrintable(type),
                     qPrintable(message));
        QCoreApplication::exit(1);
    }

private:
    static void say(const QString &text)
    {
        std::printf("%s\n", qPrintable(text));
        std::fflush(stdout); // for those who read a pipe
    }

    const QStringList paths;
    bool connected;
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc < 2) {
        std::fputs("usage: watch PATH...\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    QCoreApplication application(argc, argv);
    KivInterface kiv(nullptr);
    Watch watch(application.arguments().mid(1));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &watch, SLOT(subscribe()));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketDisConnectedSignal()), &watch,
                     SLOT(tellOfTheEnd()));
    QObject::connect(&kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
                     &watch, SLOT(show(QString, QString, QString, QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &watch,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    return application.exec();
}

#include "watch.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks for several paths at once and prints each answer with the path that it belongs to. The
// library keeps no list of requests: an answer bears the reference of its request, and that is how
// they are matched here. What has no answer in time, or was on its way when the connection ended,
// is told of, too.
//
//     pending /config/system/hostname /state/sensors /no/such/path
//
// Exit status: 0 all have data, 1 some have not, 2 wrong usage.

#include "kivinterface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMap>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class Requests : public QObject
{
    Q_OBJECT
public:
    explicit Requests(const QStringList &paths)
        : paths(paths)
        , lastNumber(0)
        , status(0)
    {
    }

public Q_SLOTS:
    // [match]
    void sendAll()
    {
        while (!paths.isEmpty()) {
            const QString ref = QString("get-%1").arg(++lastNumber); // never used again
            const QString path = paths.takeFirst();
            pathOf.insert(ref, path); // before it is sent: the connection may end in there
            if (!KivInterface::requestDataGet(ref, path) && pathOf.remove(ref) > 0)
                finish(path, "not sent, as there is no connection", 1);
        }
    }

    void succeed(const QString &ref, const QString &data)
    {
        if (pathOf.contains(ref)) // or somebody else in this program has asked
            finish(pathOf.take(ref), data, 0);
    }

    void fail(const QString &ref, const QString &, const QString &message)
    {
        if (pathOf.contains(ref))
            finish(pathOf.take(ref), message, 1);
    }

    /** No answer will come on another connection. */
    void loseAll() { endAll("lost with the connection"); }
    // [match]

    void runOutOfTime()
    {
        while (!paths.isEmpty())
            finish(paths.takeFirst(), "never sent, as there is no daemon", 1);
        endAll("no answer within 10 seconds");
    }

private:
    void endAll(const QString &reason)
    {
        while (!pathOf.isEmpty())
            finish(pathOf.take(pathOf.begin().key()), reason, 1);
    }

    void finish(const QString &path, const QString &result, int itsStatus)
    {
        std::printf("%s: %s\n", qPrintable(path), qPrintable(result));
        status = qMax(status, itsStatus);
        if (pathOf.isEmpty() && paths.isEmpty())
            QCoreApplication::exit(status);
    }

    QStringList paths;             ///< that are still to be asked for
    QMap<QString, QString> pathOf; ///< of each request that is on its way, by reference
    int lastNumber;
    int status;
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc < 2) {
        std::fputs("usage: pending PATH...\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    QCoreApplication application(argc, argv);
    KivInterface kiv(nullptr);
    Requests requests(application.arguments().mid(1));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &requests, SLOT(sendAll()));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketDisConnectedSignal()), &requests,
                     SLOT(loseAll()));
    QObject::connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), &requests,
                     SLOT(succeed(QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &requests,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(10000, &requests, SLOT(runOutOfTime()));
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    return application.exec();
}

#include "pending.moc"

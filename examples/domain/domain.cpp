// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks a domain daemon, which is somewhere in the network, for the data below one path. What differs
// from the local daemon: it has to be given an address and be switched on, its target is named with
// each request, and its connection has signals of its own. Answers come by the same signals from
// both daemons, so the references tell which one has answered.
//
//     domain 192.0.2.7 5000 /config/system/hostname
//
// Exit status: 0 the data is printed, 1 the daemon has refused, 2 wrong usage, 4 no answer in time.

#include "kivinterface.h"

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class DomainGet : public QObject
{
    Q_OBJECT
public:
    explicit DomainGet(const QString &path)
        : path(path)
    {
    }

public Q_SLOTS:
    void ask() { KivInterface::requestDataGet("domain-1", path, KivInterface::KIVTARGET_DOMAIN); }

    void show(const QString &ref, const QString &data)
    {
        if (ref != "domain-1")
            return;
        std::printf("%s\n", qPrintable(data));
        QCoreApplication::exit(0);
    }

    void fail(const QString &ref, const QString &type, const QString &message)
    {
        if (ref != "domain-1")
            return;
        std::fprintf(stderr, "domain: %s: %s\n", qPrintable(type), qPrintable(message));
        QCoreApplication::exit(1);
    }

    void giveUp()
    {
        std::fprintf(stderr, "domain: no answer within 10 seconds\n");
        QCoreApplication::exit(4);
    }

private:
    QString path;
};

int main(int argc, char *argv[])
{
    const int port = argc == 4 ? QByteArray(argv[2]).toInt() : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || port < 1 || port > 65535) {
        std::fputs("usage: domain ADDRESS PORT PATH\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    QCoreApplication application(argc, argv);
    KivInterface kiv(nullptr);
    DomainGet domainGet(QString::fromLocal8Bit(argv[3]));
    QObject::connect(&kiv, SIGNAL(kivDomainTcpSocketConnectedSignal()), &domainGet, SLOT(ask()));
    QObject::connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), &domainGet,
                     SLOT(show(QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &domainGet,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(10000, &domainGet, SLOT(giveUp()));
    // [domain]
    KivInterface::updateDomainServerIpAddress(QString::fromLocal8Bit(argv[1]), port);
    KivInterface::domainServerActivateTcpConnection(true); // off at first
    QTimer::singleShot(0, &kiv, SLOT(connectToDomainKivSocketSlot()));
    // [domain]
    return application.exec();
}

#include "domain.moc"

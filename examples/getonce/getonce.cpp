// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks the local daemon for the data below one path, prints it and ends: the first program to write.
// It shows the daemon's errors, and gives up in time.
//
//     getonce /config/system/hostname
//
// Exit status: 0 the data is printed, 1 the daemon has refused, 2 wrong usage, 4 no answer in time.

#include "kivinterface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class GetOnce : public QObject
{
    Q_OBJECT
public:
    explicit GetOnce(const QString &path)
        : path(path)
    {
    }

public Q_SLOTS:
    void ask() { KivInterface::requestDataGet("r1", path); }

    void show(const QString &, const QString &data)
    {
        std::printf("%s\n", qPrintable(data));
        QCoreApplication::exit(0);
    }

    void fail(const QString &, const QString &type, const QString &message)
    {
        std::fprintf(stderr, "getonce: %s: %s\n", qPrintable(type), qPrintable(message));
        QCoreApplication::exit(1);
    }

    void giveUp()
    {
        std::fprintf(stderr, "getonce: no answer within 10 seconds; does the daemon run?\n");
        QCoreApplication::exit(4);
    }

private:
    QString path;
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 2) {
        std::fputs("usage: getonce PATH\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    // [main]
    QCoreApplication application(argc, argv);
    KivInterface kiv(nullptr);
    GetOnce getOnce(QString::fromLocal8Bit(argv[1]));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &getOnce, SLOT(ask()));
    QObject::connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), &getOnce,
                     SLOT(show(QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &getOnce,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(10000, &getOnce, SLOT(giveUp()));
    // At once; by itself the library makes the first attempt after two seconds.
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    return application.exec();
    // [main]
}

#include "getonce.moc"

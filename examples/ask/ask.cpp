// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks the local daemon for the data below one path, prints the answer and ends.
// The smallest program that does something useful with the library.

#include "kivinterface.h"
#include "trace.h"

#include <QtCore/QCoreApplication>

#include <cstdio>

class Ask : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void send() { KivInterface::requestDataGet("r1", "/state/sensors"); }
    void show(const QString &ref, const QString &data)
    {
        std::printf("%s: %s\n", qPrintable(ref), qPrintable(data));
        QCoreApplication::quit();
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    Trace trace(nullptr);
    KivInterface kiv(nullptr);
    Ask ask;
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &ask, SLOT(send()));
    QObject::connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), &ask,
                     SLOT(show(QString, QString)));
    return application.exec();
}

#include "ask.moc"

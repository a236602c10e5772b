// SPDX-License-Identifier: LGPL-2.1-or-later

// Logs to files in the directory given on the command line, enough for the files to change once.
// The smallest program that sets logging up and shuts it down in the right order.
//
//     logging /tmp/log                   then: qvlog /tmp/log/pump
//
// Exit status: 0 all is written, 1 there is no file, 2 wrong usage.

#include "loghandler.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class Pump : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void run()
    {
        const int lines = 800; // of 150 characters each
        for (int i = 1; i <= lines; ++i)
            Trace::log(8, 2, "Pump", "run", QString("stroke %1 of %2").arg(i).arg(lines));
        QCoreApplication::quit();
    }
};

// [logging]
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 2) {
        std::fputs("usage: logging DIRECTORY\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }

    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    if (!handler.open(application.arguments().at(1) + "/", "pump"))
        return 1;
    handler.moveToThread(&handler);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::QueuedConnection);
    handler.start();

    Pump pump;
    QTimer::singleShot(0, &pump, SLOT(run()));
    const int status = application.exec();

    handler.quit();
    handler.wait(); // every line logged so far is in the files now
    handler.close("The end");
    return status; // the handler goes before the trace, in reverse order
}
// [logging]

#include "logging.moc"

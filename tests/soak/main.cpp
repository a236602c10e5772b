// SPDX-License-Identifier: LGPL-2.1-or-later

// An application that uses all of the library for a while, and writes down what it does.
//
//     qvcommon_soak FOLDER SOCKET PORT SECONDS
//
// FOLDER gets the journal and the log files, and holds the file "table", what the daemon that listens
// on SOCKET and PORT answers to a get of /soak/table.

#include "conversation.h"
#include "devices.h"
#include "journal.h"
#include "kivdredirect.h"
#include "loggingthread.h"
#include "loghandler.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
#include <memory>
#include <vector>

namespace
{

const int threadCount = 4;

QString contentOf(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(name));
    return QString::fromLatin1(file.readAll());
}

void work(QCoreApplication &application, Journal &journal, const QString &table, int port,
          int milliseconds)
{
    std::vector<std::unique_ptr<LoggingThread>> threads;
    for (int number = 1; number <= threadCount; ++number) {
        threads.emplace_back(new LoggingThread(number));
        threads.back()->start();
    }
    Devices devices(journal);
    Conversation conversation(journal, table, port);
    QTimer::singleShot(milliseconds, &application, SLOT(quit()));
    application.exec();
    devices.stop();
    for (int number = 1; number <= threadCount; ++number)
        journal.add("thread", QString::number(number),
                    QString::number(threads[size_t(number - 1)]->stop()));
    conversation.finish();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc != 5) {
        std::fputs("usage: qvcommon_soak FOLDER SOCKET PORT SECONDS\n", stderr);
        return 2;
    }
    const QString folder = QFile::decodeName(argv[1]) + QLatin1Char('/');
    redirectKivd(QFile::decodeName(argv[2]));
    Journal journal(folder + QLatin1String("journal"));
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    if (!handler.open(folder + QLatin1String("log/"), QLatin1String("soak")))
        return 1;
    handler.startFlushTimer();
    handler.moveToThread(&handler);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::QueuedConnection);
    handler.start();
    work(application, journal, contentOf(folder + QLatin1String("table")),
         QByteArray(argv[3]).toInt(), 1000 * QByteArray(argv[4]).toInt());
    // Nothing logs from here on until every line is in the files.
    journal.add("lines", QString::number(Trace::linenumber - 1));
    handler.quit();
    handler.wait();
    return 0;
}

// SPDX-License-Identifier: LGPL-2.1-or-later

// Logs from several threads at once, to files that a thread of their own writes. Any thread may log,
// and nothing has to be done for it: each gets its number, "tid", with its first line, or that of one
// that has ended. At the end the threads that log come first, then the one that writes.
//
//     threads DIRECTORY 4 1000           four threads, each with a thousand lines
//
// Exit status: 0 every line is written, 1 there is no file, 2 wrong usage.

#include "loghandler.h"
#include "trace.h"

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

class Worker : public QThread
{
public:
    Worker(int number, int lines)
        : number(number)
        , lines(lines)
    {
    }

protected:
    virtual void run()
    {
        for (int i = 1; i <= lines; ++i)
            Trace::log(8, 2, "Worker", "run", QString("worker %1, piece %2").arg(number).arg(i));
    }

private:
    const int number;
    const int lines;
};

static void letThemWork(int workers, int lines)
{
    std::vector<std::unique_ptr<Worker>> threads;
    for (int i = 1; i <= workers; ++i) {
        threads.emplace_back(new Worker(i, lines));
        threads.back()->start();
    }
    for (const std::unique_ptr<Worker> &thread : threads)
        thread->wait();
}

int main(int argc, char *argv[])
{
    const int workers = argc == 4 ? QByteArray(argv[2]).toInt() : 0;
    const int lines = argc == 4 ? QByteArray(argv[3]).toInt() : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || workers < 1 || lines < 1) {
        std::fputs("usage: threads DIRECTORY THREADS LINES\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    QCoreApplication application(argc, argv);
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    if (!handler.open(application.arguments().at(1) + "/", "threads"))
        return 1;
    // Queued, the workers do not wait for the file; named, since Qt's choice would differ by thread.
    handler.moveToThread(&handler);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::QueuedConnection);
    handler.start();

    letThemWork(workers, lines);

    handler.quit();
    handler.wait(); // what was queued is written before it ends
    std::printf("%d lines logged\n", Trace::linenumber - 1);
    return 0;
}

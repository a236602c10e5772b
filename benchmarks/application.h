// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_APPLICATION_H
#define BENCHMARKS_APPLICATION_H

#include "barrier.h"
#include "connectedclient.h"
#include "feeder.h"
#include "loghandler.h"
#include "samplelines.h"
#include "trace.h"

/** An application with everything that a daemon uses: log files, and the client, connected. */
class Application
{
public:
    Application()
        : trace(nullptr)
        , handler(nullptr, false)
        , client(feeder.path())
        , barrier(&handler)
    {
        handler.open(folder.path() + QLatin1Char('/'), QLatin1String("bench"));
        handler.startFlushTimer();
        handler.moveToThread(&handler);
        QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                         Qt::QueuedConnection);
        handler.start();
        feeder.accept();
        const SampleTexts texts;
        Trace::log(8, 2, texts.className, texts.functionName, texts.message);
        barrier.wait();
    }

    ~Application()
    {
        handler.quit();
        handler.wait();
    }

    const TemporaryFolder folder;
    Feeder feeder;
    Trace trace;
    LogHandler handler;
    ConnectedClient client;
    Barrier barrier;

private:
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;
};

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later

// What the library has on the heap and keeps resident. Each case runs in a process of its own and
// prints lines of "name, tab, value".

#include "application.h"
#include "documenttexts.h"
#include "heapmeter.h"
#include "hour.h"
#include "messagelog.h"
#include "require.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <unistd.h>

namespace
{

const double kB = 1000;
FILE *results;

void print(const char *name, double value)
{
    std::fprintf(results, "%s\t%.6g\n", name, value);
}

void logLines(int count)
{
    const SampleTexts texts;
    for (int i = 0; i < count; ++i)
        Trace::log(8, 2, texts.className, texts.functionName, texts.message);
}

/** @param bareHeap, bareResident what an application without the library has */
void measureStart(long bareHeap, long bareResident)
{
    const Application application;
    print("startheap", double(heapInUse() - bareHeap) / kB);
    print("startresident", double(residentSize() - bareResident) / kB);
}

/** How many allocations a call makes, behind a first one; lines of all of them fit in one file. */
void countAllocations(const char *name, const std::function<void()> &call)
{
    call();
    const long before = heapRequests();
    for (int i = 1; i < linesPerFile; ++i)
        call();
    print(name, double(heapRequests() - before) / (linesPerFile - 1));
}

void measureAllocations()
{
    const TemporaryFolder folder;
    const SampleTexts texts;
    const auto log = [&] { Trace::log(8, 2, texts.className, texts.functionName, texts.message); };
    Feeder feeder;
    ConnectedClient client(feeder.path());
    feeder.accept();
    const QString ref = QLatin1String("r1");
    const QString path = QLatin1String("/config/system/location");
    countAllocations("requestheap", [&] {
        require(KivInterface::requestDataGet(ref, path), "the request is not sent");
        feeder.discard();
    });

    Trace trace(nullptr);
    countAllocations("lineheap", log);
    LogHandler handler(nullptr, false);
    require(handler.open(folder.path() + QLatin1Char('/'), QLatin1String("bench")), "no log file");
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::DirectConnection);
    countAllocations("fileheap", log);
    trace.applyLogFilters(3, -1);
    const int lineNumber = Trace::linenumber;
    countAllocations("rejectedheap", log);
    require(Trace::linenumber == lineNumber, "a line was not rejected");
}

void measureQueued()
{
    const int lines = 10000;
    const TemporaryFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false); // not started: nothing is taken out of its queue
    require(handler.open(folder.path() + QLatin1Char('/'), QLatin1String("bench")), "no log file");
    handler.moveToThread(&handler);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::QueuedConnection);
    const long heap = heapInUse();
    const long resident = residentSize();
    logLines(lines);
    print("queuedheap", double(heapInUse() - heap) / lines);
    print("queuedresident", double(residentSize() - resident) / lines);
}

void measureReply()
{
    Application application;
    const Document reply = getReply(16000000);
    const QByteArray frame = reply.body + frameEnd;
    const Document first = getReply(1000); // for it, Qt makes the buffers of the socket
    SignalCounter &counter = application.client.counter;
    counter.expected = QString::fromLatin1(first.data);
    require(application.feeder.feed(first.body + frameEnd, [&] { return counter.count == 1; }),
            "no signal");
    counter.expected = QString::fromLatin1(reply.data);
    resetPeaks();
    const long heap = heapInUse();
    const long resident = residentSize();
    require(application.feeder.feed(frame, [&] { return counter.count == 2; }), "no signal");
    print("replyheap", double(heapPeak() - heap) / double(frame.size()));
    print("replyresident", double(residentPeak() - resident) / double(frame.size()));
    print("replykept", double(heapInUse() - heap) / kB);
}

/** The number of the last line in the current log file. */
int lastLineNumber(const QString &fileName)
{
    QFile file(fileName);
    require(file.open(QIODevice::ReadOnly), "no log file");
    const QList<QByteArray> lines = file.readAll().split('\n');
    return lines.size() < 2 ? 0 : lines.at(lines.size() - 2).left(5).trimmed().toInt();
}

void measureHour()
{
    const int warmUp = 10; // minutes, in which buffers and files reach their sizes
    Application application;
    Traffic traffic(application.feeder, application.client);
    long heap = 0;
    long resident = 0;
    for (int minute = 0; minute < warmUp + 60; ++minute) {
        if (minute == warmUp) {
            heap = heapInUse();
            resident = residentSize();
        }
        require(traffic.runMinute(), "a signal is missing");
        require(minute % 15 != 0 || traffic.restartDaemon(), "the connection is not lost");
        application.barrier.wait();
    }
    print("hourheap", double(heapInUse() - heap) / kB);
    print("hourresident", double(residentSize() - resident) / kB);
    require(lastLineNumber(application.handler.getCurrentLogFile()) == Trace::linenumber - 1,
            "lines are missing");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QByteArray name = argc > 1 ? argv[1] : "";
    // The flush timer says a word on standard output now and then.
    results = fdopen(dup(STDOUT_FILENO), "w");
    std::freopen("/dev/null", "w", stdout);
    const MessageLog messages;

    if (name == "start" && argc == 4)
        measureStart(std::atol(argv[2]), std::atol(argv[3]));
    else if (name == "allocations")
        measureAllocations();
    else if (name == "queued")
        measureQueued();
    else if (name == "reply")
        measureReply();
    else if (name == "hour")
        measureHour();
    else
        std::fprintf(stderr,
                     "usage: %s start HEAP RESIDENT | allocations | queued | reply | hour\n",
                     argv[0]);
    return std::fclose(results);
}

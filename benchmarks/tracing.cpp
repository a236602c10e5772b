// SPDX-License-Identifier: LGPL-2.1-or-later

// What a line of the trace costs.

#include "loghandler.h"
#include "registry.h"
#include "samplelines.h"
#include "spdlogpeer.h"
#include "team.h"
#include "temporaryfolder.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <fcntl.h>
#include <unistd.h>

namespace
{

const int group = 8;
const int level = 2;
const int linesPerRun = 1000;
const int rejectedPerRun = 10000;

void report(benchmark::State &state, int linesPerIteration)
{
    state.counters["units"] = linesPerIteration;
}

void logLines(int count, const SampleTexts &texts)
{
    for (int i = 0; i < count; ++i)
        Trace::log(group, level, texts.className, texts.functionName, texts.message);
}

/** Lets the next line be line 1, so that all logs have the same bytes. */
void startNumbering()
{
    Trace::linenumber = 1;
}

/** Lets the main thread be the first one that logs, whatever is run first. */
void becomeFirstThread()
{
    const Trace trace(nullptr);
    Trace::logs(QString(), QString(), QString());
}

/**
 * Times the writing of linesPerFile lines to a fresh file.
 * @param open starts the file
 * @param write writes the lines
 */
void timeFile(benchmark::State &state, const QString &fileName, const std::function<void()> &open,
              const std::function<void()> &write)
{
    while (state.KeepRunning()) {
        state.PauseTiming();
        open();
        state.ResumeTiming();
        write();
        state.PauseTiming();
        if (!require(state, holdsSampleLines(fileName), "the lines are not in the file"))
            return;
        state.ResumeTiming();
    }
    report(state, linesPerFile);
}

void fileByTrace(benchmark::State &state, const QString &place, bool flushEach,
                 const std::function<void()> &write)
{
    const TemporaryFolder folder(place);
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::DirectConnection);
    flushAfterEachLogMsg = flushEach;
    timeFile(
        state, folder.filePath(QLatin1String("bench0.log")),
        [&] {
            handler.open(folder.path() + QLatin1Char('/'), QLatin1String("bench"));
            startNumbering();
        },
        [&] {
            write();
            handler.flush();
        });
    flushAfterEachLogMsg = true;
}

void fileByOneThread(benchmark::State &state, const QString &place, bool flushEach)
{
    const SampleTexts texts;
    fileByTrace(state, place, flushEach, [&] { logLines(linesPerFile, texts); });
}

/** With as many threads as asked for, none of which is the one that takes the time. */
void fileByTeam(benchmark::State &state, const QString &place, int threads)
{
    const SampleTexts texts;
    Team team(threads);
    fileByTrace(state, place, true,
                [&] { team.run([&] { logLines(linesPerFile / threads, texts); }); });
}

void fileBySpdlog(benchmark::State &state, const QString &place, bool flushEach)
{
    const TemporaryFolder folder(place);
    const QString fileName = folder.filePath(QLatin1String("bench.log"));
    const std::unique_ptr<SpdlogPeer> peer = spdlogFromHeaders();
    timeFile(
        state, fileName, [&] { peer->open(fileName.toStdString(), flushEach); },
        [&] {
            peer->log(linesPerFile);
            peer->flush();
        });
}

void fileByWrite(benchmark::State &state, const QString &place)
{
    const TemporaryFolder folder(place);
    const QString fileName = folder.filePath(QLatin1String("bench.log"));
    std::vector<QByteArray> lines;
    for (int number = 1; number <= linesPerFile; ++number)
        lines.push_back(plainLine(number, SampleTexts(), 1).toLatin1() + '\n');
    int file = -1;
    timeFile(
        state, fileName,
        [&] {
            ::close(file);
            file = ::open(fileName.toLocal8Bit().constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        },
        [&] {
            for (const QByteArray &line : lines)
                benchmark::DoNotOptimize(::write(file, line.constData(), size_t(line.size())));
        });
    ::close(file);
}

/** A folder of a file system in memory, if there is one. */
QString placeInMemory()
{
    const char folder[] = "/dev/shm";
    return access(folder, W_OK) == 0 ? QLatin1String(folder) : QString();
}

void lineByTrace(benchmark::State &state, const QString &message)
{
    SampleTexts texts;
    texts.message = message;
    Trace trace(nullptr);
    startNumbering();
    while (state.KeepRunning())
        logLines(linesPerRun, texts);
    require(state, Trace::linenumber - 1 == int(state.iterations()) * linesPerRun,
            "lines are missing");
    report(state, linesPerRun);
}

void lineByArg(benchmark::State &state, const QString &message)
{
    SampleTexts texts;
    texts.message = message;
    const qint64 lineLength = plainLine(1, texts, 1).length();
    qint64 length = 0;
    while (state.KeepRunning()) {
        for (int number = 1; number <= linesPerRun; ++number)
            length += plainLine(number, texts, 1).length();
    }
    require(state, length == qint64(state.iterations()) * linesPerRun * lineLength,
            "the lines have the wrong length");
    report(state, linesPerRun);
}

void rejectByTrace(benchmark::State &state)
{
    const SampleTexts texts;
    Trace trace(nullptr);
    trace.applyLogFilters(level + 1, -1);
    startNumbering();
    Trace::lock(); // a rejected line that took the lock would never come back
    while (state.KeepRunning())
        logLines(rejectedPerRun, texts);
    Trace::unlock();
    require(state, Trace::linenumber == 1, "a line was not rejected");
    report(state, rejectedPerRun);
}

void rejectBySpdlog(benchmark::State &state, std::unique_ptr<SpdlogPeer> (*make)())
{
    const std::unique_ptr<SpdlogPeer> peer = make();
    while (state.KeepRunning())
        peer->reject(rejectedPerRun);
    report(state, rejectedPerRun);
}

void lineByThreads(benchmark::State &state, int threads)
{
    const int linesPerIteration = 20000;
    const SampleTexts texts;
    Trace trace(nullptr);
    Team team(threads);
    startNumbering();
    while (state.KeepRunning())
        team.run([&] { logLines(linesPerIteration / threads, texts); });
    require(state, Trace::linenumber - 1 == int(state.iterations()) * linesPerIteration,
            "lines are missing");
    report(state, linesPerIteration);
}

} // namespace

void addTracing(TimedList &list)
{
    using std::placeholders::_1;
    becomeFirstThread();
    const QString plain = SampleTexts().message;
    const QString percent = QLatin1String("Pressure is 4.2 bar, valve 3 is 50 % open");
    const QString memory = placeInMemory();
    const QString disk = QCoreApplication::applicationDirPath();
    list.push_back({"file/spdlog", std::bind(fileBySpdlog, _1, memory, true)});
    list.push_back({"file/trace", std::bind(fileByOneThread, _1, memory, true)});
    list.push_back({"file/write", std::bind(fileByWrite, _1, memory)});
    list.push_back({"disk/spdlog", std::bind(fileBySpdlog, _1, disk, true)});
    list.push_back({"disk/trace", std::bind(fileByOneThread, _1, disk, true)});
    list.push_back({"disk/write", std::bind(fileByWrite, _1, disk)});
    list.push_back({"unflushed/trace", std::bind(fileByOneThread, _1, memory, false)});
    list.push_back({"unflushed/spdlog", std::bind(fileBySpdlog, _1, memory, false)});
    list.push_back({"line/trace", std::bind(lineByTrace, _1, plain)});
    list.push_back({"line/arg", std::bind(lineByArg, _1, plain)});
    list.push_back({"percent/trace", std::bind(lineByTrace, _1, percent)});
    list.push_back({"percent/arg", std::bind(lineByArg, _1, percent)});
    list.push_back({"rejected/trace", rejectByTrace});
    list.push_back({"rejected/spdlog", std::bind(rejectBySpdlog, _1, spdlogLibrary)});
    list.push_back({"rejected/inlined", std::bind(rejectBySpdlog, _1, spdlogFromHeaders)});
    list.push_back({"threads/four", std::bind(lineByThreads, _1, 4)});
    list.push_back({"threads/one", std::bind(lineByThreads, _1, 1)});
    list.push_back({"flushedthreads/four", std::bind(fileByTeam, _1, memory, 4)});
    list.push_back({"flushedthreads/one", std::bind(fileByTeam, _1, memory, 1)});
}

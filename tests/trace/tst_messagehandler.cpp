// SPDX-License-Identifier: LGPL-2.1-or-later

// An application whose handler of Qt's messages logs them. The writer says what goes wrong in its folder
// on Qt's debug output, so that each line may make others, which go wrong like the first.

#include "logtest.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <atomic>

class TestMessageHandler : public LogTest
{
    Q_OBJECT
private Q_SLOTS:
    void feedsAWriterThatCannotWrite();
    void maySkipWhatTheWriterSays();
};

namespace
{

/** A writer with a full file, in a folder where nothing can be moved or opened any more. */
struct StuckWriter {
    StuckWriter()
        : trace(nullptr)
        , handler(nullptr, false)
    {
        if (!handler.open(folder.directory(), app))
            qFatal("cannot open the log");
        handler.logMessage(repeated(limit));
        QFile::remove(folder.file(0));
        for (int number = 0; number <= 9; ++number)
            QDir().mkdir(folder.file(number));
        QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                         Qt::QueuedConnection);
        handler.moveToThread(&handler);
        handler.start();
    }

    /** Logs a line, runs the writer until @a done, and ends it. @return whether it was done */
    bool log(const std::function<bool()> &done)
    {
        const StandardOutput silence;
        Trace::log(8, 4, app, app, QLatin1String("line"));
        const bool wasDone = waitFor(done);
        handler.quit();
        handler.wait();
        return wasDone;
    }

    const LogFolder folder;
    Trace trace;
    LogHandler handler;
};

} // namespace

/** One line is enough; here the application ends it. */
void TestMessageHandler::feedsAWriterThatCannotWrite()
{
    calls.reset(); // it concerns one thread alone
    StuckWriter writer;
    const int enough = 1000;
    std::atomic<int> fed(0);
    messages->forward([&](const QString &text) {
        if (fed < enough) {
            ++fed;
            Trace::log(8, 4, app, app, text);
        }
    });
    QVERIFY(writer.log([&] { return fed == enough; }));
    messages->forward(nullptr);
}

/** A handler that looks where messages come from ends it, too. */
void TestMessageHandler::maySkipWhatTheWriterSays()
{
    calls.reset();
    StuckWriter writer;
    std::atomic<int> fed(0);
    std::atomic<int> skipped(0);
    messages->forward([&](const QString &text) {
        if (QThread::currentThread() == LogHandler::instance) {
            ++skipped;
            return;
        }
        ++fed;
        Trace::log(8, 4, app, app, text);
    });
    takePauses();
    QVERIFY(writer.log([&] { return skipped >= 9; })); // a message for each file
    messages->forward(nullptr);
    QCOMPARE(int(fed), 0);
    QCOMPARE(takePauses(), QList<int>() << 500); // for that line alone
}

QTEST_MAIN(TestMessageHandler)
#include "tst_messagehandler.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loghandler.h"
#include "messagelog.h"
#include "oddtexts.h"
#include "qvlog/entryparser.h"
#include "qvlog/linecutter.h"
#include "qvlog/logreader.h"
#include "random.h"
#include "temporaryfolder.h"
#include "trace.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <climits>
#include <memory>
#include <unistd.h>

using namespace qvlog;

namespace
{

/** An application's log in a fresh folder, written by the library itself. */
class Application
{
public:
    Application() { begin(); }

    /** Starts the application again. */
    void begin()
    {
        handler.reset();
        trace.reset(new Trace(nullptr));
        handler.reset(new LogHandler(nullptr, false));
        Trace::linenumber = 1;
        if (!handler->open(folder.path() + QLatin1Char('/'), QLatin1String("app")))
            qFatal("cannot open the log");
        QObject::connect(trace.get(), SIGNAL(LogMessage(QString)), handler.get(),
                         SLOT(logMessage(QString)), Qt::DirectConnection);
    }
    /** Ends it without a word. */
    void end()
    {
        trace.reset();
        handler.reset();
    }
    void log(const LogCall &call) { Trace::log(8, 2, call.className, call.function, call.message); }
    void log(const char *message)
    {
        log({QLatin1String("Pump"), QLatin1String("start"), QString::fromLatin1(message)});
    }
    void close(const char *words) { handler->close(QLatin1String(words)); }

    LogName name() const { return {QFile::encodeName(folder.path()).constData(), "app"}; }
    QString file(int number) const
    {
        return folder.filePath(QString::fromLatin1("app%1.log").arg(number));
    }

private:
    TemporaryFolder folder;
    std::unique_ptr<Trace> trace;
    std::unique_ptr<LogHandler> handler;
};

QList<Entry> readAll(const LogName &name, bool lastRun = false)
{
    QList<Entry> entries;
    std::string error;
    LogReader reader(name, false);
    if (!reader.open(lastRun, error))
        qFatal("%s", error.c_str());
    Entry entry;
    while (reader.next(entry) == LogReader::Got) {
        entry.log = nullptr; // which the reader owns
        entries << entry;
    }
    return entries;
}

QByteArray bytes(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

QByteArray withoutBlanks(QByteArray text)
{
    return text.replace(" ", "");
}

const int splitAt = 180;

/** Whether a message comes back as it was; a blank at the cut of a split one cannot always. */
bool isMessage(const Entry &entry, const QString &message)
{
    const QByteArray found = bytes(entry.message);
    const QByteArray simple = simplifiedLatin1(message);
    const bool isSplit = int(message.size()) >= splitAt;
    return isSplit && simple.size() != int(message.size())
               ? withoutBlanks(found) == withoutBlanks(simple)
               : found == simple;
}

/** Compares one entry with what was logged. @return what is wrong, nothing if all is right */
QByteArray difference(const Entry &entry, const LogCall &call, long long number)
{
    const bool isTooLong = call.message.size() >= 360;
    if (entry.kind != (isTooLong ? Entry::TooLong : Entry::Line))
        return "kind " + QByteArray::number(entry.kind);
    if (entry.number != number)
        return "number " + QByteArray::number(qlonglong(entry.number));
    if (isTooLong)
        return QByteArray();
    if (bytes(entry.className) != latin1(call.className))
        return "class " + bytes(entry.className);
    if (bytes(entry.function) != latin1(call.function))
        return "function " + bytes(entry.function);
    if (!isMessage(entry, call.message))
        return "message " + bytes(entry.message);
    if (entry.thread != "1" || entry.time.size() != 23)
        return "tail " + bytes(entry.thread + ' ' + entry.time);
    return QByteArray();
}

} // namespace

/** What the library itself writes comes out of qvlog as it was logged. */
class tst_QvlogFiles : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void readsOddMessages();
    void readsOddNames();
    void keepsItsPlaceOverPlaceholders();
    void readsRandomCalls();
    void readsLargeAndNegativeNumbers();
    void leavesOutHeadersAndTrailers();
    void tellsRunsApart();
    void readsFilesCutAnywhere();
    void followsOverRotation();
    void sortsOutFilesThatMoveMeanwhile();

private:
    std::unique_ptr<MessageLog> messages; // lest they fill the test's own output
    void compareAll(const QList<LogCall> &calls);
};

void tst_QvlogFiles::init()
{
    messages.reset(new MessageLog);
}

void tst_QvlogFiles::cleanup()
{
    messages.reset();
}

/** Logs all of it, with an ordinary message before each, and reads it back. */
void tst_QvlogFiles::compareAll(const QList<LogCall> &calls)
{
    Application application;
    const LogCall ordinary = {QLatin1String("Pump"), QLatin1String("start"), QLatin1String("on")};
    for (const LogCall &call : calls) {
        application.log(ordinary);
        application.log(call);
    }
    application.end();
    const QList<Entry> entries = readAll(application.name());
    // What the library says itself at the ends of things is not of interest here.
    int at = 0;
    for (const LogCall &call : calls) {
        for (const LogCall &expected : {ordinary, call}) {
            QVERIFY(at < int(entries.size()));
            const QByteArray wrong = difference(entries.at(at), expected, at + 1);
            if (!wrong.isEmpty())
                QFAIL(QByteArray("\"" + latin1(expected.className) + "\" \"" +
                                 latin1(expected.function) + "\" \"" + latin1(expected.message) +
                                 "\": " + wrong)
                          .constData());
            ++at;
        }
    }
}

void tst_QvlogFiles::readsOddMessages()
{
    compareAll(oddMessages());
}

void tst_QvlogFiles::readsOddNames()
{
    compareAll(oddNames());
}

void tst_QvlogFiles::readsRandomCalls()
{
    Random random(20261122);
    QList<LogCall> calls;
    for (int i = randomCases(600); i > 0; --i)
        calls << randomCall(random);
    compareAll(calls);
}

/** A line that placeholders have changed is shown as it is, and the entries around it are whole. */
void tst_QvlogFiles::keepsItsPlaceOverPlaceholders()
{
    const LogCall ordinary = {QLatin1String("Pump"), QLatin1String("start"), QLatin1String("on")};
    for (const LogCall &call : oddPlaceholders()) {
        Application application;
        application.log(ordinary);
        application.log(call);
        application.log(ordinary);
        application.end();
        QFile file(application.file(0));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        const QList<Entry> entries = readAll(application.name());
        const QByteArray text = latin1(call.className) + '|' + latin1(call.function);
        QVERIFY2(entries.size() >= 3, text.constData());
        QCOMPARE(difference(entries.first(), ordinary, 1), QByteArray());
        QVERIFY2(difference(entries.last(), ordinary, 3).isEmpty(), text.constData());
        QCOMPARE(entries.at(1).number, 2LL);
        QVERIFY2(entries.at(1).kind == Entry::Line || entries.at(1).kind == Entry::Odd,
                 text.constData());
        QVERIFY2(bytes(entries.at(1).raw).startsWith(lines.at(1)), text.constData());
    }
}

void tst_QvlogFiles::readsLargeAndNegativeNumbers()
{
    Application application;
    const LogCall on = {QLatin1String("Pump"), QLatin1String("start"), QLatin1String("on")};
    const LogCall wide = {QString(40, QLatin1Char('c')), QString(50, QLatin1Char('f')),
                          QString(100, QLatin1Char('m'))};
    const int numbers[] = {1, 99999, 100000, 1234567, INT_MAX, -1, -10000, INT_MIN};
    for (int number : numbers) {
        Trace::linenumber = number;
        application.log(on);
        Trace::linenumber = number;
        application.log(wide);
    }
    application.end();
    const QList<Entry> entries = readAll(application.name());
    QCOMPARE(int(entries.size()), 16);
    for (int i = 0; i < 16; ++i)
        QCOMPARE(difference(entries.at(i), i % 2 ? wide : on, numbers[i / 2]), QByteArray());
}

void tst_QvlogFiles::leavesOutHeadersAndTrailers()
{
    Application application;
    const int count = 1500; // in three files
    for (int i = 0; i < count; ++i)
        application.log("on");
    application.close("The end");
    application.end();
    QVERIFY(QFile::exists(application.file(2)));
    const QList<Entry> entries = readAll(application.name());
    QCOMPARE(int(entries.size()), count + 1);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(entries.at(i).kind, Entry::Line);
        QCOMPARE(entries.at(i).number, i + 1LL);
        QCOMPARE(entries.at(i).run, 1);
        QVERIFY(entries.at(i).runIsWhole);
    }
    QCOMPARE(entries.last().kind, Entry::Closed);
    QCOMPARE(entries.last().message, std::string("The end"));
}

void tst_QvlogFiles::tellsRunsApart()
{
    Application application;
    application.log("first");
    application.end();
    application.begin();
    for (int i = 0; i < 800; ++i)
        application.log("second");
    application.end();
    application.begin();
    application.log("third");
    application.end();
    const QList<Entry> entries = readAll(application.name());
    QCOMPARE(int(entries.size()), 802);
    for (int i = 0; i < 802; ++i)
        QCOMPARE(entries.at(i).run, i == 0 ? 1 : i < 801 ? 2 : 3);
    const QList<Entry> last = readAll(application.name(), true);
    QCOMPARE(int(last.size()), 1);
    QCOMPARE(last.first().message, std::string("third"));

    // Without its first file the second run has no beginning.
    QVERIFY(QFile::remove(application.file(3)));
    QVERIFY(QFile::remove(application.file(2)));
    QVERIFY(!readAll(application.name()).first().runIsWhole);
}

/** Wherever a power failure cuts a file, all before the cut is whole, and what is left is shown. */
void tst_QvlogFiles::readsFilesCutAnywhere()
{
    Application application;
    application.log("on");
    application.log(
        {QLatin1String("Pump"), QLatin1String("start"), QString(100, QLatin1Char('m'))});
    application.log(
        {QLatin1String("Pump"), QLatin1String("start"), QString(250, QLatin1Char('m'))});
    application.log(
        {QLatin1String("Pump"), QLatin1String("start"), QString(400, QLatin1Char('m'))});
    application.log("off");
    application.close("The end");
    application.end();
    QFile file(application.file(0));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray all = file.readAll();
    const QList<Entry> whole = readAll(application.name());
    for (int length = 0; length < int(all.size()); ++length) {
        LineCutter cutter;
        EntryParser parser("app");
        parser.beginFile();
        cutter.feed(all.constData(), std::size_t(length));
        const char *line = nullptr;
        std::size_t size = 0;
        while (cutter.next(line, size))
            parser.addLine(line, size);
        if (cutter.takeRest(line, size))
            parser.addRest(line, size);
        parser.endFile();
        QList<Entry> entries;
        Entry entry;
        while (parser.next(entry))
            entries << entry;
        QVERIFY(int(entries.size()) <= int(whole.size()));
        for (int i = 0; i + 1 < int(entries.size()); ++i) {
            QCOMPARE(entries.at(i).kind, whole.at(i).kind);
            QCOMPARE(entries.at(i).message, whole.at(i).message);
        }
        // At most the line's newline may be missing from what is called whole.
        if (!entries.isEmpty() && entries.last().kind == Entry::Line)
            QCOMPARE(entries.last().message, whole.at(int(entries.size()) - 1).message);
    }
}

void tst_QvlogFiles::followsOverRotation()
{
    Application application;
    LogReader reader(application.name(), true);
    std::string error;
    QVERIFY(reader.open(false, error));
    const int count = 6000; // nine changes of files
    int seen = 0;
    Entry entry;
    for (int i = 0; i < count; ++i) {
        application.log("on");
        // Reads now and then, but not in time with the files.
        while (i % 97 == 0 && reader.next(entry) == LogReader::Got)
            QCOMPARE(entry.number, ++seen + 0LL);
    }
    while (reader.next(entry) == LogReader::Got)
        QCOMPARE(entry.number, ++seen + 0LL);
    QCOMPARE(seen, count);
    QCOMPARE(reader.takeTrouble(), std::string());
}

/** A reader that has been away for many changes of files says that lines are missing. */
void tst_QvlogFiles::sortsOutFilesThatMoveMeanwhile()
{
    Application application;
    application.log("on");
    LogReader reader(application.name(), true);
    std::string error;
    QVERIFY(reader.open(false, error));
    Entry entry;
    QCOMPARE(reader.next(entry), LogReader::Got);
    for (int i = 0; i < 3; ++i) {
        application.end();
        application.begin();
        application.log("again");
    }
    for (int run = 2; run <= 4; ++run) {
        QCOMPARE(reader.next(entry), LogReader::Got);
        QCOMPARE(entry.run, run);
    }
    QCOMPARE(reader.next(entry), LogReader::Dry);
    QCOMPARE(reader.takeTrouble(), std::string());
    for (int i = 0; i < 12; ++i) {
        application.end();
        application.begin();
        application.log("again");
    }
    int count = 0;
    while (reader.next(entry) == LogReader::Got)
        ++count;
    QCOMPARE(count, 10);
    QCOMPARE(reader.takeTrouble(),
             application.name().file(0) + " was replaced too often, lines may be missing");
}

QTEST_MAIN(tst_QvlogFiles)
#include "tst_qvlogfiles.moc"

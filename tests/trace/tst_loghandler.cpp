// SPDX-License-Identifier: LGPL-2.1-or-later

// The bytes of the log files, when files change, the flush timer, and what is reported.

#include "kivlogs.h"
#include "logtest.h"
#include "random.h"
#include "waiting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMetaMethod>
#include <QtCore/QTimer>
#include <QtTest/QTest>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace
{

/** Looks at a folder with each line. */
class Watcher : public QObject
{
    Q_OBJECT
public:
    Watcher(Trace *trace, const LogFolder &folder)
        : folder(folder)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(look()), Qt::DirectConnection);
    }

    QList<QStringList> seen;

private Q_SLOTS:
    void look()
    {
        const QStringList files =
            QDir(folder.filePath(QLatin1String("new"))).entryList(QDir::Files);
        seen << folder.entries() + files;
    }

private:
    const LogFolder &folder;
};

} // namespace

class TestLogHandler : public LogTest
{
    Q_OBJECT
private Q_SLOTS:
    void hasTwoSlots();
    void belongsToItsParent();
    void opensInAnExistingDirectory();
    void createsTheDirectory();
    void createsTheDirectoryBetweenItsLines();
    void letsTheUmaskDecide();
    void reportsADirectoryThatCannotBeCreated();
    void countsTheNewlineBehindTheDirectory_data();
    void countsTheNewlineBehindTheDirectory();
    void logsAsTheTracingMachineryDoes_data();
    void logsAsTheTracingMachineryDoes();
    void logsUnderItsClassName();
    void logsItsOwnOpening();
    void reportsAFileThatCannotBeOpened_data();
    void reportsAFileThatCannotBeOpened();
    void printsOnlyWithoutABaseName_data();
    void printsOnlyWithoutABaseName();
    void keepsTheFileOfAnEarlierRun();
    void emptiesAFileThatCannotBeMoved();
    void putsTheDirectoryInFrontAsItIs();
    void goesOnElsewhere();

    void writesLinesInLatin1_data();
    void writesLinesInLatin1();
    void copiesLinesToTheConsole();
    void copiesALineBeforeItIsWritten();
    void writesOncePerLine();
    void buffersWhenToldTo();
    void continuesACutWrite();
    void writesWhatThePlainFormWrites();
    void closesItsFilesOnExec();

    void fillsAFileToTheLastCharacter_data();
    void fillsAFileToTheLastCharacter();
    void changesFiles();
    void givesALongLineItsOwnFile();
    void countsFromZeroInANewFile();
    void countsPlainLinesOnly();
    void keepsTenFiles();

    void endsAFileWithATrailer();
    void pausesBeforeTheTrailer();
    void losesLinesAfterClose();
    void tellsWhetherFlushingWorked();
    void flushesEachSecond();
    void saysSoBeforeItFlushes();
    void startsTheTimerOnce();
    void scramblesCharacters();
};

static QString said(const char *text, const QString &name)
{
    return QString::fromLatin1("debug: \"%1\n\" ").arg(QString::fromLatin1(text).arg(name));
}

static QString traced(const char *function, const QString &message)
{
    return QString::fromLatin1("LogHandler|%1|%2").arg(QLatin1String(function), message);
}

/** A call of write() with all these lines. */
static QString written(const LogFolder &folder, const QString &lines)
{
    return QString::fromLatin1("write %1 %2\n").arg(folder.file(0), lines);
}

void TestLogHandler::hasTwoSlots()
{
    const QMetaObject &meta = LogHandler::staticMetaObject;
    QCOMPARE(meta.className(), "LogHandler");
    QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
    const int first = meta.methodOffset();
    QCOMPARE(meta.methodCount() - first, 2);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    QCOMPARE(meta.indexOfSlot("logMessage(QString)"), first);
    QCOMPARE(meta.indexOfSlot("onFlushTimeout()"), first + 1);
    QCOMPARE(meta.method(first).access(), QMetaMethod::Public);
    QCOMPARE(meta.method(first + 1).access(), QMetaMethod::Public);
}

void TestLogHandler::belongsToItsParent()
{
    {
        QObject parent;
        LogHandler *const handler = new LogHandler(&parent, false);
        QCOMPARE(handler->parent(), &parent);
    }
    QVERIFY(!LogHandler::instance);
}

void TestLogHandler::opensInAnExistingDirectory()
{
    const LogFolder folder;
    Trace trace(nullptr);
    TraceLog lines(&trace);
    LogHandler handler(nullptr, false);
    QCOMPARE(handler.getCurrentLogFile(), QString());
    QVERIFY(handler.open(folder.directory(), app));
    QCOMPARE(messages->lines(), QStringList(said("Logging to file: %1", folder.file(0))));
    QCOMPARE(lines.entries(), QStringList());
    QCOMPARE(handler.getCurrentLogFile(), folder.file(0));
    QCOMPARE(folder.entries(), QStringList(QLatin1String("app0.log=")));
}

void TestLogHandler::createsTheDirectory()
{
    const LogFolder folder;
    Trace trace(nullptr);
    TraceLog lines(&trace);
    LogHandler handler(nullptr, false);
    const QString directory = folder.filePath(QLatin1String("a/b/"));
    QVERIFY(handler.open(directory, app));
    QCOMPARE(
        lines.entries(),
        QStringList() << traced("open", QLatin1String("Creating log directory, ") + directory)
                      << traced("open", QLatin1String("LogHandler::open, LogHandler::open file: ") +
                                            directory));
    QCOMPARE(messages->lines(),
             QStringList(said("Logging to file: %1", directory + QLatin1String("app0.log"))));
    QVERIFY(QFile::exists(directory + QLatin1String("app0.log")));
}

void TestLogHandler::createsTheDirectoryBetweenItsLines()
{
    const LogFolder folder;
    Trace trace(nullptr);
    Watcher watcher(&trace, folder);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.filePath(QLatin1String("new/")), app));
    // The file comes later still.
    QCOMPARE(watcher.seen, QList<QStringList>()
                               << QStringList() << QStringList(QLatin1String("new/")));
}

/** Who may read the files is the application's business. */
void TestLogHandler::letsTheUmaskDecide()
{
    for (const mode_t mask : {022U, 077U, 027U}) {
        const LogFolder folder;
        const mode_t before = umask(mask);
        LogHandler handler(nullptr, false);
        const bool opened = handler.open(folder.filePath(QLatin1String("logs/")), app);
        handler.logMessage(repeated(limit));
        handler.logMessage(repeated(1));
        umask(before);
        QVERIFY(opened);
        struct stat status;
        const QByteArray directory = QFile::encodeName(folder.filePath(QLatin1String("logs")));
        QCOMPARE(stat(directory.constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 0777), int(0777 & ~mask));
        for (const char *name : {"/app0.log", "/app1.log"}) {
            QCOMPARE(stat((directory + name).constData(), &status), 0);
            QCOMPARE(int(status.st_mode & 0777), int(0666 & ~mask));
        }
    }
}

void TestLogHandler::reportsADirectoryThatCannotBeCreated()
{
    const LogFolder folder;
    folder.write(QLatin1String("file"), "in the way");
    Trace trace(nullptr);
    TraceLog lines(&trace);
    const QString problem =
        QLatin1String("LogHandler::open, LogHandler::Could not create log director: ");
    for (const char *name : {"file/", "file/a/"}) {
        LogHandler handler(nullptr, false);
        const QString directory = folder.filePath(QLatin1String(name));
        lines.take();
        QVERIFY(!handler.open(directory, app));
        QCOMPARE(lines.take(), QStringList()
                                   << traced("open",
                                             QLatin1String("Creating log directory, ") + directory)
                                   << traced("open", problem + directory));
        handler.logMessage(QLatin1String("lost"));
        QCOMPARE(handler.getCurrentLogFile(), QString());
    }
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(folder.entries(), QStringList(QLatin1String("file=in the way")));
}

void TestLogHandler::countsTheNewlineBehindTheDirectory_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("message");
    const QString made = QLatin1String("LogHandler::open, LogHandler::open file: ");
    const QString problem =
        QLatin1String("LogHandler::open, LogHandler::Could not create log director: ");
    QTest::newRow("created") << QString() << made;
    QTest::newRow("not created") << QString::fromLatin1("file/") << problem;
}

/** A line does not show it, but the length of the message does. */
void TestLogHandler::countsTheNewlineBehindTheDirectory()
{
    QFETCH(QString, place);
    QFETCH(QString, message);
    const LogFolder folder;
    folder.write(QLatin1String("file"), "in the way");
    Trace trace(nullptr);
    TraceLog lines(&trace);
    LogHandler handler(nullptr, false);
    const QString directory = folder.filePath(place) + repeated(80) + QLatin1Char('/');
    QCOMPARE(handler.open(directory, app), place.isEmpty());
    const int length = int(message.length() + directory.length()) + 1;
    QCOMPARE(int(lines.lines.size()), 2);
    const QString line = lines.lines.at(1);
    QVERIFY2(line.contains(QString::fromLatin1(" [Long message(%1)] ").arg(length)),
             qPrintable(line));
    QVERIFY2(line.endsWith(QLatin1Char('\n') + message + directory), qPrintable(line));
}

void TestLogHandler::logsAsTheTracingMachineryDoes_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("count");
    QTest::newRow("its level, its group") << 1 << 1 << 8;
    QTest::newRow("a level above") << 2 << 65535 << 0;
    QTest::newRow("all other groups") << 1 << (65535 & ~1) << 0;
}

/** All that it logs. */
void TestLogHandler::logsAsTheTracingMachineryDoes()
{
    QFETCH(int, level);
    QFETCH(int, mask);
    QFETCH(int, count);
    const LogFolder folder;
    folder.write(QLatin1String("file"), "in the way");
    Trace trace(nullptr);
    trace.applyLogFilters(level, mask);
    TraceLog lines(&trace);
    {
        LogHandler handler(nullptr, false);
        QVERIFY(!handler.open(folder.filePath(QLatin1String("file/")), app));
        QVERIFY(handler.open(folder.filePath(QLatin1String("new/")), app));
        handler.startFlushTimer();
        handler.startFlushTimer();
        handler.start();
        setWaitingTime(0);
    }
    QCOMPARE(int(lines.take().size()), count);
}

void TestLogHandler::logsUnderItsClassName()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    const QString before = LogHandler::CLASSNAME;
    LogHandler::CLASSNAME = QLatin1String("Writer");
    delete new LogHandler(nullptr, false);
    LogHandler::CLASSNAME = before;
    QCOMPARE(lines.take(), QStringList(QLatin1String("Writer|dtor|Stopping flushTimer")));
}

/** The handler may already be connected when it logs. */
void TestLogHandler::logsItsOwnOpening()
{
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, true);
    connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
            Qt::DirectConnection);
    QVERIFY(handler.open(folder.filePath(QLatin1String("new/")), app));
    QCOMPARE(messages->lines().size(), 3);
    // A second time there is a file for these lines.
    QVERIFY(handler.open(folder.filePath(QLatin1String("newer/")), app));
    const QByteArray first = folder.read(QLatin1String("new/app0.log"));
    QCOMPARE(first.count('\n'), 2);
    QVERIFY(first.contains("Creating log directory, "));
}

void TestLogHandler::reportsAFileThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("baseName");
    QTest::addColumn<bool>("injected");
    QTest::newRow("in a missing folder") << QString::fromLatin1("missing/app") << false;
    QTest::newRow("too long") << QString(300, QLatin1Char('n')) << false;
    QTest::newRow("no descriptors left") << app << true;
}

void TestLogHandler::reportsAFileThatCannotBeOpened()
{
    QFETCH(QString, baseName);
    QFETCH(bool, injected);
    const LogFolder folder;
    const QString name = folder.filePath(baseName + QLatin1String("0.log"));
    if (injected)
        calls->fail("open *0.log", EMFILE);
    LogHandler handler(nullptr, false);
    QVERIFY(!handler.open(folder.directory(), baseName));
    QCOMPARE(messages->lines(), QStringList(said("Could not open file for logging: %1", name)));
    QCOMPARE(handler.getCurrentLogFile(), name);
    handler.logMessage(QLatin1String("lost"));
    QVERIFY(!handler.flush());
    handler.close(QLatin1String("lost"));
    QCOMPARE(messages->lines().size(), 1);
    QCOMPARE(folder.entries(), QStringList());
}

void TestLogHandler::printsOnlyWithoutABaseName_data()
{
    QTest::addColumn<bool>("print");
    QTest::addColumn<QStringList>("expected");
    const QString noFile = QLatin1String("debug: LogHandler::open, no log file ");
    QTest::newRow("printing") << true
                              << (QStringList() << noFile << QLatin1String("debug: \"line\" "));
    QTest::newRow("silent") << false
                            << (QStringList()
                                << noFile
                                << QLatin1String(
                                       "debug: LogHandler::open, no debug print at all.. "));
}

void TestLogHandler::printsOnlyWithoutABaseName()
{
    QFETCH(bool, print);
    QFETCH(QStringList, expected);
    const LogFolder folder;
    LogHandler handler(nullptr, print);
    QVERIFY(handler.open(folder.directory(), QLatin1String("")));
    handler.logMessage(QLatin1String("line"));
    handler.close(QLatin1String("end"));
    QVERIFY(!handler.flush());
    QCOMPARE(messages->lines(), expected);
    QCOMPARE(folder.entries(), QStringList());
    QCOMPARE(takePauses(), QList<int>());
}

void TestLogHandler::keepsTheFileOfAnEarlierRun()
{
    const LogFolder folder;
    folder.write(QLatin1String("app0.log"), "earlier");
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(QLatin1String("now"));
    QCOMPARE(folder.entries(),
             QStringList() << QLatin1String("app0.log=now\n") << QLatin1String("app1.log=earlier"));
}

void TestLogHandler::emptiesAFileThatCannotBeMoved()
{
    const LogFolder folder;
    folder.write(QLatin1String("app0.log"), "earlier");
    calls->fail("rename *", EIO);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(QLatin1String("now"));
    QCOMPARE(folder.entries(), QStringList(QLatin1String("app0.log=now\n")));
}

/** Without a "/" at its end it becomes a part of the name. */
void TestLogHandler::putsTheDirectoryInFrontAsItIs()
{
    const LogFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QLatin1String("logs")));
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.filePath(QLatin1String("logs")), app));
    QCOMPARE(handler.getCurrentLogFile(), folder.filePath(QLatin1String("logsapp0.log")));
    QCOMPARE(folder.entries(), QStringList()
                                   << QLatin1String("logs/") << QLatin1String("logsapp0.log="));
}

void TestLogHandler::goesOnElsewhere()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(repeated(limit - 1));
    QVERIFY(handler.open(folder.directory(), QLatin1String("new")));
    handler.logMessage(repeated(limit - 1, 'y'));
    QCOMPARE(folder.entries(),
             QStringList() << QLatin1String("app0.log=") + repeated(limit - 1) + QLatin1Char('\n')
                           << QLatin1String("new0.log=") + repeated(limit - 1, 'y') +
                                  QLatin1Char('\n'));
    QCOMPARE(int(folder.descriptors().size()), 1);
}

void TestLogHandler::writesLinesInLatin1_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("bytes");
    const QChar wide[] = {QChar(0xff),   QChar(0x100),  QChar(0x20ac), QChar(0xd83d),
                          QChar(0xde00), QChar(0xd800), QChar(0x80),   QChar(0xfffd)};
    QString all;
    QByteArray allBytes;
    for (ushort c = 0; c < 256; ++c) {
        all += QChar(c);
        allBytes += char(c);
    }
    QTest::newRow("empty") << QString() << QByteArray();
    QTest::newRow("text") << QString::fromLatin1("a line") << QByteArray("a line");
    QTest::newRow("two lines") << QString::fromLatin1("a\r\nb") << QByteArray("a\r\nb");
    QTest::newRow("all of Latin-1") << all << allBytes;
    QTest::newRow("beyond Latin-1") << QString(wide, 8) << QByteArray("\xff?????\x80?");
    QTest::newRow("beyond Latin-1, long") << QString(100, QChar(0x20ac)) << QByteArray(100, '?');
}

void TestLogHandler::writesLinesInLatin1()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, bytes);
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(line);
    QCOMPARE(folder.read(0), bytes + '\n');
    handler.close(line);
    QCOMPARE(folder.read(0), bytes + '\n' + trailer("").replace(".....", bytes + "....."));
}

void TestLogHandler::copiesLinesToTheConsole()
{
    const LogFolder folder;
    LogHandler handler(nullptr, true);
    handler.logMessage(QLatin1String("before"));
    handler.logMessage(QString());
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(QLatin1String("a \"quoted\"\nline"));
    QCOMPARE(messages->lines(), QStringList() << QLatin1String("debug: \"before\" ")
                                              << QLatin1String("debug: \"\" ")
                                              << said("Logging to file: %1", folder.file(0))
                                              << QLatin1String("debug: \"a \"quoted\"\nline\" "));
    QCOMPARE(folder.read(0), QByteArray("a \"quoted\"\nline\n"));
}

void TestLogHandler::copiesALineBeforeItIsWritten()
{
    const LogFolder folder;
    LogHandler handler(nullptr, true);
    QVERIFY(handler.open(folder.directory(), app));
    messages->forward([&](const QString &copy) { calls->note(copy); });
    handler.logMessage(QLatin1String("line"));
    messages->forward(nullptr);
    QCOMPARE(calls->take(),
             QStringList() << QLatin1String("\"line\" ") << written(folder, QLatin1String("line")));
}

void TestLogHandler::writesOncePerLine()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    QStringList expected;
    for (int length : {0, 1, 150, 16383, 16384, 16385, 40000}) {
        handler.logMessage(repeated(length));
        expected << written(folder, repeated(length));
    }
    QCOMPARE(calls->take(), expected);
}

void TestLogHandler::buffersWhenToldTo()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    flushAfterEachLogMsg = false;
    handler.logMessage(QLatin1String("one"));
    handler.logMessage(QLatin1String("two"));
    QCOMPARE(calls->take(), QStringList());
    QVERIFY(handler.flush());
    QCOMPARE(calls->take(), QStringList(written(folder, QLatin1String("one\ntwo"))));
    handler.logMessage(QLatin1String("three"));
    flushAfterEachLogMsg = true;
    handler.logMessage(QLatin1String("four"));
    QCOMPARE(calls->take(), QStringList(written(folder, QLatin1String("three\nfour"))));
}

void TestLogHandler::continuesACutWrite()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    calls->cutNextWrite(3);
    handler.logMessage(QLatin1String("one line"));
    handler.logMessage(QLatin1String("another"));
    QCOMPARE(folder.read(0), QByteArray("one line\nanother\n"));
}

/** Any text of any length: characters of all kinds, also halves of those beyond 16 bits. */
static QString randomLine(Random &random)
{
    const ushort special[] = {0,      '\n',   0x7f,   0x80,   0xff,   0x100,  0x3f,   0x2603,
                              0xd7ff, 0xd800, 0xdbff, 0xdc00, 0xdfff, 0xe000, 0xfeff, 0xffff};
    const int lengths[] = {0, 1, 2, 1022, 1023, 1024, 1025, 2047, 4096, 16382, 16383, 16384, 16385};
    const int length =
        random.below(300) == 0 ? random.oneOf(lengths) : random.below(random.below(4) ? 64 : 400);
    const bool plain = random.below(2) == 0;
    QString line(length, QLatin1Char('x'));
    for (int i = 0; i < length; ++i) {
        if (plain || random.below(4) > 0)
            line[i] = QChar(ushort(' ' + random.below(95)));
        else
            line[i] = random.below(2) ? QChar(random.oneOf(special))
                                      : QChar(ushort(random.below(0x10000)));
    }
    return line;
}

/** Flushed or not, whole or cut: what is in the file is what Qt makes of the lines. */
void TestLogHandler::writesWhatThePlainFormWrites()
{
    Random random(20240301);
    const int cases = randomCases(30000);
    for (int i = 0; i < cases;) {
        const LogFolder folder;
        LogHandler handler(nullptr, false);
        QVERIFY(handler.open(folder.directory(), app));
        QByteArray expected;
        for (int room = limit; i < cases; ++i) {
            const QString line = randomLine(random);
            room -= int(line.size());
            if (room < 0)
                break;
            if (random.below(10) == 0)
                flushAfterEachLogMsg = !flushAfterEachLogMsg;
            if (random.below(20) == 0)
                calls->cutNextWrite(random.below(100));
            if (random.below(50) == 0)
                handler.flush();
            handler.logMessage(line);
            expected += line.toLatin1() + '\n';
            if (flushAfterEachLogMsg && random.below(100) == 0)
                QCOMPARE(folder.read(0), expected);
        }
        calls->stopFailing();
        handler.flush();
        QVERIFY(folder.read(0) == expected);
    }
}

void TestLogHandler::closesItsFilesOnExec()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    for (int i = 0; i < 2; ++i) {
        const QList<int> descriptors = folder.descriptors();
        QCOMPARE(int(descriptors.size()), 1);
        QVERIFY(fcntl(descriptors.first(), F_GETFD) & FD_CLOEXEC);
        handler.rotate();
        QVERIFY(handler.spawnNewLogFile());
    }
}

void TestLogHandler::fillsAFileToTheLastCharacter_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<bool>("changes");
    QTest::newRow("just fits") << limit - 10 << 10 << false;
    QTest::newRow("one too many") << limit - 10 << 11 << true;
    QTest::newRow("fits alone") << 0 << limit << false;
    QTest::newRow("too long alone") << 0 << limit + 1 << true;
    QTest::newRow("nothing more") << limit << 0 << false;
    QTest::newRow("one more") << limit << 1 << true;
}

void TestLogHandler::fillsAFileToTheLastCharacter()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(bool, changes);
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(repeated(first));
    handler.logMessage(repeated(second, 'y'));
    const QByteArray firstLine = QByteArray(first, 'x') + '\n';
    const QByteArray secondLine = QByteArray(second, 'y') + '\n';
    if (changes) {
        QCOMPARE(folder.read(1), firstLine + overflowTrailer());
        QCOMPARE(folder.read(0), continuation + secondLine);
    } else {
        QCOMPARE(folder.read(0), firstLine + secondLine);
        QCOMPARE(folder.entries().size(), 1);
    }
}

void TestLogHandler::changesFiles()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    messages->clear();
    QList<QByteArray> files;
    for (int i = 0; i < 3; ++i) {
        handler.logMessage(repeated(limit, char('a' + i)));
        files << QByteArray(limit, char('a' + i)) + '\n';
    }
    QCOMPARE(folder.read(2), files.at(0) + overflowTrailer());
    QCOMPARE(folder.read(1), continuation + files.at(1) + overflowTrailer());
    QCOMPARE(folder.read(0), continuation + files.at(2));
    QCOMPARE(folder.entries().size(), 3);
    QCOMPARE(takePauses(), QList<int>() << 500 << 500);
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(int(folder.descriptors().size()), 1);
}

void TestLogHandler::givesALongLineItsOwnFile()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(repeated(3 * limit));
    handler.logMessage(QString());
    QCOMPARE(folder.read(2), overflowTrailer());
    QCOMPARE(folder.read(1), continuation + QByteArray(3 * limit, 'x') + '\n' + overflowTrailer());
    QCOMPARE(folder.read(0), continuation + QByteArray("\n"));
}

void TestLogHandler::countsFromZeroInANewFile()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(repeated(limit));
    handler.logMessage(repeated(1, 'y'));
    handler.logMessage(repeated(limit - 1, 'z'));
    QCOMPARE(folder.read(0), continuation + QByteArray("y\n") + QByteArray(limit - 1, 'z') + '\n');
    handler.logMessage(repeated(1));
    QCOMPARE(folder.read(0), continuation + QByteArray("x\n"));
}

/** Neither newlines nor headers count. */
void TestLogHandler::countsPlainLinesOnly()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    flushAfterEachLogMsg = false;
    for (int i = 0; i < limit; ++i)
        handler.logMessage(repeated(1));
    handler.flush();
    QCOMPARE(int(folder.read(0).size()), 2 * limit);
    handler.logMessage(repeated(1));
    QCOMPARE(int(folder.entries().size()), 2);
}

void TestLogHandler::keepsTenFiles()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    for (int i = 0; i < 12; ++i)
        handler.logMessage(repeated(limit, char('a' + i)));
    QCOMPARE(int(folder.entries().size()), 10);
    QByteArray expected;
    for (int i = 2; i < 12; ++i) {
        expected += continuation + QByteArray(limit, char('a' + i)) + '\n';
        if (i < 11)
            expected += overflowTrailer();
    }
    QCOMPARE(folder.readAll(), expected);
}

void TestLogHandler::endsAFileWithATrailer()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    flushAfterEachLogMsg = false;
    handler.logMessage(QLatin1String("line"));
    handler.close(QLatin1String("The end"));
    QCOMPARE(folder.read(0), QByteArray("line\n"
                                        "=============================================\n"
                                        "The end.....\n"
                                        "=============================================\n"));
    QCOMPARE(takePauses(), QList<int>() << 500);
    QCOMPARE(calls->take().first(), written(folder, QLatin1String("line")));
    QCOMPARE(folder.descriptors(), QList<int>());
}

/** What is buffered does not wait. */
void TestLogHandler::pausesBeforeTheTrailer()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    flushAfterEachLogMsg = false;
    handler.logMessage(QLatin1String("line"));
    QList<QList<int>> pauses;
    calls->before = [&](const QString &) { pauses << takePauses(); };
    handler.close(QLatin1String("end"));
    QCOMPARE(folder.read(0), "line\n" + trailer("end"));
    QCOMPARE(pauses, QList<QList<int>>() << QList<int>() << (QList<int>() << 500));
}

void TestLogHandler::losesLinesAfterClose()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.close(QLatin1String("end"));
    messages->clear();
    handler.logMessage(repeated(limit));
    handler.close(QLatin1String("twice"));
    QVERIFY(handler.flush());
    QCOMPARE(folder.read(0), trailer("end"));
    QCOMPARE(messages->lines(), QStringList());
    // The next change of files starts one again.
    handler.logMessage(QLatin1String("line"));
    QCOMPARE(folder.read(1), trailer("end"));
    QCOMPARE(folder.read(0), continuation + QByteArray("line\n"));
}

void TestLogHandler::tellsWhetherFlushingWorked()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(!handler.flush());
    QVERIFY(handler.open(folder.directory(), app));
    QVERIFY(handler.flush());
    flushAfterEachLogMsg = false;
    handler.logMessage(QLatin1String("line"));
    calls->fail("write *.log", ENOSPC);
    QVERIFY(!handler.flush());
    calls->stopFailing();
    QVERIFY(handler.flush());
    QCOMPARE(folder.read(0), QByteArray("line\n"));
    handler.close(QString());
    QVERIFY(handler.flush());
}

void TestLogHandler::flushesEachSecond()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.startFlushTimer();
    QList<QTimer *> timers = handler.findChildren<QTimer *>();
    QCOMPARE(int(timers.size()), 1);
    QCOMPARE(timers.first()->interval(), 1000);
    const QVariant type = timers.first()->property("timerType"); // all are precise on Qt 4
    QVERIFY(!type.isValid() || type.toInt() == 0);
    QVERIFY(timers.first()->isActive() && !timers.first()->isSingleShot());

    flushAfterEachLogMsg = false;
    QByteArray said;
    for (const char *line : {"one", "two"}) {
        StandardOutput output;
        handler.logMessage(QLatin1String(line));
        QVERIFY(waitFor([&] { return folder.read(0).endsWith(line + QByteArray("\n")); }));
        said += output.take();
    }
    QVERIFY(said.startsWith("onTimeout\nonTimeout\n"));
    QCOMPARE(said.replace("onTimeout\n", ""), QByteArray());
}

void TestLogHandler::saysSoBeforeItFlushes()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    flushAfterEachLogMsg = false;
    handler.logMessage(QLatin1String("line"));
    QByteArray said;
    {
        StandardOutput output;
        calls->before = [&](const QString &) { said = output.take(); };
        handler.onFlushTimeout();
        calls->before = nullptr;
    }
    QCOMPARE(said, QByteArray("onTimeout\n"));
    QCOMPARE(folder.read(0), QByteArray("line\n"));
}

void TestLogHandler::startsTheTimerOnce()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    LogHandler handler(nullptr, false);
    handler.startFlushTimer();
    QCOMPARE(lines.take(), QStringList());
    handler.startFlushTimer();
    QCOMPARE(lines.take(),
             QStringList(
                 traced("startFlushTimer", QLatin1String("ERROR: flushTimer is already running"))));
    QCOMPARE(int(handler.findChildren<QTimer *>().size()), 1);
    QByteArray said;
    {
        StandardOutput output;
        handler.onFlushTimeout();
        said = output.take();
    }
    QCOMPARE(said, QByteArray("onTimeout\n"));
}

void TestLogHandler::scramblesCharacters()
{
    QByteArray expected;
    for (int c = 0; c < 256; ++c)
        expected += char(c);
    const QByteArray from("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789=/\\.");
    const QByteArray to("bcdefghijklmnopqrstuvwxyzaBCDEFGHIJKLMNOPQRSTUVWXYZA1234567890?#&@");
    for (int i = 0; i < from.size(); ++i)
        expected[int(uchar(from.at(i)))] = to.at(i);

    LogHandler handler(nullptr, false);
    QByteArray result;
    for (int i = 0; i < 256; ++i) {
        char c = char(i);
        handler.obfusc(c);
        result += c;
    }
    QCOMPARE(result.toHex(), expected.toHex());
}

QTEST_MAIN(TestLogHandler)
#include "tst_loghandler.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "pidfilehandler.h"

#include "childprocess.h"
#include "kivlogs.h"
#include "libccalls.h"
#include "skip.h"
#include "temporaryfolder.h"
#include "texts.h"
#include "trace.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <memory>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

static const char recordedCalls[] =
    "open fopen fdopen flock fprintf fflush fclose close kill unlink";

// What reading and writing do, as it is recorded.
static const char openedToRead[] = "fopen pid re";
static const char opened[] = "open pid O_RDWR|O_CREAT|O_CLOEXEC";
static const char madeAStream[] = "fdopen pid r+";
static const char locked[] = "flock pid LOCK_EX|LOCK_NB";
static const char printed[] = "fprintf pid";
static const char flushed[] = "fflush pid";
static const char unlocked[] = "flock pid LOCK_UN";
static const char closed[] = "fclose pid";

static QStringList texts(std::initializer_list<const char *> entries)
{
    QStringList result;
    for (const char *const entry : entries)
        result << text(entry);
    return result;
}

/** "N\n" for this process. */
static QByteArray ownLine()
{
    return QByteArray::number(qint64(getpid())) + '\n';
}

static void createFile(const QByteArray &path, const QByteArray &content)
{
    QFile file(QFile::decodeName(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", path.constData());
}

static QByteArray contentOf(const QByteArray &path)
{
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

static bool exists(const QByteArray &path)
{
    struct stat status;
    return lstat(path.constData(), &status) == 0;
}

/** The open descriptors of this process. */
static std::vector<int> openDescriptors()
{
    std::vector<int> result;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1)
            result.push_back(descriptor);
    }
    return result;
}

/** Whether some other opener of a file could lock it now. */
static bool isLockable(const QByteArray &path)
{
    const int descriptor = ::open(path.constData(), O_RDWR | O_CLOEXEC);
    const bool locked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    ::close(descriptor);
    return locked;
}

class TestPidFileHandler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void touchesNothingWhenConstructed();
    void doesNotCopyThePath();
    void readsTheNumberInTheFile_data();
    void readsTheNumberInTheFile();
    void readsZeroWithoutFile();
    void readsZeroFromAFolder();
    void checksThatTheOwnProcessIsNoOther();
    void findsALiveProcess();
    void findsNoEndedProcess();
    void trustsTheAnswerOfTheSystem_data();
    void trustsTheAnswerOfTheSystem();
    void asksForWhateverNumberThereIs();
    void writesTheOwnId();
    void writesAgainAndAgain();
    void keepsTheTailOfALongerFile();
    void keepsTheModeOfAnExistingFile();
    void createsTheFileWithTheUsualMode_data();
    void createsTheFileWithTheUsualMode();
    void locksOnlyWhileWriting();
    void closesItsDescriptorsOnExec();
    void reportsAMissingFolder();
    void reportsAFolderInPlaceOfTheFile();
    void leavesTheDescriptorIfThereIsNoStream();
    void leavesAFileThatAnotherHasLocked();
    void reportsThatNothingWasPrinted();
    void doesNotNoticeThatPrintingFailed();
    void reportsThatUnlockingFailed();
    void logsInItsGroupAtItsLevel_data();
    void logsInItsGroupAtItsLevel();
    void logsBeforeOrAfterClosing_data();
    void logsBeforeOrAfterClosing();
    void fillsPlaceholdersInThePath();
    void showsThePathInLatin1();
    void failsSilentlyWithoutTrace();
    void writesThroughALinkToNothing();
    void reportsALinkIntoAMissingFolder();
    void doesNotNoticeAFullDisk();
    void dropsTextThatCouldNotBeWritten();
    void losesAgainstAnotherThatIsWriting();
    void writesOverAnotherThatCheckedAtTheSameTime();
    void letsOneOfManyWin();
    void takesOverWhenTheHolderDies();
    void removesTheFile();
    void removesTheFileWhenDestroyed_data();
    void removesTheFileWhenDestroyed();
    void keepsTheFileIfNotDestroyed();

private:
    QByteArray pathOf(const char *name) const
    {
        return QFile::encodeName(folder->path()) + '/' + name;
    }
    /** Takes the journal, with names of files as in the folder. */
    QStringList taken(LibcCalls &calls) const
    {
        return calls.take().replaceInStrings(folder->path() + QLatin1Char('/'), QString());
    }

    QScopedPointer<TemporaryFolder> folder;
    QScopedPointer<Trace> trace;
    QScopedPointer<TraceLog> log;
    QByteArray path;
    std::vector<int> descriptors;
};

void TestPidFileHandler::init()
{
    folder.reset(new TemporaryFolder);
    trace.reset(new Trace(nullptr));
    log.reset(new TraceLog(trace.data()));
    path = pathOf("pid");
    descriptors = openDescriptors();
}

void TestPidFileHandler::cleanup()
{
    const std::vector<int> left = openDescriptors();
    log.reset();
    trace.reset();
    folder.reset();
    QVERIFY(left == descriptors);
}

void TestPidFileHandler::touchesNothingWhenConstructed()
{
    LibcCalls calls(recordedCalls);
    PidFileHandler handler(path.constData());
    QCOMPARE(calls.take(), QStringList());
    QVERIFY(!exists(path));
}

void TestPidFileHandler::doesNotCopyThePath()
{
    createFile(path, "1\n");
    createFile(pathOf("dip"), "2\n");
    std::vector<char> buffer(path.constData(), path.constData() + path.size() + 1);
    PidFileHandler handler(buffer.data());
    QCOMPARE(handler.readPid(), 1);
    std::memcpy(&buffer.back() - 3, "dip", 3);
    QCOMPARE(handler.readPid(), 2);
}

void TestPidFileHandler::readsTheNumberInTheFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("pid");

    QTest::newRow("whole") << QByteArray("12345\n") << 12345;
    QTest::newRow("without newline") << QByteArray("12345") << 12345;
    QTest::newRow("with a tail") << QByteArray("99\n45\n") << 99;
    QTest::newRow("white space in front") << QByteArray(" \n\t 7") << 7;
    QTest::newRow("text behind") << QByteArray("7pid") << 7;
    QTest::newRow("sign") << QByteArray("-7\n") << -7;
    QTest::newRow("leading zeros") << QByteArray("007\n") << 7;
    QTest::newRow("largest") << QByteArray("2147483647\n") << 2147483647;
    QTest::newRow("empty") << QByteArray() << 0;
    QTest::newRow("blank") << QByteArray(" \n") << 0;
    QTest::newRow("no number") << QByteArray("pid 7\n") << 0;
    QTest::newRow("only a sign") << QByteArray("-\n") << 0;
    QTest::newRow("NUL") << QByteArray("\0007\n", 3) << 0;
}

void TestPidFileHandler::readsTheNumberInTheFile()
{
    QFETCH(QByteArray, content);
    QFETCH(int, pid);
    createFile(path, content);
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    QCOMPARE(handler.readPid(), pid);
    QCOMPARE(taken(calls), texts({openedToRead, closed}));
    QCOMPARE(contentOf(path), content);
}

void TestPidFileHandler::readsZeroWithoutFile()
{
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.readPid(), 0);
    QCOMPARE(handler.checkPid(), 0);
    QVERIFY(!exists(path));
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::readsZeroFromAFolder()
{
    const QByteArray name = QFile::encodeName(folder->path());
    PidFileHandler handler(name.constData());
    QCOMPARE(handler.readPid(), 0);
    QCOMPARE(handler.checkPid(), 0);
}

void TestPidFileHandler::checksThatTheOwnProcessIsNoOther()
{
    createFile(path, ownLine());
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    QCOMPARE(handler.checkPid(), 0);
    QCOMPARE(taken(calls), texts({openedToRead, closed}));
}

void TestPidFileHandler::findsALiveProcess()
{
    // It has never seen the file: an id that was given to another process counts all the same.
    ChildProcess child([](ChildProcess &parent) {
        parent.await();
        return 0;
    });
    createFile(path, QByteArray::number(qint64(child.pid())) + '\n');
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.checkPid(), int(child.pid()));
    child.signal();
    QCOMPARE(child.wait(), 0);
    QCOMPARE(handler.checkPid(), 0);
}

void TestPidFileHandler::findsNoEndedProcess()
{
    int pid;
    {
        ChildProcess child([](ChildProcess &) { return 0; });
        pid = int(child.pid());
        child.wait();
    }
    createFile(path, QByteArray::number(pid) + '\n');
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.checkPid(), 0);
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::trustsTheAnswerOfTheSystem_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("pid");

    QTest::newRow("there") << 0 << 0 << 1;
    QTest::newRow("there, errno left over") << 0 << ESRCH << 1;
    QTest::newRow("of another user") << -1 << EPERM << 1;
    QTest::newRow("any other error") << -1 << EINVAL << 1;
    QTest::newRow("gone") << -1 << ESRCH << 0;
}

void TestPidFileHandler::trustsTheAnswerOfTheSystem()
{
    QFETCH(int, result);
    QFETCH(int, error);
    createFile(path, "1\n");
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    calls.fail("kill 1 0", error, result);
    const int pid = handler.checkPid();
    QTEST(pid, "pid");
    QCOMPARE(taken(calls), texts({openedToRead, closed, "kill 1 0"}));
}

/** A negative number stands for a group of processes. */
void TestPidFileHandler::asksForWhateverNumberThereIs()
{
    createFile(path, "-7\n");
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    calls.fail("kill *", 0, 0);
    QCOMPARE(handler.checkPid(), -7);
    QCOMPARE(taken(calls), texts({openedToRead, closed, "kill -7 0"}));
}

void TestPidFileHandler::writesTheOwnId()
{
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(taken(calls),
             texts({opened, madeAStream, locked, printed, flushed, unlocked, closed}));
    QCOMPARE(contentOf(path), ownLine());
    QCOMPARE(handler.readPid(), int(getpid()));
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::writesAgainAndAgain()
{
    PidFileHandler handler(path.constData());
    for (int i = 0; i < 1000; ++i)
        QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(contentOf(path), ownLine());
    QVERIFY(isLockable(path));
}

void TestPidFileHandler::keepsTheTailOfALongerFile()
{
    const QByteArray old = "123456789012345\n";
    createFile(path, old);
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(contentOf(path), ownLine() + old.mid(ownLine().size()));
    QCOMPARE(handler.readPid(), int(getpid()));
}

void TestPidFileHandler::keepsTheModeOfAnExistingFile()
{
    createFile(path, "");
    QCOMPARE(chmod(path.constData(), 0606), 0);
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.writePid(), int(getpid()));
    struct stat status;
    QCOMPARE(stat(path.constData(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0606);
}

void TestPidFileHandler::createsTheFileWithTheUsualMode_data()
{
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("mode");

    QTest::newRow("no mask") << 0 << 0644;
    QTest::newRow("usual") << 022 << 0644;
    QTest::newRow("private") << 077 << 0600;
    QTest::newRow("readable only") << 0222 << 0444;
    QTest::newRow("nothing at all") << 0777 << 0;
}

void TestPidFileHandler::createsTheFileWithTheUsualMode()
{
    QFETCH(int, mask);
    QFETCH(int, mode);
    PidFileHandler handler(path.constData());
    const mode_t before = umask(mode_t(mask));
    const int pid = handler.writePid();
    umask(before);
    QCOMPARE(pid, int(getpid()));
    struct stat status;
    QCOMPARE(stat(path.constData(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), mode);
}

void TestPidFileHandler::locksOnlyWhileWriting()
{
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    QStringList states;
    calls.before = [&](const QString &call) {
        if (!call.startsWith(text("open ")) && !call.startsWith(text("fdopen ")) &&
            !call.startsWith(text("fflush ")))
            states << (isLockable(path) ? text("free") : text("locked")) +
                          text(contentOf(path).isEmpty() ? ", empty" : ", written");
    };
    QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(states, QStringList() << text("free, empty") << text("locked, empty")
                                   << text("locked, written") << text("free, written"));
}

void TestPidFileHandler::closesItsDescriptorsOnExec()
{
    createFile(path, "1\n");
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    int seen = 0;
    calls.before = [&](const QString &call) {
        if (!call.startsWith(text("fprintf ")) && !call.startsWith(text("fclose ")))
            return;
        for (int descriptor : openDescriptors()) {
            if (std::find(descriptors.begin(), descriptors.end(), descriptor) != descriptors.end())
                continue;
            ++seen;
            QCOMPARE(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        }
    };
    QCOMPARE(handler.readPid(), 1);
    QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(seen, 3);
}

void TestPidFileHandler::reportsAMissingFolder()
{
    const QByteArray name = pathOf("missing/pid");
    PidFileHandler handler(name.constData());
    LibcCalls calls(recordedCalls);
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(taken(calls), texts({"open missing/pid O_RDWR|O_CREAT|O_CLOEXEC failed"}));
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not open or create [") +
                                      text(name.constData()) + text("]")));
}

void TestPidFileHandler::reportsAFolderInPlaceOfTheFile()
{
    const QByteArray name = QFile::encodeName(folder->path());
    PidFileHandler handler(name.constData());
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not open or create [") +
                                      text(name.constData()) + text("]")));
}

void TestPidFileHandler::leavesTheDescriptorIfThereIsNoStream()
{
    createFile(path, "1\n");
    {
        PidFileHandler handler(path.constData());
        LibcCalls calls(recordedCalls);
        calls.fail("fdopen *", ENOMEM);
        QCOMPARE(handler.writePid(), 0);
        QCOMPARE(taken(calls), texts({opened, madeAStream}));
        QCOMPARE(contentOf(path), QByteArray("1\n"));
    }
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not open or create [") +
                                      text(path.constData()) + text("]")));
    // The descriptor is left, as documented.
    std::vector<int> left = openDescriptors();
    for (int descriptor : descriptors)
        left.erase(std::remove(left.begin(), left.end(), descriptor), left.end());
    QCOMPARE(int(left.size()), 1);
    QCOMPARE(fcntl(left.front(), F_GETFD), FD_CLOEXEC);
    ::close(left.front());
}

void TestPidFileHandler::leavesAFileThatAnotherHasLocked()
{
    createFile(path, "1\nold");
    const int holder = ::open(path.constData(), O_RDWR | O_CLOEXEC);
    QCOMPARE(flock(holder, LOCK_EX), 0);
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(taken(calls), texts({opened, madeAStream, locked, closed}));
    QCOMPARE(contentOf(path), QByteArray("1\nold"));
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not write pid "
                                           "[Resource temporarily unavailable]")));
    ::close(holder);
    QCOMPARE(handler.writePid(), int(getpid()));
}

void TestPidFileHandler::reportsThatNothingWasPrinted()
{
    createFile(path, "1\n");
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    calls.fail("fprintf *", EIO, 0);
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(taken(calls), texts({opened, madeAStream, locked, printed, closed}));
    QCOMPARE(contentOf(path), QByteArray("1\n"));
    QVERIFY(isLockable(path));
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not write pid "
                                           "[Input/output error]")));
}

void TestPidFileHandler::doesNotNoticeThatPrintingFailed()
{
    createFile(path, "1\n");
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    calls.fail("fprintf *", EIO, -1);
    QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(contentOf(path), QByteArray("1\n"));
    QVERIFY(isLockable(path));
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::reportsThatUnlockingFailed()
{
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    calls.fail("flock * LOCK_UN", ENOLCK);
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(taken(calls),
             texts({opened, madeAStream, locked, printed, flushed, unlocked, closed}));
    QCOMPARE(contentOf(path), ownLine());
    QVERIFY(isLockable(path));
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not unlock pidfile [") +
                                      text(path.constData()) + text("], [No locks available]")));
}

void TestPidFileHandler::logsInItsGroupAtItsLevel_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("count");

    QTest::newRow("its level, its group") << 2 << 8 << 4;
    QTest::newRow("a level above") << 3 << 65535 << 0;
    QTest::newRow("all other groups") << 1 << (65535 & ~8) << 0;
}

/** Each of its failures. */
void TestPidFileHandler::logsInItsGroupAtItsLevel()
{
    QFETCH(int, level);
    QFETCH(int, mask);
    QFETCH(int, count);
    trace->applyLogFilters(level, mask);
    log->take();
    PidFileHandler handler(path.constData());
    LibcCalls calls(recordedCalls);
    const struct {
        const char *call;
        int result;
    } failures[] = {
        {"open */pid", -1}, {"flock * LOCK_EX*", -1}, {"fprintf *", 0}, {"flock * LOCK_UN", -1}};
    for (const auto &failure : failures) {
        calls.fail(failure.call, EIO, failure.result, 1);
        QCOMPARE(handler.writePid(), 0);
    }
    QCOMPARE(int(log->take().size()), count);
    QCOMPARE(handler.writePid(), int(getpid()));
}

void TestPidFileHandler::logsBeforeOrAfterClosing_data()
{
    QTest::addColumn<QByteArray>("call");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("linesBefore");

    QTest::newRow("not locked") << QByteArray("flock * LOCK_EX*") << -1 << 0;
    QTest::newRow("not printed") << QByteArray("fprintf *") << 0 << 1;
    QTest::newRow("not unlocked") << QByteArray("flock * LOCK_UN") << -1 << 1;
}

void TestPidFileHandler::logsBeforeOrAfterClosing()
{
    QFETCH(QByteArray, call);
    QFETCH(int, result);
    QFETCH(int, linesBefore);
    PidFileHandler handler(path.constData());
    LibcCalls calls("fclose");
    int seen = -1;
    calls.before = [&](const QString &) { seen = int(log->lines.size()); };
    calls.fail(call.constData(), EIO, result);
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(taken(calls), QStringList(text(closed)));
    QCOMPARE(seen, linesBefore);
    QCOMPARE(int(log->lines.size()), 1);
}

void TestPidFileHandler::fillsPlaceholdersInThePath()
{
    // What is filled in takes part in the next replacement.
    const QByteArray name = pathOf("%2");
    PidFileHandler handler(name.constData());
    LibcCalls calls(recordedCalls);
    calls.fail("flock * LOCK_UN", ENOLCK);
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(log->take(),
             QStringList(text("PidFileHandler|writePid|Can not unlock pidfile [") + folder->path() +
                         text("/No locks available], [No locks available]")));
}

void TestPidFileHandler::showsThePathInLatin1()
{
    const QByteArray name = pathOf("f\xc3\xb8/pid");
    PidFileHandler handler(name.constData());
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not open or create [") +
                                      QString::fromLatin1(name) + text("]")));
}

void TestPidFileHandler::failsSilentlyWithoutTrace()
{
    log.reset();
    trace.reset();
    const QByteArray name = pathOf("missing/pid");
    PidFileHandler handler(name.constData());
    QCOMPARE(handler.writePid(), 0);
}

void TestPidFileHandler::writesThroughALinkToNothing()
{
    const QByteArray target = pathOf("target");
    QCOMPARE(symlink(target.constData(), path.constData()), 0);
    {
        PidFileHandler handler(path.constData());
        QCOMPARE(handler.readPid(), 0);
        QCOMPARE(handler.checkPid(), 0);
        QCOMPARE(handler.writePid(), int(getpid()));
        QCOMPARE(handler.readPid(), int(getpid()));
    }
    // The link is removed; what it points to stays.
    QVERIFY(!QFileInfo(QFile::decodeName(path)).isSymLink());
    QFile file(QFile::decodeName(target));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray::number(getpid()) + '\n');
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::reportsALinkIntoAMissingFolder()
{
    QCOMPARE(symlink(pathOf("missing/target").constData(), path.constData()), 0);
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(log->take(),
             QStringList(QString::fromLatin1("PidFileHandler|writePid|Can not open or create [%1]")
                             .arg(QFile::decodeName(path))));
    QVERIFY(QFileInfo(QFile::decodeName(path)).isSymLink());
}

void TestPidFileHandler::doesNotNoticeAFullDisk()
{
    if (::access("/dev/full", W_OK) != 0)
        SKIP_TEST("there is no /dev/full here: mknod -m 666 /dev/full c 1 7");
    QCOMPARE(symlink("/dev/full", path.constData()), 0);
    {
        PidFileHandler handler(path.constData());
        LibcCalls calls(recordedCalls);
        QCOMPARE(handler.writePid(), int(getpid()));
        QCOMPARE(taken(calls),
                 texts({opened, madeAStream, locked, printed, flushed, unlocked, closed}));
        QCOMPARE(handler.readPid(), 0); // so it shows to whoever asks
        QCOMPARE(log->take(), QStringList());
    }
    QVERIFY(!exists(path));
    QVERIFY(exists("/dev/full"));
}

void TestPidFileHandler::dropsTextThatCouldNotBeWritten()
{
    // There is room again at the moment when the lock is given back: too late.
    PidFileHandler handler(path.constData());
    ChildProcess child([&](ChildProcess &) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit;
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit full = {0, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        LibcCalls calls(recordedCalls);
        calls.before = [&](const QString &call) {
            if (call.endsWith(text(" LOCK_UN")))
                setrlimit(RLIMIT_FSIZE, &limit);
        };
        return handler.writePid() == getpid() ? 0 : 1;
    });
    QCOMPARE(child.wait(), 0);
    QCOMPARE(contentOf(path), QByteArray());
}

/** Lets a process write its id, but stop just before that, with the file locked. */
static int writeSlowly(PidFileHandler &handler, ChildProcess &parent)
{
    LibcCalls calls(recordedCalls);
    calls.before = [&](const QString &call) {
        if (call.startsWith(text("fprintf "))) {
            parent.signal();
            parent.await();
        }
    };
    return handler.writePid();
}

void TestPidFileHandler::losesAgainstAnotherThatIsWriting()
{
    PidFileHandler handler(path.constData());
    ChildProcess child(
        [&](ChildProcess &parent) { return writeSlowly(handler, parent) == getpid() ? 0 : 1; });
    child.await();
    QCOMPARE(handler.checkPid(), 0); // the other one cannot be seen yet
    QCOMPARE(handler.writePid(), 0);
    QCOMPARE(log->take(), QStringList(text("PidFileHandler|writePid|Can not write pid "
                                           "[Resource temporarily unavailable]")));
    const int other = int(child.pid());
    child.signal();
    QCOMPARE(child.wait(), 0);
    QCOMPARE(contentOf(path), QByteArray::number(other) + '\n');
}

void TestPidFileHandler::writesOverAnotherThatCheckedAtTheSameTime()
{
    // Both check before one has written: both then write, and the last one stands in the file.
    PidFileHandler handler(path.constData());
    ChildProcess child([&](ChildProcess &parent) {
        const int other = handler.checkPid();
        parent.signal();
        parent.await();
        return other == 0 && handler.writePid() == getpid() ? 0 : 1;
    });
    child.await();
    QCOMPARE(handler.checkPid(), 0);
    QCOMPARE(handler.writePid(), int(getpid()));
    const int other = int(child.pid());
    child.signal();
    QCOMPARE(child.wait(), 0);
    QCOMPARE(handler.readPid(), other);
}

void TestPidFileHandler::letsOneOfManyWin()
{
    const int processes = 8;
    for (int round = 0; round < 20; ++round) {
        PidFileHandler handler(path.constData());
        std::vector<std::unique_ptr<ChildProcess>> children;
        std::vector<int> winners;
        for (int i = 0; i < processes; ++i) {
            children.emplace_back(new ChildProcess([&](ChildProcess &parent) {
                parent.await();
                const int pid = handler.writePid();
                return pid == getpid() ? 0 : pid == 0 ? 1 : 2;
            }));
        }
        for (const auto &child : children)
            child->signal();
        for (const auto &child : children) {
            const int pid = int(child->pid());
            const int outcome = child->wait();
            QVERIFY(outcome == 0 || outcome == 1);
            if (outcome == 0)
                winners.push_back(pid);
        }
        QVERIFY(std::find(winners.begin(), winners.end(), handler.readPid()) != winners.end());
    }
}

void TestPidFileHandler::takesOverWhenTheHolderDies()
{
    PidFileHandler handler(path.constData());
    ChildProcess child(
        [&](ChildProcess &parent) { return writeSlowly(handler, parent) == getpid() ? 0 : 1; });
    child.await();
    QCOMPARE(handler.writePid(), 0);
    child.kill();
    QCOMPARE(child.wait(), -SIGKILL);
    QCOMPARE(contentOf(path), QByteArray());
    QCOMPARE(handler.checkPid(), 0);
    QCOMPARE(handler.writePid(), int(getpid()));
    QCOMPARE(contentOf(path), ownLine());
}

void TestPidFileHandler::removesTheFile()
{
    createFile(path, "1\n");
    PidFileHandler handler(path.constData());
    QCOMPARE(handler.removePid(), 0);
    QVERIFY(!exists(path));
    errno = 0;
    QCOMPARE(handler.removePid(), -1);
    QCOMPARE(errno, ENOENT);
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::removesTheFileWhenDestroyed_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("written");

    QTest::newRow("written") << QByteArray() << true;
    QTest::newRow("never written") << QByteArray("7\n") << false;
    QTest::newRow("of another process") << QByteArray("1\n") << false;
    QTest::newRow("not there") << QByteArray() << false;
}

void TestPidFileHandler::removesTheFileWhenDestroyed()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, written);
    if (!content.isEmpty())
        createFile(path, content);
    LibcCalls calls(recordedCalls);
    {
        PidFileHandler handler(path.constData());
        if (written)
            QCOMPARE(handler.writePid(), int(getpid()));
        calls.take();
    }
    QCOMPARE(taken(calls), texts({"unlink pid"}));
    QVERIFY(!exists(path));
    QCOMPARE(log->take(), QStringList());
}

void TestPidFileHandler::keepsTheFileIfNotDestroyed()
{
    ChildProcess child([this](ChildProcess &) -> int {
        PidFileHandler handler(path.constData());
        _exit(handler.writePid() == getpid() ? 0 : 1);
    });
    const int pid = int(child.pid());
    QCOMPARE(child.wait(), 0);
    QCOMPARE(contentOf(path), QByteArray::number(pid) + '\n');
}

QTEST_APPLESS_MAIN(TestPidFileHandler)

#include "tst_pidfilehandler.moc"

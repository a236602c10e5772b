// SPDX-License-Identifier: LGPL-2.1-or-later

// How the numbered files move up, which ones go, and what is left behind when something fails.

#include "libccalls.h"
#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "trace.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

static const QString app = QLatin1String("app");

static QString fileName(int number)
{
    return QString::fromLatin1("app%1.log").arg(number);
}

class TestLogRotation : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void movesEachFileUp();
    void keepsGaps();
    void removesStrayFiles_data();
    void removesStrayFiles();
    void looksAtRegularFilesOnly();
    void staysOutOfFoldersBelow();
    void listsAgainEachTime();
    void removesInTheOrderOfNames();
    void reportsAFileThatStays();
    void reportsAbsolutePaths();
    void reportsEachFailingRename_data();
    void reportsEachFailingRename();
    void survivesADirectoryInTheWay_data();
    void survivesADirectoryInTheWay();
    void neverCopies();
    void buildsNamesByPlaceholders();
    void takesWildcardsInBaseNames();
    void rotatesHiddenFiles();
    void startsAContinuation();
    void flushesAContinuation();
    void overwritesWhatIsThere();
    void reportsAFileThatCannotBeOpened();
    void doesNothingBeforeOpen();
    void leaksNoDescriptors();
};

/** A handler that is open in a folder, and that folder emptied. */
struct Rotation {
    Rotation(const QString &baseName = app)
        : handler(nullptr, false)
    {
        if (!handler.open(folder.directory(), baseName))
            qFatal("cannot open");
        QFile::remove(folder.filePath(baseName + QLatin1String("0.log")));
        messages.clear();
    }

    void fill(int first, int last)
    {
        for (int number = first; number <= last; ++number)
            folder.write(fileName(number), QByteArray::number(number));
    }

    /** The files, and in between what was said. */
    QStringList rotate()
    {
        messages.clear();
        handler.rotate();
        said = messages.lines();
        return folder.entries();
    }

    QString removeFailed(int number) const
    {
        return QString::fromLatin1("debug: \"logrotate failed remove: %1\n\" ")
            .arg(folder.file(number));
    }

    QString renameFailed(int number) const
    {
        return QString::fromLatin1("debug: \"Failed renaming %1 to %2\" ")
            .arg(folder.file(number), folder.file(number + 1));
    }

    LibcCalls calls;
    MessageLog messages;
    LogFolder folder;
    LogHandler handler;
    QStringList said;
};

static QStringList list(const char *names)
{
    return QString::fromLatin1(names).split(QLatin1Char(' '));
}

void TestLogRotation::movesEachFileUp()
{
    Rotation rotation;
    rotation.fill(0, 9);
    QCOMPARE(rotation.rotate(), list("app1.log=0 app2.log=1 app3.log=2 app4.log=3 app5.log=4 "
                                     "app6.log=5 app7.log=6 app8.log=7 app9.log=8"));
    QCOMPARE(rotation.said, QStringList());
}

void TestLogRotation::keepsGaps()
{
    Rotation rotation;
    rotation.fill(0, 0);
    rotation.fill(3, 3);
    QCOMPARE(rotation.rotate(), list("app1.log=0 app4.log=3"));
    QCOMPARE(rotation.rotate(), list("app2.log=0 app5.log=3"));
}

void TestLogRotation::removesStrayFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("removed");
    const char *const goes[] = {"app9.log",     "app10.log",    "app00.log", "app-old.log",
                                "app2x.log",    "app.log",      "app .log",  "APPx.log",
                                "appendix.LOG", "app0.log.log", "App1.log"};
    const char *const stays[] = {"other0.log", "ap0.log",   "app0.log.gz", "app0.txt",
                                 "app0log",    ".app0.log", "my-app0.log", "app0.log~"};
    for (const char *name : goes)
        QTest::newRow(name) << QString::fromLatin1(name) << true;
    for (const char *name : stays)
        QTest::newRow(name) << QString::fromLatin1(name) << false;
}

void TestLogRotation::removesStrayFiles()
{
    QFETCH(QString, name);
    QFETCH(bool, removed);
    Rotation rotation;
    rotation.folder.write(name, "x");
    const QStringList left = removed ? QStringList() : QStringList(name + QLatin1String("=x"));
    QCOMPARE(rotation.rotate(), left);
    QCOMPARE(rotation.said, QStringList());
}

void TestLogRotation::looksAtRegularFilesOnly()
{
    Rotation rotation;
    const TemporaryFolder elsewhere;
    const QByteArray target = QFile::encodeName(elsewhere.filePath(QLatin1String("target")));
    QFile file(QFile::decodeName(target));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const auto path = [&](const char *name) {
        return QFile::encodeName(rotation.folder.filePath(QLatin1String(name)));
    };
    QVERIFY(QDir(rotation.folder.path()).mkdir(QLatin1String("app-folder.log")));
    QCOMPARE(mkfifo(path("app-pipe.log").constData(), 0600), 0);
    QCOMPARE(symlink("/nonexistent", path("app-broken.log").constData()), 0);
    // A link to a file counts as a file; it goes, and what it points to stays.
    QCOMPARE(symlink(target.constData(), path("app-link.log").constData()), 0);

    QCOMPARE(rotation.rotate(), list("app-broken.log app-folder.log/ app-pipe.log"));
    QVERIFY(file.exists());
    QCOMPARE(rotation.said, QStringList());
}

void TestLogRotation::staysOutOfFoldersBelow()
{
    Rotation rotation;
    QVERIFY(QDir(rotation.folder.path()).mkdir(QLatin1String("below")));
    rotation.folder.write(QLatin1String("below/app10.log"), "x");
    rotation.rotate();
    QCOMPARE(rotation.folder.read(QLatin1String("below/app10.log")), QByteArray("x"));
}

void TestLogRotation::listsAgainEachTime()
{
    Rotation rotation;
    rotation.rotate();
    rotation.folder.write(QLatin1String("app-new.log"), "x");
    QCOMPARE(rotation.rotate(), QStringList());
}

void TestLogRotation::removesInTheOrderOfNames()
{
    Rotation rotation;
    const QStringList names = list("app-old.log app.log app00.log app10.log app9.log appB.log "
                                   "app_.log appa.log appb.log");
    // Neither the order of names nor its reverse.
    for (const int index : {4, 0, 7, 2, 8, 1, 5, 3, 6})
        rotation.folder.write(names.at(index), "x");
    rotation.calls.fail("unlink *", EPERM);
    rotation.rotate();
    QStringList expected;
    for (const QString &name : names)
        expected << QString::fromLatin1("debug: \"logrotate failed remove: %1\n\" ")
                        .arg(rotation.folder.filePath(name));
    QCOMPARE(rotation.said, expected);
}

void TestLogRotation::reportsAFileThatStays()
{
    Rotation rotation;
    rotation.fill(0, 9);
    rotation.folder.write(QLatin1String("app-old.log"), "old");
    rotation.calls.fail("unlink *app9.log", EPERM);
    QCOMPARE(rotation.rotate(), list("app0.log=0 app1.log=1 app2.log=2 app3.log=3 app4.log=4 "
                                     "app5.log=5 app6.log=6 app7.log=7 app8.log=8 app9.log=9"));
    QStringList expected(rotation.removeFailed(9));
    for (int number = 8; number >= 0; --number)
        expected << rotation.renameFailed(number);
    QCOMPARE(rotation.said, expected);
}

void TestLogRotation::reportsAbsolutePaths()
{
    LibcCalls calls;
    MessageLog messages;
    const LogFolder folder;
    folder.write(fileName(0), "0");
    folder.write(fileName(9), "9");
    calls.fail("unlink *", EPERM);
    calls.fail("rename *", EIO);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const QString here = QDir::currentPath() + QLatin1Char('/');
    LogHandler handler(nullptr, false);
    const bool opened = handler.open(QLatin1String("./"), app);
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(opened);
    QCOMPARE(messages.debugLines(),
             QStringList()
                 << QString::fromLatin1("\"logrotate failed remove: %1app9.log\n\" ").arg(here)
                 << QString::fromLatin1("\"Failed renaming %1app0.log to %1app1.log\" ").arg(here)
                 << QString::fromLatin1("\"Logging to file: ./app0.log\n\" "));
}

void TestLogRotation::reportsEachFailingRename_data()
{
    QTest::addColumn<int>("failing");
    for (int number = 0; number < 9; ++number)
        QTest::newRow(qPrintable(QString::number(number))) << number;
}

/** The file keeps its number, and so do all below it: their targets are taken. */
void TestLogRotation::reportsEachFailingRename()
{
    QFETCH(int, failing);
    Rotation rotation;
    rotation.fill(0, 9);
    rotation.calls.fail(("rename *app" + QByteArray::number(failing) + ".log").constData(), EIO);
    QStringList left;
    QStringList said;
    for (int number = 0; number < 9; ++number) {
        const int name = number <= failing ? number : number + 1;
        left << fileName(name) + QLatin1Char('=') + QString::number(number);
        if (failing - number >= 0)
            said << rotation.renameFailed(failing - number);
    }
    QCOMPARE(rotation.rotate(), left);
    QCOMPARE(rotation.said, said);
}

void TestLogRotation::survivesADirectoryInTheWay_data()
{
    QTest::addColumn<int>("number");
    for (int number = 1; number <= 9; ++number)
        QTest::newRow(qPrintable(QString::number(number))) << number;
}

/** A directory moves up like a file; from 9 it cannot, and holds up the others. */
void TestLogRotation::survivesADirectoryInTheWay()
{
    QFETCH(int, number);
    Rotation rotation;
    QVERIFY(QDir(rotation.folder.path()).mkdir(fileName(number)));
    rotation.fill(number - 1, number - 1);
    const QString name = QString::fromLatin1("app%1.log=%2 app%3.log/");
    const QString moved =
        number < 9 ? name.arg(number).arg(number - 1).arg(number + 1) : name.arg(8).arg(8).arg(9);
    QCOMPARE(rotation.rotate(), moved.split(QLatin1Char(' ')));
    QCOMPARE(rotation.said, number < 9 ? QStringList() : QStringList(rotation.renameFailed(8)));
}

void TestLogRotation::neverCopies()
{
    Rotation rotation;
    rotation.fill(0, 0);
    struct stat before;
    struct stat after;
    QCOMPARE(stat(QFile::encodeName(rotation.folder.file(0)).constData(), &before), 0);
    rotation.calls.fail("rename *app0.log", EXDEV, -1, 1);
    QCOMPARE(rotation.rotate(), list("app0.log=0"));
    QCOMPARE(rotation.rotate(), list("app1.log=0"));
    QCOMPARE(stat(QFile::encodeName(rotation.folder.file(1)).constData(), &after), 0);
    QCOMPARE(after.st_ino, before.st_ino);
}

/** A placeholder in the base name is filled with the number, too. */
void TestLogRotation::buildsNamesByPlaceholders()
{
    Rotation rotation(QLatin1String("p%2-"));
    rotation.folder.write(QLatin1String("p%2-5.log"), "stray by its name");
    rotation.folder.write(QLatin1String("p3-3.log"), "numbered, but not listed");
    QCOMPARE(rotation.rotate(), QStringList(QLatin1String("p4-4.log=numbered, but not listed")));
}

void TestLogRotation::takesWildcardsInBaseNames()
{
    Rotation rotation(QLatin1String("a?p"));
    rotation.folder.write(QLatin1String("a?p0.log"), "0");
    rotation.folder.write(QLatin1String("axp0.log"), "caught");
    rotation.folder.write(QLatin1String("axxp0.log"), "free");
    QCOMPARE(rotation.rotate(), list("a?p1.log=0 axxp0.log=free"));
}

void TestLogRotation::rotatesHiddenFiles()
{
    Rotation rotation(QLatin1String(".app"));
    rotation.folder.write(QLatin1String(".app9.log"), "9");
    rotation.folder.write(QLatin1String(".app8.log"), "8");
    QCOMPARE(rotation.rotate(), list(".app9.log=8"));
}

void TestLogRotation::startsAContinuation()
{
    Rotation rotation;
    QVERIFY(rotation.handler.spawnNewLogFile());
    QCOMPARE(rotation.folder.read(0), QByteArray(continuation));
    QCOMPARE(rotation.handler.getCurrentLogFile(), rotation.folder.file(0));
    rotation.handler.logMessage(QLatin1String("line"));
    QCOMPARE(rotation.folder.read(0), continuation + QByteArray("line\n"));
}

void TestLogRotation::flushesAContinuation()
{
    Rotation rotation;
    flushAfterEachLogMsg = false;
    const bool spawned = rotation.handler.spawnNewLogFile();
    const QByteArray written = rotation.folder.read(0);
    flushAfterEachLogMsg = true;
    QVERIFY(spawned);
    QCOMPARE(written, QByteArray(continuation));
}

void TestLogRotation::overwritesWhatIsThere()
{
    Rotation rotation;
    const QByteArray old(200, 'o');
    rotation.folder.write(fileName(0), old);
    QVERIFY(rotation.handler.spawnNewLogFile());
    QCOMPARE(rotation.folder.read(0), continuation + old.mid(int(qstrlen(continuation))));
}

void TestLogRotation::reportsAFileThatCannotBeOpened()
{
    Rotation rotation;
    QVERIFY(QDir(rotation.folder.path()).mkdir(fileName(0)));
    QVERIFY(!rotation.handler.spawnNewLogFile());
    QCOMPARE(rotation.handler.getCurrentLogFile(), rotation.folder.file(0));
    QVERIFY(!rotation.handler.flush());
    rotation.handler.logMessage(QLatin1String("lost"));
    QCOMPARE(rotation.messages.lines(), QStringList());
}

void TestLogRotation::doesNothingBeforeOpen()
{
    const MessageLog messages;
    LogHandler handler(nullptr, false);
    handler.rotate();
    QVERIFY(!handler.spawnNewLogFile());
    handler.rotate();
    handler.logMessage(QLatin1String("lost"));
    QFile nameless;
    QVERIFY(!nameless.open(QIODevice::ReadWrite));
    QCOMPARE(handler.flush(), nameless.flush());
}

void TestLogRotation::leaksNoDescriptors()
{
    Rotation rotation;
    for (int i = 0; i < 20; ++i) {
        rotation.handler.rotate();
        QVERIFY(rotation.handler.spawnNewLogFile());
        QCOMPARE(int(rotation.folder.descriptors().size()), 1);
    }
}

QTEST_MAIN(TestLogRotation)
#include "tst_logrotation.moc"

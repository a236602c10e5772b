// SPDX-License-Identifier: LGPL-2.1-or-later

// What becomes of symbolic links to nothing that stand in the place of log files.

#include "logfolder.h"
#include "loghandler.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtTest/QTest>

#include <unistd.h>

namespace
{

const QString app = QLatin1String("app");

/** A folder with a link in it, and another one with the place that the link points to. */
struct LinkedFolder : LogFolder {
    LinkedFolder(int number, const QString &name)
        : target(elsewhere.filePath(name))
    {
        if (symlink(QFile::encodeName(target).constData(),
                    QFile::encodeName(file(number)).constData()))
            qFatal("no link");
    }

    bool isLink(int number) const { return QFileInfo(file(number)).isSymLink(); }

    /** What the link points to. */
    QByteArray readTarget() const
    {
        QFile targetFile(target);
        return targetFile.open(QIODevice::ReadOnly) ? targetFile.readAll() : QByteArray("(none)");
    }

    TemporaryFolder elsewhere;
    QString target;
};

} // namespace

class TestLogLinks : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void createsWhatALinkPointsTo();
    void movesALinkLikeAFile();
    void doesNotOpenALinkIntoAMissingFolder();
    void replacesALinkInThePlaceOfAnOldFile();
};

void TestLogLinks::createsWhatALinkPointsTo()
{
    const LinkedFolder folder(0, QLatin1String("target"));
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    QCOMPARE(folder.readTarget(), QByteArray());
    handler.logMessage(QLatin1String("line"));
    QCOMPARE(folder.readTarget(), QByteArray("line\n"));
    QVERIFY(folder.isLink(0));
}

void TestLogLinks::movesALinkLikeAFile()
{
    const LinkedFolder folder(0, QLatin1String("target"));
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(QLatin1String("old"));
    QVERIFY(handler.open(folder.directory(), app));
    handler.logMessage(QLatin1String("new"));
    QVERIFY(folder.isLink(1));
    QVERIFY(!folder.isLink(0));
    QVERIFY(folder.readTarget().startsWith("old\n"));
    QCOMPARE(folder.read(0), QByteArray("new\n"));
}

void TestLogLinks::doesNotOpenALinkIntoAMissingFolder()
{
    const LinkedFolder folder(0, QLatin1String("missing/target"));
    LogHandler handler(nullptr, false);
    QVERIFY(!handler.open(folder.directory(), app));
    handler.logMessage(QLatin1String("lost"));
    QCOMPARE(folder.readTarget(), QByteArray("(none)"));
    QVERIFY(folder.isLink(0));
}

void TestLogLinks::replacesALinkInThePlaceOfAnOldFile()
{
    const LinkedFolder folder(1, QLatin1String("target"));
    folder.write(QLatin1String("app0.log"), "old");
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    QVERIFY(!folder.isLink(1));
    QCOMPARE(folder.read(1), QByteArray("old"));
    QCOMPARE(folder.readTarget(), QByteArray("(none)"));
}

QTEST_MAIN(TestLogLinks)
#include "tst_loglinks.moc"

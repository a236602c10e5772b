// SPDX-License-Identifier: LGPL-2.1-or-later

// Three sinks for one log: all lines in files, the errors in files of their own, and the console
// without the quotes that Qt's debug output puts around each line. A line does not tell its level, so
// whoever logs notes it for the sinks.
//
//     logsinks DIRECTORY         then look at DIRECTORY/pump0.log and DIRECTORY/errors0.log
//
// Exit status: 0 all is written, 1 there is no file, 2 wrong usage.

#include "loghandler.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>

#include <cstdio>
#include <cstring>

// [level]
/** The level of the line that this thread is logging; 0 for lines of the library itself. */
static thread_local int levelInHand = 0;

/** What the application calls in place of Trace::log(). */
static void logAt(int level, const QString &className, const QString &functionName,
                  const QString &message)
{
    levelInHand = level;
    Trace::log(8, level, className, functionName, message);
    levelInHand = 0;
}
// [level]

/** Connected directly, so that it runs in the thread that logs; nothing in here may log. */
class Sinks : public QObject
{
    Q_OBJECT
public:
    explicit Sinks(LogHandler *errors)
        : errors(errors)
    {
    }

public Q_SLOTS:
    void take(const QString &line)
    {
        std::printf("%s\n", qPrintable(line));
        const int error = 4;
        if (levelInHand >= error)
            errors->logMessage(line); // called, not queued: it is in the file at once
    }

private:
    LogHandler *errors;
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 2) {
        std::fputs("usage: logsinks DIRECTORY\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    QCoreApplication application(argc, argv);
    const QString directory = application.arguments().at(1) + "/";
    Trace trace(nullptr);

    // Neither name may begin with the other: all that begins with its name belongs to a handler.
    LogHandler all(nullptr, false);
    LogHandler errors(nullptr, false);
    if (!all.open(directory, "pump") || !errors.open(directory, "errors"))
        return 1;
    all.moveToThread(&all);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &all, SLOT(logMessage(QString)),
                     Qt::QueuedConnection);
    all.start();
    Sinks sinks(&errors);
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &sinks, SLOT(take(QString)),
                     Qt::DirectConnection);

    logAt(2, "Pump", "start", "pump 1 is on");
    logAt(4, "Pump", "check", "pump 1 is too hot");
    logAt(2, "Pump", "stop", "pump 1 is off");

    all.quit();
    all.wait();
    return 0;
}

#include "logsinks.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "recorder.h"

#include "kivinterface.h"
#include "trace.h"

#include <sys/time.h>

// The program's own clock comes before the C library's, for the library too: it is always the same
// time, so that trace lines can be compared whole.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval *now, void *)
{
    now->tv_sec = 1709298245;
    now->tv_usec = 42000;
    return 0;
}

Recorder::Recorder(KivInterface *kiv, Trace *trace)
    : signalCount(0)
{
    connect(kiv, SIGNAL(kivOkSignal(QString)), SLOT(ok(QString)));
    connect(kiv, SIGNAL(kivErrorSignal(QString, QString, QString)),
            SLOT(error(QString, QString, QString)));
    connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(get(QString, QString)));
    connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
            SLOT(notify(QString, QString, QString, QString, QString)));
    connect(trace, SIGNAL(LogMessage(QString)), SLOT(traceLine(QString)), Qt::DirectConnection);
}

void Recorder::signal(const char *name, const QStringList &arguments)
{
    pullMessages();
    QStringList shown;
    for (const QString &argument : arguments)
        shown << quoted(argument);
    record << QLatin1String("signal: ") + QLatin1String(name) + QLatin1Char(' ') +
                  shown.join(QLatin1String(", "));
    ++signalCount;
    std::function<void()> call;
    call.swap(atSignal);
    if (call)
        call();
}

void Recorder::debugOutput(const QString &line)
{
    pullMessages();
    record << MessageLog::asHandled(line);
}

QStringList Recorder::take()
{
    pullMessages();
    Trace::linenumber = 1;
    atSignal = nullptr;
    QStringList taken;
    taken.swap(record);
    return taken;
}

void Recorder::ok(const QString &ref)
{
    signal("ok", QStringList(ref));
}

void Recorder::error(const QString &ref, const QString &type, const QString &message)
{
    signal("error", QStringList() << ref << type << message);
}

void Recorder::get(const QString &ref, const QString &data)
{
    signal("get", QStringList() << ref << data);
}

void Recorder::notify(const QString &ref, const QString &op, const QString &rpath,
                      const QString &spath, const QString &data)
{
    signal("notify", QStringList() << ref << op << rpath << spath << data);
}

void Recorder::traceLine(const QString &line)
{
    pullMessages();
    record << QLatin1String("trace: ") + line;
}

void Recorder::pullMessages()
{
    const QStringList lines = messages.lines();
    if (lines.isEmpty())
        return;
    record << lines;
    messages.clear();
}

QString quoted(const QString &text)
{
    if (text.isNull())
        return QLatin1String("null");
    return QLatin1Char('"') + text + QLatin1Char('"');
}

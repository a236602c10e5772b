// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivlogs.h"

#include "kivinterface.h"
#include "trace.h"

SignalLog::SignalLog(KivInterface *kiv)
{
    connect(kiv, SIGNAL(kivOkSignal(QString)), SLOT(ok(QString)));
    connect(kiv, SIGNAL(kivErrorSignal(QString, QString, QString)),
            SLOT(error(QString, QString, QString)));
    connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(get(QString, QString)));
    connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
            SLOT(notify(QString, QString, QString, QString, QString)));
    connect(kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), SLOT(localConnected()));
    connect(kiv, SIGNAL(kivLocalUnixSocketDisConnectedSignal()), SLOT(localDisconnected()));
    connect(kiv, SIGNAL(kivDomainTcpSocketConnectedSignal()), SLOT(domainConnected()));
    connect(kiv, SIGNAL(kivDomainTcpSocketDisConnectedSignal()), SLOT(domainDisconnected()));
}

QStringList SignalLog::take()
{
    QStringList taken;
    taken.swap(entries);
    return taken;
}

static QString call(const char *name, const QStringList &arguments)
{
    return QLatin1String(name) + QLatin1Char('(') + arguments.join(QLatin1String(", ")) +
           QLatin1Char(')');
}

void SignalLog::ok(const QString &ref)
{
    entries << call("ok", QStringList(ref));
}

void SignalLog::error(const QString &ref, const QString &type, const QString &message)
{
    entries << call("error", QStringList() << ref << type << message);
}

void SignalLog::get(const QString &ref, const QString &data)
{
    entries << call("get", QStringList() << ref << data);
}

void SignalLog::notify(const QString &ref, const QString &op, const QString &rpath,
                       const QString &spath, const QString &data)
{
    entries << call("notify", QStringList() << ref << op << rpath << spath << data);
}

void SignalLog::localConnected()
{
    entries << QLatin1String("local connected");
}

void SignalLog::localDisconnected()
{
    entries << QLatin1String("local disconnected");
}

void SignalLog::domainConnected()
{
    entries << QLatin1String("domain connected");
}

void SignalLog::domainDisconnected()
{
    entries << QLatin1String("domain disconnected");
}

TraceLog::TraceLog(Trace *trace)
{
    connect(trace, SIGNAL(LogMessage(QString)), SLOT(line(QString)), Qt::DirectConnection);
}

void TraceLog::line(const QString &text)
{
    lines << text;
}

QStringList TraceLog::entries() const
{
    QStringList result;
    for (const QString &line : lines)
        result << traceEntry(line);
    return result;
}

QStringList TraceLog::take()
{
    const QStringList taken = entries();
    lines.clear();
    return taken;
}

QString traceEntry(const QString &line)
{
    const int classColumn = 6;
    const int functionColumn = 37;
    const int messageColumn = 68;
    const QLatin1String separator("|");
    const auto tail = line.indexOf(QLatin1String(", tid="), messageColumn);
    if (tail < 0)
        return line;
    // A name that is wider than its column pushes the message to the right.
    const auto nameEnd = line.indexOf(QLatin1Char(' '), functionColumn);
    const auto messageBegin = nameEnd < messageColumn ? messageColumn : nameEnd;
    QString message = line.mid(messageBegin, tail - messageBegin).trimmed();
    const auto lineEnd = line.indexOf(QLatin1Char('\n'), tail);
    if (lineEnd >= 0)
        message = line.mid(lineEnd + 1);
    return line.mid(classColumn, functionColumn - classColumn).trimmed() + separator +
           line.mid(functionColumn, nameEnd - functionColumn) + separator + message;
}

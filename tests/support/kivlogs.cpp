// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivlogs.h"

#include "kivinterface.h"
#include "trace.h"

#include <algorithm>

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
    const int numberWidth = 5;
    const int nameWidth = 31; // with the blank behind it
    const QLatin1Char blank(' ');
    const QLatin1String separator("|");
    // Numbers and names that are wider than their columns push the rest to the right.
    const auto classColumn = line.indexOf(blank, numberWidth) + 1;
    const auto classEnd = line.indexOf(blank, classColumn);
    const auto functionColumn = std::max(classColumn + nameWidth, classEnd + 1);
    const auto functionEnd = line.indexOf(blank, functionColumn);
    const auto messageColumn = std::max(functionColumn + nameWidth, functionEnd + 1);
    const auto tail = line.indexOf(QLatin1String(", tid="), messageColumn);
    if (tail < 0)
        return line;
    QString message = line.mid(messageColumn, tail - messageColumn).trimmed();
    const auto lineEnd = line.indexOf(QLatin1Char('\n'), tail);
    if (lineEnd >= 0)
        message = line.mid(lineEnd + 1);
    return line.mid(classColumn, classEnd - classColumn) + separator +
           line.mid(functionColumn, functionEnd - functionColumn) + separator + message;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_KIVLOGS_H
#define TESTS_KIVLOGS_H

#include <QtCore/QObject>
#include <QtCore/QStringList>

class KivInterface;
class Trace;

/** Records all signals of a KivInterface, in order, as texts like "get(7, <a>1</a>)". */
class SignalLog : public QObject
{
    Q_OBJECT
public:
    explicit SignalLog(KivInterface *kiv);

    QStringList entries;
    /** Empties the record and returns what was in it. */
    QStringList take();

private Q_SLOTS:
    void ok(const QString &ref);
    void error(const QString &ref, const QString &type, const QString &message);
    void get(const QString &ref, const QString &data);
    void notify(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                const QString &data);
    void localConnected();
    void localDisconnected();
    void domainConnected();
    void domainDisconnected();
};

/**
 * Records the lines of a Trace, in order, and takes them apart: one-line entries and long ones
 * both come as "class|function|message".
 */
class TraceLog : public QObject
{
    Q_OBJECT
public:
    explicit TraceLog(Trace *trace);

    /** The lines as they were signalled. */
    QStringList lines;
    QStringList entries() const;
    /** Empties the record and returns the entries that were in it. */
    QStringList take();

private Q_SLOTS:
    void line(const QString &text);
};

/** "class|function|message" of one trace line, or the line itself if it is not laid out as one. */
QString traceEntry(const QString &line);

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_KIVFIXTURE_H
#define TESTS_KIVFIXTURE_H

#include "kivinterface.h"
#include "kivlogs.h"
#include "messagelog.h"
#include "texts.h"
#include "trace.h"

#include <QtCore/QList>

#include <functional>
#include <memory>

class ScriptedDaemon;

/** A trace line that the client is to write, and the level at which it does. */
struct TraceLine {
    int level;
    const char *function;
    QString message;
};

/**
 * A fresh client, and one record of all that it says, in order: "debug: " and "warning: " lines,
 * trace lines as "trace: function|message" and signals as "signal: ok(7)".
 */
class KivFixture : public QObject
{
    Q_OBJECT
public:
    /** The client's own timers are stopped, so that however slow the test, it decides alone. */
    enum Timers { StoppedTimers, RunningTimers };

    explicit KivFixture(Timers timers = StoppedTimers);
    ~KivFixture();

    /** Puts a new client in the place of the old one. */
    void restart();

    /** Empties the record and returns what was in it. */
    QStringList take();

    /** Connects the client to a daemon and forgets what was said meanwhile. */
    bool connectTo(ScriptedDaemon &daemon);

    MessageLog messages;
    Trace trace;
    TraceLog traceLog;
    std::unique_ptr<KivInterface> kiv;
    std::unique_ptr<SignalLog> signalLog;

private Q_SLOTS:
    void pull();

private:
    void stopTimers(const QObjectList &otherTimers);
    bool eventFilter(QObject *object, QEvent *event);

    Timers timers;
    int messagesPulled;
    QStringList record;
};

/** What the record shows of a message that the client has logged. */
QString traced(const char *function, const QString &message);
QString traced(const char *function, const char *message);

/**
 * Runs a scenario under different filters and compares the trace lines that come through, to see
 * group and level of each.
 * @return what was wrong, or an empty text
 */
QString compareUnderFilters(KivFixture &fixture, const QList<TraceLine> &expected,
                            const std::function<void()> &scenario);

/** Runs the event loop until @a condition holds, without the pauses of waitFor(). */
bool spinUntil(const std::function<bool()> &condition);

/** Whether two records are the same; if not, the first difference is printed. */
bool sameRecord(const QStringList &actual, const QStringList &expected);

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_RECORDER_H
#define TESTS_RECORDER_H

#include "messagelog.h"

#include <QtCore/QObject>
#include <QtCore/QStringList>

#include <functional>

class KivInterface;
class Trace;

/**
 * All that is said while bodies are handled, in order and to the letter: signals, trace lines and
 * lines for Qt's message handler. A null argument is told from an empty one. In a program that has
 * a recorder it is always the same time.
 */
class Recorder : public QObject
{
    Q_OBJECT
public:
    Recorder(KivInterface *kiv, Trace *trace);

    /** Records what does not come from the client. */
    void signal(const char *name, const QStringList &arguments);
    void debugOutput(const QString &line);

    /** Empties the record, begins a new count of trace lines, and returns what was recorded. */
    QStringList take();

    /** Called at the next signal only. */
    std::function<void()> atSignal;
    /** How many signals there have been. */
    int signalCount;

private Q_SLOTS:
    void ok(const QString &ref);
    void error(const QString &ref, const QString &type, const QString &message);
    void get(const QString &ref, const QString &data);
    void notify(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                const QString &data);
    void traceLine(const QString &line);

private:
    void pullMessages();

    MessageLog messages;
    QStringList record;
};

/** A text between quotes, or the word for null. */
QString quoted(const QString &text);

#endif

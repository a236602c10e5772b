// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_TOOLPROCESS_H
#define TESTS_TOOLPROCESS_H

#include "temporaryfolder.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QStringList>

#include <sys/types.h>

/** A command-line tool as a child process; it does not outlive the object, nor the test. */
class ToolProcess
{
public:
    /** @param program its full name */
    explicit ToolProcess(const char *program);
    ~ToolProcess();

    /** Runs it to its end. @return "exit STATUS", "signal NUMBER" or "still running" */
    QByteArray run(const QStringList &arguments, const QByteArray &input = QByteArray());
    /** Runs it to its end with what stands under a name as its standard input. */
    QByteArray runFrom(const QString &input, const QStringList &arguments);
    /** Runs it to its end with one of the standard streams closed. */
    QByteArray runWithout(int stream, const QStringList &arguments);
    /** Runs it to its end with its standard output on a terminal; output() has what came there. */
    QByteArray runOnTerminal(const QStringList &arguments);
    /** Runs it to its end with a standard output that takes nothing. */
    QByteArray runOnFullDisk(const QStringList &arguments);

    /** Starts it and does not wait; its input is what writeInput() writes. */
    void start(const QStringList &arguments);
    void writeInput(const QByteArray &bytes);
    void closeInput();
    /** Waits until its output contains a text. @return whether it does */
    bool waitForOutput(const QByteArray &text);
    bool waitForErrors(const QByteArray &text);
    void send(int signal);
    /** Waits for its end. @return the same as run() */
    QByteArray end();
    void kill();
    bool hasEnded();

    QByteArray output() const;
    QByteArray errors() const;

private:
    Q_DISABLE_COPY(ToolProcess)

    void launch(const QStringList &arguments, int input, int output);
    QByteArray readTerminal(int master);

    const QByteArray program;
    TemporaryFolder folder;
    pid_t process;
    int inputEnd;
    int closedStream;
    QByteArray ending;
    QByteArray terminalOutput;
};

/** Texts with a separator between them. */
QByteArray joined(const QList<QByteArray> &texts, char separator);

/** Words with single blanks between them, as arguments. */
QStringList words(const char *text);

#endif

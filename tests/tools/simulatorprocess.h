// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_SIMULATORPROCESS_H
#define TESTS_SIMULATORPROCESS_H

#include "temporaryfolder.h"
#include "toolprocess.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * A kivsim of the test's own: a child process with a socket in a fresh folder, a free TCP port and
 * a small document. It does not outlive the object, nor the test.
 */
class SimulatorProcess
{
public:
    SimulatorProcess();

    /** What it serves from the next start or restart on; the fixture's own document until then. */
    void setDocument(const QByteArray &xml);

    /**
     * Starts it, on the same socket and port as the last time, and waits until it is ready.
     * @return whether it is
     */
    bool start(const QStringList &options = QStringList());
    /** Starts the program with these arguments and no others, and does not wait. */
    void run(const QStringList &arguments) { process.start(arguments); }

    /** Waits until it has been ready so many times since it was started. */
    bool waitForReady(int times);
    void send(int signal) { process.send(signal); }
    /** Waits for its end. @return "exit STATUS", "signal NUMBER" or "still running" */
    QByteArray end() { return process.end(); }
    /** Ends it the usual way. @return the same as end() */
    QByteArray stop();
    /** Ends it at once. */
    void kill() { process.kill(); }

    QByteArray output() const { return process.output(); }
    QByteArray errors() const { return process.errors(); }
    /** The full name of a file in the folder of the socket. */
    QString filePath(const char *name) const;
    QString socketPath() const { return filePath("kivd"); }
    quint16 port() const { return tcpPort; }

private:
    Q_DISABLE_COPY(SimulatorProcess)

    TemporaryFolder folder;
    ToolProcess process;
    quint16 tcpPort;
};

/** What the fixture's document looks like in the answer to a get of "/". */
extern const char documentContent[];

/** The content of a file. */
QByteArray readFile(const QString &name);
void writeFile(const QString &name, const QByteArray &content);

#endif

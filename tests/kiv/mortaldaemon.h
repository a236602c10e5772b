// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_MORTALDAEMON_H
#define TESTS_MORTALDAEMON_H

#include "childprocess.h"
#include "temporaryfolder.h"

#include <QtCore/QString>

#include <memory>

/**
 * A daemon in a process of its own that may die at any moment and be started again. It serves both
 * transports. The connections of this process to the local daemon go to it while the object lives.
 *
 * It answers a get of the path "/large/N" with answerTo() of N characters, and a subscription with
 * an ok and then with the notifications 0 to notificationCount - 1 of changeNumber(). One to the
 * path "/flood" is notified without end, with long data that begins with the number, and the answer
 * to a get of the path "/endless" does not end. Other frames are read and forgotten.
 */
class MortalDaemon
{
public:
    MortalDaemon();
    ~MortalDaemon();

    /** Where it listens for local clients. */
    QString socketPath() const;
    /** The TCP port, which stays the same. */
    int port() const { return tcpPort; }
    /** How often it has been started. */
    int life() const { return lives; }

    /**
     * Starts it; it can be connected to when this returns.
     * @param lastByte it kills itself when it has written so many bytes, or never if negative
     */
    void start(int lastByte = -1);
    /** Lets it stand still until resume(). */
    void pause();
    void resume();
    /** Kills it, if it has not done so itself, and waits for its end. */
    void kill();

    static const int notificationCount = 50;
    /** The data of an answer in a life of the daemon, to the request with this reference. */
    static QString answerTo(int life, const QString &ref, int characters);
    /** The data of a notification in a life of the daemon. */
    static QString changeNumber(int life, int number);

private:
    Q_DISABLE_COPY(MortalDaemon)

    TemporaryFolder folder;
    int portHolder; ///< lest another process be given the port meanwhile
    int tcpPort;
    int lives;
    std::unique_ptr<ChildProcess> process;
};

#endif

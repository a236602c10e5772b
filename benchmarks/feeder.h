// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_FEEDER_H
#define BENCHMARKS_FEEDER_H

#include "temporaryfolder.h"

#include <QtCore/QByteArray>

/**
 * The daemon's end of a local connection, with nothing but system calls in it. It is used in the
 * thread of the other end: how two threads happen to be scheduled is not what is to be measured.
 */
class Feeder
{
public:
    /** Listens. */
    Feeder();
    ~Feeder();

    /** Where to connect to. */
    QString path() const;
    /** Takes the connection. */
    void accept();
    /** Ends the connection. */
    void hangUp();
    /** Throws away what has come in. */
    void discard();

    /**
     * Sends bytes, running the event loop so that the other end takes them.
     * @param received says when the other end has got everything
     * @return false if it has not, and nothing moves any more
     */
    template <typename Condition>
    bool feed(const QByteArray &bytes, Condition received)
    {
        const int patience = 10000; // turns of the event loop
        int sent = 0;
        for (int idle = 0; !received(); ++idle) {
            const int count = write(bytes, sent);
            sent += count;
            if (count > 0)
                idle = 0;
            else if (idle > patience)
                return false;
            runEventLoop();
        }
        return sent == bytes.size();
    }

private:
    Feeder(const Feeder &) = delete;
    Feeder &operator=(const Feeder &) = delete;

    int write(const QByteArray &bytes, int from);
    static void runEventLoop();

    TemporaryFolder folder;
    int listening;
    int connection;
};

#endif

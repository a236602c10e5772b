// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_STANDIN_H
#define TESTS_STANDIN_H

#include "program.h"
#include "temporaryfolder.h"

/**
 * The stand-in for the daemon, kivsim, in a process of its own. The connections of this process to
 * the local daemon go to it while the object lives.
 */
class StandIn
{
public:
    /**
     * Returns when it listens.
     * @param program where kivsim is
     * @param document the data that it serves
     */
    StandIn(const char *program, const QByteArray &document);
    ~StandIn();

private:
    Q_DISABLE_COPY(StandIn)

    TemporaryFolder folder;
    Program process;
};

#endif

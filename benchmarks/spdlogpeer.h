// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_SPDLOGPEER_H
#define BENCHMARKS_SPDLOGPEER_H

#include <memory>
#include <string>

/** The same lines by another logger, spdlog. It takes its texts in the form that it likes best. */
class SpdlogPeer
{
public:
    virtual ~SpdlogPeer() {}

    /**
     * Starts a fresh file, through its rotating sink.
     * @param flushEach whether each line is flushed
     */
    virtual void open(const std::string &fileName, bool flushEach) = 0;
    /** Logs lines, numbered from 1. */
    virtual void log(int count) = 0;
    virtual void flush() = 0;
    /** Logs lines below the threshold. */
    virtual void reject(int count) = 0;
};

/** spdlog compiled into its user, from its headers. */
std::unique_ptr<SpdlogPeer> spdlogFromHeaders();
/** spdlog as a shared library. */
std::unique_ptr<SpdlogPeer> spdlogLibrary();

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_SPDLOGPEER_H
#define BENCHMARKS_SPDLOGPEER_H

#include <memory>
#include <string>

namespace spdlog
{
class logger;
}

/** The same lines by another logger, spdlog. Its texts are ready in the form that it takes. */
class SpdlogPeer
{
public:
    SpdlogPeer();
    ~SpdlogPeer();

    /** Starts a fresh file, through its rotating sink. */
    void open(const std::string &fileName);
    void close();
    /** Logs lines, numbered from 1; each is flushed. */
    void log(int count);
    /** Logs lines below the threshold. */
    void reject(int count);

private:
    SpdlogPeer(const SpdlogPeer &) = delete;
    SpdlogPeer &operator=(const SpdlogPeer &) = delete;

    std::shared_ptr<spdlog::logger> logger;
    const std::string className;
    const std::string functionName;
    const std::string message;
};

#endif

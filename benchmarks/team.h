// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_TEAM_H
#define BENCHMARKS_TEAM_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/** Threads that wait for work, so that starting them is no part of what is timed. */
class Team
{
public:
    explicit Team(int size);
    ~Team();

    /** Lets every member do the same once, and waits for all. */
    void run(const std::function<void()> &work);

private:
    Team(const Team &) = delete;
    Team &operator=(const Team &) = delete;

    void serve();

    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> task;
    int round;
    int busy;
    bool ending;
    std::vector<std::thread> members;
};

#endif

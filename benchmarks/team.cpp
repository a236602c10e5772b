// SPDX-License-Identifier: LGPL-2.1-or-later
#include "team.h"

Team::Team(int size)
    : round(0)
    , busy(0)
    , ending(false)
{
    for (int i = 0; i < size; ++i)
        members.emplace_back(&Team::serve, this);
}

Team::~Team()
{
    {
        const std::lock_guard<std::mutex> guard(mutex);
        ending = true;
    }
    changed.notify_all();
    for (std::thread &member : members)
        member.join();
}

void Team::run(const std::function<void()> &work)
{
    std::unique_lock<std::mutex> lock(mutex);
    task = work;
    busy = int(members.size());
    ++round;
    changed.notify_all();
    changed.wait(lock, [this] { return busy == 0; });
}

void Team::serve()
{
    std::unique_lock<std::mutex> lock(mutex);
    int done = 0;
    for (;;) {
        changed.wait(lock, [this, &done] { return ending || round != done; });
        if (ending)
            return;
        done = round;
        lock.unlock();
        task();
        lock.lock();
        if (--busy == 0)
            changed.notify_all();
    }
}

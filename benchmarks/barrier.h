// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_BARRIER_H
#define BENCHMARKS_BARRIER_H

#include <QtCore/QObject>
#include <QtCore/QThread>

/** Waits for a thread to have done everything that is queued for it. */
class Barrier : public QObject
{
    Q_OBJECT
public:
    explicit Barrier(QThread *thread) { moveToThread(thread); }

    void wait() { QMetaObject::invokeMethod(this, "pass", Qt::BlockingQueuedConnection); }

private Q_SLOTS:
    void pass() {}
};

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_JOURNAL_H
#define TESTS_JOURNAL_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

#include <cstdio>

/** What the application has done and seen, an event on each line, written by one thread. */
class Journal
{
public:
    explicit Journal(const QString &fileName);
    ~Journal();

    /** Adds an event; the milliseconds since the start come before it, tabs between all of them. */
    void add(const char *what, const QString &first = QString(), const QString &second = QString(),
             const QString &third = QString());

private:
    Q_DISABLE_COPY(Journal)

    std::FILE *const file;
    QElapsedTimer clock;
};

#endif

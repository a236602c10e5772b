// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_MESSAGELOG_H
#define TESTS_MESSAGELOG_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

/**
 * Records what reaches Qt's message handler while the object lives, from whatever thread. There
 * is one at a time.
 */
class MessageLog
{
public:
    MessageLog();
    ~MessageLog();

    /** Everything so far, each line behind "debug: ", "warning: " or "other: ". */
    QStringList lines() const;
    /** The debug lines alone, as they are. */
    QStringList debugLines() const;
    void clear();

    /** Calls @a receiver with each message, too, in the thread that the message comes from. */
    void forward(const std::function<void(const QString &)> &receiver);

    /** What is recorded of a debug line: as with Qt 4's C strings, it ends at a NUL. */
    static QString asHandled(const QString &line);

private:
    Q_DISABLE_COPY(MessageLog)
};

#endif

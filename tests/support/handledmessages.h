// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_HANDLEDMESSAGES_H
#define TESTS_HANDLEDMESSAGES_H

#include <QtCore/QStringList>

/** What an application's message handler is told while the object lives; one at a time. */
class HandledMessages
{
public:
    HandledMessages();
    ~HandledMessages();

    /** Before Qt 5, messages have neither category nor pattern. */
    static bool haveCategories();

    /** The category of each message; null if it has none. */
    static QStringList categories();
    /** Each message, as the pattern "%{category}: %{message}" shows it. */
    static QStringList formatted();

private:
    Q_DISABLE_COPY(HandledMessages)
};

#endif

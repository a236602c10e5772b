// SPDX-License-Identifier: LGPL-2.1-or-later

// The checked variant of syslog() ends the process on "%n" in a text that is not a literal.
#undef _FORTIFY_SOURCE

#include "trace/syslogsink.h"

#include "trace/tracelevels.h"

#include <cstdlib>
#include <cstring>
#include <syslog.h>

namespace qvcommon
{

namespace
{

// openlog() keeps the pointer that it is given. A plain pointer, because lines may still be
// logged while static objects are being destroyed.
char *identInUse = nullptr;

int priorityOf(int level)
{
    switch (level) {
    case InfoLevel:
        return LOG_INFO;
    case WarningLevel:
        return LOG_WARNING;
    case ErrorLevel:
        return LOG_ERR;
    case CriticalLevel:
        return LOG_CRIT;
    default:
        return -1;
    }
}

/** The conversions of @a text, or -1 if spare arguments could not make them harmless. */
int countConversions(const char *text)
{
    const int widest = 4; // digits of a field width; more would make syslog build huge texts
    int count = 0;
    while ((text = std::strchr(text, '%')) != nullptr) {
        ++text;
        if (*text == '%') {
            ++text;
            continue;
        }
        text += std::strspn(text, "-+ #0'I");
        for (int part = 0; part < 2; ++part) { // width, precision
            const size_t digits = std::strspn(text, "0123456789");
            if (digits >= size_t(widest))
                return -1;
            text += digits;
            if (*text != '.')
                break;
            ++text;
        }
        const size_t modifiers = std::strspn(text, "hlLqjzt");
        text += modifiers;
        // Incomplete ones, for which the message is lost. Those that end in "%", which some take
        // for a percent sign and others for the beginning of the next conversion.
        if (*text == '\0' || *text == '%')
            return -1;
        // Widths taken from arguments, numbered arguments, and wide characters, whose conversion
        // may fail and lose the message.
        if (*text == '*' || *text == '$' || *text == 'C' || *text == 'S' ||
            (modifiers > 0 && (*text == 'c' || *text == 's')))
            return -1;
        ++count;
    }
    return count;
}

} // namespace

void openSyslog(const QString &ident)
{
    char *const previous = identInUse;
    identInUse = qstrdup(ident.toLocal8Bit().constData());
    openlog(identInUse, LOG_PID, LOG_LOCAL0);
    delete[] previous;
}

void closeSyslog()
{
    closelog();
    delete[] identInUse;
    identInUse = nullptr;
}

void writeToSyslog(int level, const QString &message)
{
    const int priority = priorityOf(level);
    if (priority < 0)
        return;
    const QByteArray text = message.toLocal8Bit();

    // The text is the format, so "%" in it asks for arguments. Each conversion finds a piece of
    // memory that may be read as a string and written to as a number; on 32-bit machines one
    // conversion takes up to four of them. Floating point has registers of its own.
    const int mostConversions = 8;
    const int conversions = countConversions(text.constData());
    if (conversions < 0 || conversions > mostConversions) {
        syslog(priority, "%s", text.constData());
        return;
    }
    long long spare[4] = {0, 0, 0, 0};
    void *const s = spare;
    // clang-format off
    syslog(priority, text.constData(),
           s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s,
           s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s,
           0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
    // clang-format on
}

} // namespace qvcommon

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_BOARDFILE_H
#define QVCOMMON_BOARDFILE_H

#include "qtcompat/text.h"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>

namespace qvcommon
{

/** The full name of one of the kernel's files; what does not fit is cut off. */
class FilePath
{
public:
    __attribute__((format(printf, 2, 3))) explicit FilePath(const char *format, ...)
        : path()
    {
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(path, sizeof path, format, arguments);
        va_end(arguments);
    }

    /**
     * Opens the file. Child processes do not inherit it: what they held open would stay busy after
     * this process has closed it.
     */
    int open(int flags) const { return ::open(path, flags | O_CLOEXEC); }

    QString toString() const { return fromCString(path); }

private:
    char path[100];
};

} // namespace qvcommon

#endif

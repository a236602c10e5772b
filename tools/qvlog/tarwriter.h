// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_TARWRITER_H
#define QVLOG_TARWRITER_H

#include <cstddef>
#include <ctime>
#include <string>

namespace qvlog
{

/** Writes an archive in the format "ustar" of POSIX. */
class TarWriter
{
public:
    /** @param descriptor stays open */
    explicit TarWriter(int descriptor);

    // All return whether it worked; if not, errno says why.
    bool begin(const std::string &name, unsigned long long size, std::time_t time);
    bool write(const char *bytes, std::size_t length);
    bool end();
    /** To be called behind the last file. */
    bool finish();

private:
    int descriptor;
    unsigned long long written; ///< of the present file
};

} // namespace qvlog

#endif

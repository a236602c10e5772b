// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_OUTPUT_H
#define QVLOG_OUTPUT_H

#include <string>

namespace qvlog
{

/** Standard output, written in large pieces. */
class Output
{
public:
    /** To be appended to; call settle() from time to time. */
    std::string text;

    /** Writes if there is much. @return whether writing works */
    bool settle();
    /** Writes all there is. @return whether writing works */
    bool flush();
};

} // namespace qvlog

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_FORMAT_H
#define QVLOG_FORMAT_H

#include "qvlog/entry.h"

#include <string>

namespace qvlog
{

/** How entries are shown. */
struct Format {
    enum Style { Full, Short, Json, Csv };
    Style style = Full;
    bool utf8 = false;
    bool colour = false;
    bool logNames = false; ///< whether to say which log an entry is from

    bool isForPeople() const { return style == Full || style == Short; }
    /** Appends an entry as one line. */
    void append(std::string &out, const Entry &entry) const;
    /** @return the line that stands before the first entry of a run */
    std::string runMark(const Entry &entry) const;
    /** @return the line that stands before all entries; may be empty */
    std::string heading() const;

private:
    void appendFull(std::string &out, const Entry &entry) const;
    void appendShort(std::string &out, const Entry &entry) const;
    void appendJson(std::string &out, const Entry &entry) const;
    void appendCsv(std::string &out, const Entry &entry) const;
    void appendText(std::string &out, const std::string &text) const;
    void appendMark(std::string &out, const std::string &text) const;
};

/** @return the word for a kind, in JSON, CSV and tables */
const char *kindName(Entry::Kind kind);

/** Reads the name of a style. @return whether there is such a one */
bool parseStyle(const std::string &text, Format::Style &style);

} // namespace qvlog

#endif

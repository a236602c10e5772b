// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_MARKUP_H
#define QVCOMMON_MARKUP_H

#include "kiv/tokenreader.h"

namespace qvcommon
{

/** Removes the characters that are special in XML: & < > " ' */
void removeSpecialCharacters(QString &text);

/**
 * Reads on up to the end tag of a data element and appends its content as markup: start and end
 * tags without attributes, prefixes or the short form of empty elements, text without special
 * characters. Other tokens leave no trace.
 * @return false if the body is over before that, or could not be read from the outset
 */
bool appendData(QString &markup, TokenReader &xml);

} // namespace qvcommon

#endif

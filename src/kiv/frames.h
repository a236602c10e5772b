// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_FRAMES_H
#define QVCOMMON_FRAMES_H

#include "qtcompat.h"

namespace qvcommon
{

/** Room for this many characters is kept in a receive buffer between large replies. */
const int receiveReserve = 200000;

/**
 * Appends received text to a receive buffer, without its tabs and line feeds. The character behind
 * a form feed is taken as it is, and a form feed at the very end of the text is followed by
 * U+0000, so that a separator which is cut between two reads does not separate.
 */
void appendCleaned(QString &buffer, const QString &text);

/** What takeFrames() has found. */
struct FrameCut {
    QStringList frames; ///< the complete frames, without separators
    bool unfinished;    ///< whether the buffer holds the beginning of another one
};

/**
 * Moves the complete frames out of a receive buffer. Empty frames are dropped; a buffer with
 * nothing but separators in it stays as it is.
 * @param searched length of the part of the buffer that was there at the last call: it is not
 *        searched again
 */
FrameCut takeFrames(QString &buffer, Size searched);

/** Empties a receive buffer, keeping the reserved room but not what a huge frame has taken. */
void discardReceived(QString &buffer);

} // namespace qvcommon

#endif

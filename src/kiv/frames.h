// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_FRAMES_H
#define QVCOMMON_FRAMES_H

#include "qtcompat/size.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace qvcommon
{

/**
 * A receive buffer may keep up to twice this many characters of room; one that had to grow beyond
 * gives all of it back.
 */
const int receiveReserve = 200000;

/** What one read has brought. */
struct Reception {
    Size received;      ///< length of the text before cleaning
    Size filtered;      ///< length of the buffer after cleaning, before cutting
    QStringList frames; ///< the complete frames, without separators
    bool unfinished;    ///< whether the buffer holds the beginning of another one
};

/**
 * Takes in what one read has brought.
 *
 * The text of the bytes, which ends at a NUL byte, is appended to the buffer without its tabs and
 * line feeds. The character behind a form feed is taken as it is, and a form feed at the very end
 * of the text is followed by U+0000, so that a separator which is cut between two reads does not
 * separate. Then the complete frames are moved out of the buffer. Empty frames are dropped; a
 * buffer with nothing but separators in it stays as it is.
 *
 * @param buffer as the last call has left it: only what is new is looked at
 */
Reception receive(QString &buffer, const QByteArray &bytes);

/** The same for bytes that have become a text already. */
Reception receiveText(QString &buffer, const QString &text);

/** Empties a receive buffer, keeping the reserved room but not what a huge frame has taken. */
void discardReceived(QString &buffer);

} // namespace qvcommon

#endif

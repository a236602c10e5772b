// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_DOCUMENTTEXTS_H
#define BENCHMARKS_DOCUMENTTEXTS_H

#include <QtCore/QByteArray>

/** The frame separator with the line end before it. */
extern const char frameEnd[5];

/** A message as the daemon sends it. */
struct Document {
    QByteArray data; ///< the content of its data element, which comes out as it went in
    QByteArray body; ///< all of it, without the frame separator
};

/** The reply to a get request, of about that many bytes. */
Document getReply(int size);

/** A notification of one change, of about that many bytes. */
Document notification(int size);

/** A text for look-ups, of about that many bytes: "value" is the name of its last element. */
QByteArray lookUpText(int size);

/** Reads every token with a bare reader. @return how many there were; -1 after an error */
int countTokens(const QByteArray &xml);

#endif

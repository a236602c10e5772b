// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef FUZZ_PLAINMESSAGE_H
#define FUZZ_PLAINMESSAGE_H

#include "kivctl/message.h"

#include <QtCore/QByteArray>

/**
 * Compares what kivctl reads of a frame with what Qt's reader finds in it.
 * @return what differs; nothing if all is well, or if Qt's reader does not accept the frame
 */
QByteArray messageDifference(const QByteArray &frame, const kivctl::Message &message);

#endif

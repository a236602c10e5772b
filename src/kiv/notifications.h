// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_NOTIFICATIONS_H
#define QVCOMMON_NOTIFICATIONS_H

#include "kiv/signalemitter.h"
#include "kiv/tokenreader.h"

namespace qvcommon
{

/**
 * Reads a notification from behind its start tag and emits its signals.
 * @return whether all of it could be read
 */
bool readNotification(const SignalEmitter &emitter, TokenReader &xml);

} // namespace qvcommon

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/signalemitter.h"

namespace qvcommon
{

void SignalEmitter::ok(const QString &ref) const
{
    if (client)
        Q_EMIT client->kivOkSignal(ref);
}

void SignalEmitter::error(const QString &ref, const QString &type, const QString &message) const
{
    if (client)
        Q_EMIT client->kivErrorSignal(ref, type, message);
}

void SignalEmitter::get(const QString &ref, const QString &data) const
{
    if (client)
        Q_EMIT client->kivGetSignal(ref, data);
}

void SignalEmitter::notify(const QString &ref, const QString &op, const QString &rpath,
                           const QString &spath, const QString &data) const
{
    if (client)
        Q_EMIT client->kivNotifySignal(ref, op, rpath, spath, data);
}

} // namespace qvcommon

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_SIGNALEMITTER_H
#define QVCOMMON_SIGNALEMITTER_H

#include "kivinterface.h"

#include <QtCore/QPointer>

namespace qvcommon
{

/**
 * Emits the signals of a client for the functions that read what arrives; on Qt 4 signals are
 * protected. Once the client is gone nothing is emitted: it may be deleted in a slot if the
 * application feeds the client by hand.
 */
class SignalEmitter
{
public:
    explicit SignalEmitter(KivInterface &client)
        : client(&client)
    {
    }

    bool hasClient() const { return !client.isNull(); }

    void ok(const QString &ref) const;
    void error(const QString &ref, const QString &type, const QString &message) const;
    void get(const QString &ref, const QString &data) const;
    void notify(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                const QString &data) const;

private:
    const QPointer<KivInterface> client;
};

} // namespace qvcommon

#endif

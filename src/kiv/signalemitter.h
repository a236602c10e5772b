// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_SIGNALEMITTER_H
#define QVCOMMON_SIGNALEMITTER_H

#include "kivinterface.h"

#include <QtCore/QPointer>

namespace qvcommon
{

/**
 * Emits the signals of a client for the functions that read what arrives; on Qt 4 signals are
 * protected. Once the client is gone nothing is emitted: it may be deleted inside of a slot that
 * runs an event loop.
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

/**
 * Whether a text has no character of the scripts that need complex layout: signals carry no others.
 * Qt's own function of that name gives different answers on different versions.
 */
bool isSimpleText(const QString &text);

} // namespace qvcommon

#endif

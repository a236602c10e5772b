// SPDX-License-Identifier: LGPL-2.1-or-later
#include "signalcounter.h"

#include "kivinterface.h"

SignalCounter::SignalCounter(KivInterface *kiv)
    : count(0)
    , compared(false)
{
    connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(get(QString, QString)));
    connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
            SLOT(notify(QString, QString, QString, QString, QString)));
}

void SignalCounter::get(const QString &, const QString &data)
{
    check(data);
}

void SignalCounter::notify(const QString &, const QString &, const QString &, const QString &,
                           const QString &data)
{
    check(data);
}

void SignalCounter::check(const QString &data)
{
    // Comparing megabytes takes time that is not to be measured, so it is done once.
    if (!compared && data != expected)
        return;
    compared = true;
    count += data.size() == expected.size();
}

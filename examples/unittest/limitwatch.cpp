// SPDX-License-Identifier: LGPL-2.1-or-later
#include "limitwatch.h"

#include "kivinterface.h"

LimitWatch::LimitWatch(QObject *kiv, const QString &path, int limit)
    : path(path)
    , limit(limit)
    , isOver(false)
{
    connect(kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), SLOT(subscribe()));
    connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
            SLOT(take(QString, QString, QString, QString, QString)));
}

void LimitWatch::subscribe()
{
    KivInterface::requestDataSubscribe("limit", path, "subscription", QString(), "1");
}

void LimitWatch::take(const QString &ref, const QString &, const QString &, const QString &,
                      const QString &data)
{
    const QString element = path.mid(path.lastIndexOf('/') + 1);
    QString text;
    if (ref != "limit" || !KivInterface::xpathGetTextNode(text, element, QString(), data))
        return;
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (!isNumber || isOver == (number > limit))
        return;
    isOver = !isOver;
    if (isOver)
        Q_EMIT exceeded(number);
    else
        Q_EMIT normal(number);
}

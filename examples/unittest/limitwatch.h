// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef LIMITWATCH_H
#define LIMITWATCH_H

#include <QtCore/QObject>
#include <QtCore/QString>

/**
 * The part of an application that is tested: it watches a number of the daemon's and says when that
 * goes over a limit, and when it is below again. Give it a KivInterface to listen to.
 */
class LimitWatch : public QObject
{
    Q_OBJECT
public:
    /** @param kiv the client  @param path of the number  @param limit the largest that is all right */
    LimitWatch(QObject *kiv, const QString &path, int limit);

Q_SIGNALS:
    void exceeded(int number);
    void normal(int number);

private Q_SLOTS:
    void subscribe();
    void take(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
              const QString &data);

private:
    QString path;
    int limit;
    bool isOver;
};

#endif

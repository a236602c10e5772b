// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_SIGNALCOUNTER_H
#define BENCHMARKS_SIGNALCOUNTER_H

#include <QtCore/QObject>
#include <QtCore/QString>

class KivInterface;

/** Counts what a client delivers. */
class SignalCounter : public QObject
{
    Q_OBJECT
public:
    explicit SignalCounter(KivInterface *kiv);

    /** The data that every signal has to bring. */
    QString expected;
    /** How many signals with that data have come. */
    int count;

private Q_SLOTS:
    void get(const QString &ref, const QString &data);
    void notify(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                const QString &data);

private:
    void check(const QString &data);

    bool compared;
};

#endif

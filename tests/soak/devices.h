// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_DEVICES_H
#define TESTS_DEVICES_H

#include "adc.h"
#include "board.h"
#include "gpio.h"

#include <QtCore/QObject>
#include <QtCore/QScopedPointer>
#include <QtCore/QTimer>

class Journal;

/** Reads and drives lines and channels on a folder of files, and compares with what is in them. */
class Devices : public QObject
{
    Q_OBJECT
public:
    explicit Devices(Journal &journal);

    void stop();

private Q_SLOTS:
    void work();

private:
    void open();
    void check(const char *what, int expected, int found);

    Journal &journal;
    Board board;
    QTimer timer;
    int rounds;
    QScopedPointer<Adc> processorChannel;
    QScopedPointer<Adc> chipChannel;
    QScopedPointer<Gpio> output;
    QScopedPointer<Gpio> input;
};

#endif

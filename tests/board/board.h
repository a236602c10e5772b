// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_BOARD_H
#define TESTS_BOARD_H

#include "temporaryfolder.h"

#include <QtCore/QByteArray>

/**
 * A folder of files that look like the kernel's, and is the current one while the object lives.
 * The base paths of Gpio and Adc point into it, at "imx/", "i2c/" and "lradc/", so that names of
 * files are short wherever the folder is.
 */
class Board
{
public:
    Board();
    ~Board();

    /** Creates a file, and the folders it is in. */
    void add(const QByteArray &name, const QByteArray &content = QByteArray());
    /** Creates the files of a line, empty. @param folder for example "imx/gpio.1/gpio/gpio40" */
    void addLine(const QByteArray &folder);
    /** Everything in a file. */
    QByteArray content(const QByteArray &name) const;

private:
    Q_DISABLE_COPY(Board)

    TemporaryFolder folder;
    QString previousFolder;
    const char *imx28Path;
    const char *gpioI2cPath;
    const char *lradcPath;
    const char *adcI2cPath;
};

/** How many descriptors this process has open. */
int openDescriptors();

/** Closes descriptor 0 for as long as the object lives, so that the next open() gets it. */
class FreeDescriptorZero
{
public:
    FreeDescriptorZero();
    ~FreeDescriptorZero();

private:
    Q_DISABLE_COPY(FreeDescriptorZero)

    int saved;
};

#endif

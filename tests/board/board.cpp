// SPDX-License-Identifier: LGPL-2.1-or-later
#include "board.h"

#include "adc.h"
#include "gpio.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <fcntl.h>
#include <unistd.h>

Board::Board()
    : previousFolder(QDir::currentPath())
    , imx28Path(Gpio::gpioImx28Path)
    , gpioI2cPath(Gpio::gpioI2c0Path)
    , lradcPath(Adc::lradcPath)
    , adcI2cPath(Adc::i2cAdcChipPath)
{
    QDir::setCurrent(folder.path());
    Gpio::gpioImx28Path = "imx/";
    Gpio::gpioI2c0Path = "i2c/";
    Adc::lradcPath = "lradc/";
    Adc::i2cAdcChipPath = "i2c/";
}

Board::~Board()
{
    Gpio::gpioImx28Path = imx28Path;
    Gpio::gpioI2c0Path = gpioI2cPath;
    Adc::lradcPath = lradcPath;
    Adc::i2cAdcChipPath = adcI2cPath;
    QDir::setCurrent(previousFolder);
}

void Board::add(const QByteArray &name, const QByteArray &content)
{
    QFile file(QFile::decodeName(name));
    QDir().mkpath(QFileInfo(file.fileName()).path());
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", name.constData());
}

void Board::addLine(const QByteArray &folder)
{
    add(folder + "/direction");
    add(folder + "/edge");
    add(folder + "/value");
}

QByteArray Board::content(const QByteArray &name) const
{
    QFile file(QFile::decodeName(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", name.constData());
    return file.readAll();
}

int openDescriptors()
{
    return int(QDir(QLatin1String("/proc/self/fd"))
                   .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                   .size());
}

FreeDescriptorZero::FreeDescriptorZero()
    : saved(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3))
{
    close(STDIN_FILENO);
}

FreeDescriptorZero::~FreeDescriptorZero()
{
    if (saved < 0) {
        close(STDIN_FILENO);
        return;
    }
    dup2(saved, STDIN_FILENO);
    close(saved);
}

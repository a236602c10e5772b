// SPDX-License-Identifier: LGPL-2.1-or-later

// Lets a lamp on one output blink, and leaves it off. On the board the line must be exported:
// echo 41 > /sys/class/gpio/export. On a workstation a folder of files serves as the board.
//
//     blink 41 5 500                     five times, 500 ms on and 500 ms off
//     mkdir -p board/gpio.1/gpio/gpio41 && touch board/gpio.1/gpio/gpio41/{direction,edge,value}
//     blink 41 5 500 board               the same there
//
// Exit status: 0 done, 1 the line cannot be opened, 2 wrong usage.

#include "gpio.h"

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class Blinker : public QObject
{
    Q_OBJECT
public:
    Blinker(Gpio *lamp, int times)
        : lamp(lamp)
        , changes(2 * times)
    {
    }

public Q_SLOTS:
    void change()
    {
        // Low at first, and low in the end: an output that is opened starts low.
        --changes;
        lamp->setGpioValue(changes % 2 ? Gpio::ValueHigh : Gpio::ValueLow);
        if (changes == 0)
            QCoreApplication::exit(0);
    }

private:
    Gpio *lamp;
    int changes;
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const bool isComplete = argc == 4 || argc == 5;
    const int line = isComplete ? QByteArray(argv[1]).toInt() : 0;
    const int times = isComplete ? QByteArray(argv[2]).toInt() : 0;
    const int pause = isComplete ? QByteArray(argv[3]).toInt() : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || line < 1 || times < 1 || pause < 1) {
        std::fputs("usage: blink LINE TIMES MILLISECONDS [FOLDER]\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    // [folder]
    const QByteArray folder = argc == 5 ? QByteArray(argv[4]) + "/" : QByteArray();
    if (!folder.isEmpty()) {
        Gpio::gpioImx28Path = folder.constData(); // lines of the processor
        Gpio::gpioI2c0Path = folder.constData();  // lines of the expanders
    }
    // [folder]
    Gpio lamp(nullptr, Gpio::Gpios(line), Gpio::DirectionOutput, Gpio::EdgeNone);
    if (lamp.getGpioFd() < 0) {
        std::fprintf(stderr, "blink: line %d cannot be opened; is it exported?\n", line);
        return 1;
    }
    Blinker blinker(&lamp, times);
    QTimer timer;
    QObject::connect(&timer, SIGNAL(timeout()), &blinker, SLOT(change()));
    timer.start(pause);
    return application.exec();
}

#include "blink.moc"

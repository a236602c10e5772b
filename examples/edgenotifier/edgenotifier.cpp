// SPDX-License-Identifier: LGPL-2.1-or-later

// Waits for edges of one input in Qt's event loop and prints each new level.
// The line must be exported: echo 40 > /sys/class/gpio/export
//
//     edgenotifier 40
//
// Exit status: 1 the line cannot be opened or read any more, 2 wrong usage.

#include "gpio.h"
#include "trace.h"

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <cstdio>
#include <cstring>

// [notify]
class LevelPrinter : public QObject
{
    Q_OBJECT
public:
    explicit LevelPrinter(Gpio *input)
        : input(input)
        , notifier(input->getGpioFd(), QSocketNotifier::Exception)
    {
        connect(&notifier, SIGNAL(activated(int)), SLOT(print()));
    }

public Q_SLOTS:
    /** Reading the level is also what tells the kernel that the edge has been seen. */
    void print()
    {
        const int level = input->getGpioValue();
        if (level == unknown) {
            // The line has gone, and its descriptor would be ready for ever.
            notifier.setEnabled(false);
            QCoreApplication::exit(1);
            return;
        }
        std::printf("%d\n", level);
        std::fflush(stdout);
    }

private:
    static const int unknown = 255;

    Gpio *input;
    QSocketNotifier notifier;
};
// [notify]

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    bool isNumber = false;
    const int line = argc == 2 ? QByteArray(argv[1]).toInt(&isNumber) : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || !isNumber) {
        std::fputs("usage: edgenotifier LINE\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    Trace trace(nullptr);
    trace.toggleConsolePrint();
    Gpio input(nullptr, Gpio::Gpios(line), Gpio::DirectionInput, Gpio::EdgeBoth);
    if (input.getGpioFd() < 0)
        return 1;
    // A descriptor that has never been read is ready at once: the first level is printed too.
    LevelPrinter printer(&input);
    return application.exec();
}

#include "edgenotifier.moc"

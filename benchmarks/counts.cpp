// SPDX-License-Identifier: LGPL-2.1-or-later

// The hot operations, one after the other, for callgrind to count their instructions. It is told
// to collect only around them, and to write a part of its output after each.

#include "adc.h"
#include "board.h"
#include "connectedclient.h"
#include "documenttexts.h"
#include "feeder.h"
#include "gpio.h"
#include "hotoperations.h"
#include "loghandler.h"
#include "messagelog.h"
#include "require.h"
#include "samplelines.h"
#include "trace.h"

#include <QtCore/QCoreApplication>

#include <ctime>
#include <functional>
#include <sys/time.h>
#include <valgrind/callgrind.h>

void count(const char *name, const std::function<void()> &operation, int characters)
{
    for (int i = 0; i < warmUps; ++i)
        operation();
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
    for (int i = 0; i < times; ++i)
        operation();
    CALLGRIND_TOGGLE_COLLECT;
    QByteArray label = name;
    if (characters > 0)
        label += ' ' + QByteArray::number(characters);
    CALLGRIND_DUMP_STATS_AT(label.constData());
}

namespace
{

void countLines()
{
    Trace trace(nullptr);
    const QString message = SampleTexts().message;
    countLine("line", message);
    countLine("line-100-characters", message.leftJustified(100, QLatin1Char('x')));
    countLine("line-200-characters", message.leftJustified(200, QLatin1Char('x')));
    countLine("line-percent", message + QLatin1String(" 50 %"));

    const CountedFile file(&trace);
    countLine("line-to-file", message);
    flushAfterEachLogMsg = false;
    countLine("line-to-file-unflushed", message);
    flushAfterEachLogMsg = true;
}

void countSocket(const char *name, const Document &document)
{
    Feeder feeder;
    ConnectedClient client(feeder.path());
    feeder.accept();
    SignalCounter &counter = client.counter;
    counter.expected = QString::fromLatin1(document.data);
    const QByteArray frame = document.body + frameEnd;
    const auto feed = [&] {
        const int before = counter.count;
        require(feeder.feed(frame, [&] { return counter.count != before; }), "no signal");
    };
    count(name, feed, frame.size());
}

void countBoard()
{
    const QByteArray folder = "imx/gpio.1/gpio/gpio40";
    const QByteArray value = folder + "/value";
    const Gpios number = Gpios(40);
    Board board;
    board.addLine(folder);
    board.add(value, "1\n");
    board.add("lradc/in_voltage0_raw", "1234\n");

    Gpio input(nullptr, number, Gpio::DirectionInput, Gpio::EdgeBoth);
    count("gpio-read", [&] { require(input.getGpioValue() == 1, "the line is not high"); });
    count("gpio-open-and-close", [&] {
        Gpio line(nullptr, number, Gpio::DirectionInput, Gpio::EdgeBoth);
        require(line.getGpioFd() >= 0, "the line is not open");
    });
    Adc voltage(nullptr, 128, 0, 3);
    count("adc-read", [&] { require(voltage.getAdcValue() == 3702, "a wrong voltage"); });
    Gpio output(nullptr, number, Gpio::DirectionOutput, Gpio::EdgeNone);
    board.add(value);
    count("gpio-write", [&] { output.setGpioValue(Gpio::ValueHigh); });
    require(board.content(value) == QByteArray(warmUps + times, '1'), "the line is not driven");
}

} // namespace

// The program's own clocks come before the C library's, for the libraries too: at other times
// there are other digits in a line, and Qt's timers are due elsewhere.

static timespec nextTime(long step)
{
    const long second = 1000000000;
    static long elapsed = 0; // ns
    elapsed += step;
    timespec now;
    now.tv_sec = 1709298245 + elapsed / second;
    now.tv_nsec = elapsed % second;
    return now;
}

extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval *now, void *)
{
    const timespec time = nextTime(1000000);
    now->tv_sec = time.tv_sec;
    now->tv_usec = time.tv_nsec / 1000;
    return 0;
}

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t, timespec *now)
{
    *now = nextTime(1000);
    return 0;
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const MessageLog messages;
    countLines();
    countRejected();
    countBody("get-300-bytes", getReply(300));
    countBody("get-1-kB", getReply(1000));
    countBody("get-16-kB", getReply(16000));
    countBody("notification-300-bytes", notification(300));
    countBody("notification-1-kB", notification(1000));
    countSocket("socket-1-kB", getReply(1000));
    countSocket("socket-16-kB", getReply(16000));
    countRequest();
    countLookUp("lookup-15-bytes", 15);
    countLookUp("lookup-1-kB", 1000);
    countLookUp("lookup-20-kB", 20000);
    countLookUp("lookup-at-the-front", 200000, "a/sensor/name");
    countBoard();
    return 0;
}

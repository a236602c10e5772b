// SPDX-License-Identifier: LGPL-2.1-or-later

// The hot operations, on the emulated board. Its clock goes by instructions, so what an operation
// takes of the processor's time is their number, the kernel's included. Prints lines of "name, tab,
// instructions".

#include "adc.h"
#include "documenttexts.h"
#include "gpio.h"
#include "hotoperations.h"
#include "kernelboard.h"
#include "kivinterface.h"
#include "loghandler.h"
#include "messagelog.h"
#include "require.h"
#include "samplelines.h"
#include "temporaryfolder.h"
#include "trace.h"

#include <QtCore/QCoreApplication>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const double instruction = 4; // nanoseconds of the emulated board

void print(const char *name, double nanoseconds)
{
    std::printf("%s\t%.0f\n", name, nanoseconds / instruction);
    std::fflush(stdout);
}

double processorTime()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e9 * double(time.tv_sec) + double(time.tv_nsec);
}

void countLines()
{
    Trace trace(nullptr);
    const QString message = SampleTexts().message;
    countLine("line", message);
    const CountedFile file(&trace);
    countLine("line-to-file", message);
}

/** Lines of the processor, and a channel of a converter's driver. */
void countBoard()
{
    writeKernelFile("/sys/class/gpio/export", "40");
    writeKernelFile("/sys/class/gpio/export", "41");
    Gpio input(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeBoth);
    count("gpio-read", [&] { require(input.getGpioValue() == 0, "the line is not low"); });
    Gpio output(nullptr, Gpios(41), Gpio::DirectionOutput, Gpio::EdgeNone);
    count("gpio-write", [&] { output.setGpioValue(Gpio::ValueHigh); });
    require(kernelFile("/run/sysfs/class/gpio/gpio41/value") == "1", "the line is not high");
    I2cChip(0x21).setWord(0x80, 1234);
    Adc voltage(nullptr, 128, 0, 3);
    count("adc-read", [&] { require(voltage.getAdcValue() == 3702, "a wrong voltage"); });
}

/** An application that logs to a file and has a client starts and ends again. */
int runApplication()
{
    const MessageLog messages;
    const TemporaryFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    require(handler.open(folder.path() + QLatin1Char('/'), QLatin1String("bench")), "no log file");
    const KivInterface kiv(nullptr);
    QCoreApplication::processEvents();
    return 0;
}

double childrensTime()
{
    rusage used;
    getrusage(RUSAGE_CHILDREN, &used);
    return 1e9 * double(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           1e3 * double(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
}

void runProgram(const char *name)
{
    const pid_t child = fork();
    if (child == 0) {
        execl(name, name, "start", nullptr);
        _exit(1);
    }
    int status = 1;
    require(waitpid(child, &status, 0) == child && status == 0, "an application does not start");
}

void countStart(const char *program)
{
    const int starts = 4;
    runProgram(program);
    const double before = childrensTime();
    for (int i = 0; i < starts; ++i)
        runProgram(program);
    print("start", (childrensTime() - before) / starts);
}

} // namespace

void count(const char *name, const std::function<void()> &operation, int)
{
    for (int i = 0; i < warmUps; ++i)
        operation();
    const double before = processorTime();
    for (int i = 0; i < times; ++i)
        operation();
    print(name, (processorTime() - before) / times);
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc > 1 && std::strcmp(argv[1], "start") == 0)
        return runApplication();
    const MessageLog messages;
    countLines();
    countRejected();
    countBody("get-1-kB", getReply(1000));
    countBody("get-16-kB", getReply(16000));
    countBody("notification-300-bytes", notification(300));
    countRequest();
    countLookUp("lookup-15-bytes", 15);
    countLookUp("lookup-1-kB", 1000);
    countLookUp("lookup-20-kB", 20000);
    countBoard();
    countStart(argv[0]);
    return 0;
}

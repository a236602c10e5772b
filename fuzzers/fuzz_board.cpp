// SPDX-License-Identifier: LGPL-2.1-or-later

// The files of an analogue input, of a GPIO line and of a process id, with anything in them. The
// input's first line has numbers, see Choice; behind it stand the contents that the files have one
// after the other, with the control character FS between them. What is read is compared with a plain
// reading of the same bytes, and what is written with what should stand in the files.
//
// Covers: src/board/adc.cpp src/board/gpio.cpp src/process/pidfilehandler.cpp

#include "adc.h"
#include "board.h"
#include "fuzzing.h"
#include "gpio.h"
#include "kivlogs.h"
#include "libccalls.h"
#include "messagelog.h"
#include "pidfilehandler.h"
#include "trace.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace
{

const char contentSeparator = '\x1c';
const char pidFile[] = "pid";
const unsigned lradc = 128;

/** The objects that the input asks for. */
struct Choice {
    unsigned device;
    unsigned channel;
    unsigned scale;
    int line;
    int direction;
    int edge;
    int killError; ///< what a signal to another process meets with
};

Choice choiceOf(const QByteArray &line)
{
    const int errors[] = {0, ESRCH, EPERM};
    const QList<QByteArray> words = line.split(' ');
    int numbers[7] = {};
    for (int i = 0; i < 7 && i < int(words.size()); ++i)
        numbers[i] = words[i].toInt();
    return {unsigned(numbers[0]),
            unsigned(numbers[1]),
            unsigned(numbers[2]),
            numbers[3],
            numbers[4],
            numbers[5],
            errors[unsigned(numbers[6]) % 3]};
}

/** A board with all files that the library may open. */
class WholeBoard : public Board
{
public:
    WholeBoard()
    {
        for (int line = 37; line <= 239; ++line)
            addLine(lineFolder(line));
        for (unsigned channel = 0; channel < 16; ++channel)
            add(adcFile(lradc, channel));
        for (unsigned device = 0; device < 4; ++device) {
            for (unsigned channel = 0; channel < 8; ++channel)
                add(adcFile(device, channel));
        }
    }

    static QByteArray lineFolder(int line)
    {
        const QByteArray number = QByteArray::number(line);
        if (line < 160)
            return path("imx/", Gpio::gpioImx28ChipAddresses[line / 32], "/gpio/gpio") + number;
        return path("i2c/", Gpio::gpioI2cChipAddresses[(line - 160) / 16], "/gpio/gpio") + number;
    }

    static QByteArray adcFile(unsigned device, unsigned channel)
    {
        if (device == lradc)
            return path("lradc/", Adc::lradcDevice[channel], "");
        return path("i2c/", Adc::i2cAdcChipAddresses[device], "/in") + QByteArray::number(channel) +
               "_input";
    }

private:
    static QByteArray path(const char *begin, const char *middle, const char *end)
    {
        return QByteArray(begin).append(middle).append(end);
    }
};

void setContent(const QByteArray &name, const QByteArray &content)
{
    const int file = open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0 || write(file, content.constData(), std::size_t(content.size())) != content.size())
        qFatal("cannot write %s", name.constData());
    close(file);
}

/** The first number in a text: white space, a sign, digits; as much of it as fits in a long. */
long plainNumber(const QByteArray &text)
{
    int at = 0;
    while (at < int(text.size()) && std::isspace(uchar(text[at])))
        ++at;
    const bool isNegative = text.mid(at, 1) == "-";
    if (isNegative || text.mid(at, 1) == "+")
        ++at;
    long number = 0;
    for (; at < int(text.size()) && text[at] >= '0' && text[at] <= '9'; ++at) {
        const int digit = text[at] - '0';
        if (number > (LONG_MAX - digit) / 10)
            return isNegative ? LONG_MIN : LONG_MAX;
        number = 10 * number + digit;
    }
    return isNegative ? -number : number;
}

QByteArray compare(const char *what, long long actual, long long expected)
{
    return actual == expected ? QByteArray()
                              : QByteArray(what) + ": " + QByteArray::number(actual) +
                                    " instead of " + QByteArray::number(expected) + '\n';
}

bool isChannel(const Choice &choice)
{
    const bool isKnown = (choice.device < 4 && choice.channel < 8) ||
                         (choice.device == lradc && choice.channel < 16);
    return isKnown && choice.scale >= 1 && choice.scale <= 25;
}

bool isLine(const Choice &choice)
{
    return choice.line >= 37 && choice.line <= 239 && (choice.direction & ~1) == 0 &&
           (choice.edge & ~3) == 0;
}

QByteArray adcProblem(Adc &adc, const Choice &choice, const QByteArray &content)
{
    long number = 0;
    if (isChannel(choice)) {
        setContent(WholeBoard::adcFile(choice.device, choice.channel), content);
        number = plainNumber(content.left(19)); // as much as is read
    }
    const unsigned raw = number < 0 ? 65535 : unsigned(number);
    const unsigned value = number < 0 ? 65535 : choice.scale * raw;
    return compare("getAdcRaw", adc.getAdcRaw(), raw) +
           compare("getAdcValue", adc.getAdcValue(), value);
}

/** What is logged of a reading, for the plain result of it. */
QStringList plainGpioLog(const Choice &choice, const QByteArray &content, int result)
{
    const char *const text = !isLine(choice) || choice.direction == 0 ? "Invalid GPIO Direction"
                             : result != 255                          ? nullptr
                             : content.isEmpty()                      ? "Failed to read()"
                                                                      : "Invalid GPIO value: 255";
    return text ? QStringList(QLatin1String("Gpio|getGpioValue|") + QLatin1String(text))
                : QStringList();
}

QByteArray gpioProblem(Gpio &gpio, const Choice &choice, const QByteArray &content, TraceLog &log)
{
    const bool isInput = isLine(choice) && choice.direction == 1;
    if (isLine(choice))
        setContent(WholeBoard::lineFolder(choice.line) + "/value", content);
    const char level = content.isEmpty() ? '\0' : content[0];
    const int expected = isInput && (level == '0' || level == '1') ? level - '0' : 255;
    log.take();
    QByteArray problem = compare("getGpioValue", gpio.getGpioValue(), expected);
    if (log.take() != plainGpioLog(choice, content, expected))
        problem += "getGpioValue: another line\n";
    return problem + compare("getGpioValueCached", gpio.getGpioValueCached(), expected);
}

/** What stands in the files of a line that has been opened. */
QByteArray openedProblem(const WholeBoard &board, const Choice &choice)
{
    static const char *const edges[] = {"none", "rising", "falling", "both"};
    const QByteArray folder = WholeBoard::lineFolder(choice.line);
    const bool isInput = choice.direction == 1;
    const QByteArray direction = isInput ? QByteArray("in\0", 3) : QByteArray("out\0", 4);
    const QByteArray edge =
        isInput ? QByteArray(edges[choice.edge], int(qstrlen(edges[choice.edge])) + 1)
                : QByteArray();
    return board.content(folder + "/direction") == direction &&
                   board.content(folder + "/edge") == edge
               ? ""
               : "another direction or edge\n";
}

QByteArray drivingProblem(Gpio &gpio, const WholeBoard &board, const Choice &choice, int level)
{
    const QByteArray file = WholeBoard::lineFolder(choice.line) + "/value";
    const QByteArray before = board.content(file);
    lseek(gpio.getGpioFd(), 0, SEEK_SET);
    gpio.setGpioValue(GpioValue(level));
    const bool isDriven = choice.direction == 0 && (level & ~1) == 0;
    const QByteArray expected = isDriven ? QByteArray::number(level) + before.mid(1) : before;
    return board.content(file) == expected ? "" : "another level\n";
}

QByteArray pidProblem(const WholeBoard &board, const Choice &choice, const QByteArray &content)
{
    setContent(pidFile, content);
    PidFileHandler handler(pidFile);
    const int pid = int(plainNumber(content));
    const bool isOther = pid != 0 && pid != getpid();
    const bool isGone = choice.killError == ESRCH;
    QByteArray problem = compare("readPid", handler.readPid(), pid) +
                         compare("checkPid", handler.checkPid(), isOther && !isGone ? pid : 0) +
                         compare("writePid", handler.writePid(), getpid());
    const QByteArray own = QByteArray::number(getpid()) + '\n';
    if (board.content(pidFile) != own + content.mid(int(own.size())))
        problem += "another process id file\n";
    return problem + compare("removePid", handler.removePid(), 0);
}

int lowestFreeDescriptor()
{
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

void readContents(const WholeBoard &board, const Choice &choice, const QList<QByteArray> &contents)
{
    Trace trace(nullptr);
    TraceLog log(&trace);
    if (isLine(choice)) {
        setContent(WholeBoard::lineFolder(choice.line) + "/direction", QByteArray());
        setContent(WholeBoard::lineFolder(choice.line) + "/edge", QByteArray());
    }
    Adc adc(nullptr, choice.device, choice.channel, choice.scale);
    Gpio gpio(nullptr, Gpios(choice.line), GpioDirections(choice.direction),
              GpioEdges(choice.edge));
    requireNone(compare("open", gpio.getGpioFd() > 0, isLine(choice)));
    if (isLine(choice))
        requireNone(openedProblem(board, choice));
    for (const QByteArray &content : contents) {
        requireNone(adcProblem(adc, choice, content) + gpioProblem(gpio, choice, content, log) +
                    pidProblem(board, choice, content));
        if (isLine(choice))
            requireNone(drivingProblem(gpio, board, choice, content.size() % 3));
    }
}

} // namespace

void fuzz(const QByteArray &input)
{
    static const WholeBoard board;
    const int lineEnd = int(input.indexOf('\n'));
    const Choice choice = choiceOf(input.left(lineEnd));
    const QByteArray rest = lineEnd < 0 ? QByteArray() : input.mid(lineEnd + 1);

    MessageLog messages;
    LibcCalls calls;
    calls.fail("kill *", choice.killError, choice.killError ? -1 : 0);
    const int free = lowestFreeDescriptor();
    readContents(board, choice, rest.split(contentSeparator));
    requireNone(compare("open descriptors", lowestFreeDescriptor(), free));
}

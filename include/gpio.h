// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_GPIO_H
#define QVCOMMON_GPIO_H

/** @file
 *  @brief The class Gpio, and its enumerations without the class in front. */

#include "qvcommonexport.h"

#include <QtCore/QObject>

/**
 * @brief One GPIO line of the board, through the kernel's sysfs files.
 *
 * The object sets the direction and, for an input, the edge that wakes a waiting program; then it
 * keeps the line's value file open, so that reading and driving cost one or two system calls.
 *
 * @code
 * Gpio lamp(nullptr, Gpio::Gpios(40), Gpio::DirectionOutput, Gpio::EdgeNone);
 * lamp.setGpioValue(Gpio::ValueHigh);
 *
 * Gpio button(nullptr, Gpio::Gpios(41), Gpio::DirectionInput, Gpio::EdgeBoth);
 * if (button.getGpioFd() > 0)
 *     pressed = button.getGpioValue() == Gpio::ValueLow;
 * @endcode
 *
 * **Lines are exported at start-up.** The class never writes to the kernel's export file: a
 * start-up script does ("echo 40 > /sys/class/gpio/export"), or the open fails.
 *
 * **Lines** 37 to 159 are on the processor's own banks of 32 (bank = line / 32), 160 to 239 on the
 * i2c expanders at the addresses 0x20, 0x60, 0x74, 0x75 and 0x76, 16 lines each.
 *
 * **Waiting for an edge.** Wait on getGpioFd() for POLLPRI with poll(), or for an exception with
 * select() or QSocketNotifier, then call getGpioValue(): it reads the new level and acknowledges
 * the edge. A descriptor that has never been read is ready at once, so read it before the first
 * wait. Edges that follow each other faster than they are read arrive as one.
 *
 * **Errors.** Nothing throws. Each failure is one line of Trace, group 8 or 1, and where there is
 * a result, a value that says so. If the kernel refuses the direction or the edge of a line that
 * is opened, that is not noticed; driving a line that has not become an output fails then.
 *
 * **Threads.** One object belongs to one thread at a time; different objects are independent.
 *
 * **Ownership.** The object owns its descriptor, which is closed on exec: child processes do not
 * inherit it.
 */
class QVCOMMON_EXPORT Gpio : public QObject
{
    Q_OBJECT
public:
    /** The number of a line, which is also its number in the kernel: Gpio::Gpios(40). */
    enum Gpios QVCOMMON_INT_ENUM { QVCOMMON_INT_ENUM_END(GpiosEnd) };

    /** Who drives a line. */
    enum GpioDirections QVCOMMON_INT_ENUM {
        DirectionOutput = 0, ///< the board drives the line
        DirectionInput = 1   ///< the line is read
    };

    /** The changes of an input that wake a waiting program. */
    enum GpioEdges QVCOMMON_INT_ENUM {
        EdgeNone = 0,    ///< none
        EdgeRising = 1,  ///< from low to high
        EdgeFalling = 2, ///< from high to low
        EdgeBoth = 3     ///< any
    };

    /** The level of a line. */
    enum GpioValue QVCOMMON_INT_ENUM {
        ValueLow = 0, ///< low
        ValueHigh = 1 ///< high
    };

    /**
     * Opens a line. If something is wrong with it the object stays, and getGpioFd() is negative.
     * @param parent owner of the object, or null
     * @param gpio 37 to 239; others are refused, no file is touched
     * @param direction the direction to set; an output is set low first
     * @param edge the edge to wait for; it is set for inputs only. An input whose hardware has no
     *        interrupts opens too, its descriptor just never wakes anyone.
     */
    Gpio(QObject *parent, Gpios gpio, GpioDirections direction, GpioEdges edge);

    /** Closes the line; direction, edge and level stay as they are. */
    virtual ~Gpio();

    /** Drives an output; on an input nothing is written. */
    void setGpioValue(GpioValue value);

    /**
     * Changes the direction. A line that becomes an output is low from its first moment on. Edge
     * and descriptor stay as they are. Some kernels refuse to drive a line that has an edge set.
     */
    void setGpioDirection(GpioDirections direction);

    /**
     * Reads an input now.
     * @return 0, 1, or 255 if that failed or the line is an output
     */
    int getGpioValue();

    /**
     * What getGpioValue() returned last; the line is read only if that is not known. Edges and
     * setGpioValue() do not change it.
     */
    int getGpioValueCached();

    /**
     * The descriptor of the value file, for poll() and its like; -1 or -2 if the line is not open.
     * It stays the object's: do not close it.
     */
    int getGpioFd();

    /** @name For special use
     *  @{ */

    /**
     * Chooses the folder of a line on one of the processor's banks. Done by the constructor.
     * @return false above line 159
     */
    bool setGpioImxPath(Gpios gpio);
    /**
     * Chooses the folder of a line on one of the expanders. Done by the constructor.
     * @return false outside of lines 160 to 239
     */
    bool setGpioI2cPath(Gpios gpio);

    /**
     * Configures the line and opens its value file. Done by the constructor; if it is called
     * again the object goes on with the new descriptor, and the old one is the caller's to close.
     * @return the descriptor; -1 if the value file could not be opened; -2 if that of an input's
     *         direction could not, or the value file got descriptor 0
     */
    int openGpio();

    /** Where the processor's banks are, with a "/" at the end. Point it elsewhere for a test. */
    static const char *gpioImx28Path;
    /** Where the expanders are, with a "/" at the end. Point it elsewhere for a test. */
    static const char *gpioI2c0Path;
    /**
     * The folder of each bank below gpioImx28Path. Like the paths not constant: kernels name
     * these folders differently.
     */
    static char gpioImx28ChipAddresses[5][10];
    /** The folder of each expander below gpioI2c0Path. */
    static char gpioI2cChipAddresses[5][10];
    /** @} */

private:
    Q_DISABLE_COPY(Gpio)

    char gpioPath[200];
    int fd;
    Gpios gpio;
    GpioDirections direction;
    GpioEdges edge;
    int cachedValue;
};

/** @name The enumerations of Gpio, for code that names them without the class
 *  @{ */
typedef Gpio::Gpios Gpios;                   ///< The number of a line.
typedef Gpio::GpioDirections GpioDirections; ///< Who drives a line.
typedef Gpio::GpioEdges GpioEdges;           ///< What wakes a waiting program.
typedef Gpio::GpioValue GpioValue;           ///< The level of a line.
/** @} */

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_ADC_H
#define QVCOMMON_ADC_H

/** @file
 *  @brief The class Adc. */

#include "qvcommonexport.h"

#include <QtCore/QObject>

/**
 * @brief One analogue input of the board: a channel of the processor's own converter, the LRADC,
 * or of one of the four converter chips on the first i2c bus.
 *
 * The object opens the channel's file once; each read fetches a fresh number.
 *
 * @code
 * Adc supply(nullptr, 1, 2, 11);              // chip at 0x49, input 2, behind an 11:1 divider
 * unsigned millivolts = supply.getAdcValue(); // 11 times the millivolts at the pin
 * @endcode
 *
 * **Units.** An i2c chip gives millivolts at its pin. The LRADC gives the converter's own steps, 0
 * to 4095; its channels 7 and 8 are temperature channels, in steps too. The scale is a whole factor
 * that the application chooses, for what the board puts in front of the pin.
 *
 * **Errors.** Nothing throws. A read that fails gives 0, and a negative reading gives 65535, so
 * neither can be told from a true reading of that size. Opening is reported on Qt's debug output,
 * the creation of the object there and on Trace; a refused construction is not reported.
 *
 * **Threads.** One object belongs to one thread at a time; different objects are independent.
 *
 * **Ownership.** The object owns its descriptor, which is closed on exec: child processes do not
 * inherit it.
 */
class QVCOMMON_EXPORT Adc : public QObject
{
    Q_OBJECT
public:
    /**
     * Opens a channel. If that fails, or a number is out of its range, all reads give 0.
     * @param parent owner of the object, or null
     * @param device 0 to 3: the i2c chip at the address 0x48 to 0x4b; 128: the LRADC
     * @param channel 0 to 7 on an i2c chip, 0 to 15 on the LRADC
     * @param scale the factor of getAdcValue(), 1 to 25
     */
    Adc(QObject *parent, unsigned device, unsigned channel, unsigned scale);

    /** Closes the channel. */
    virtual ~Adc();

    /**
     * Reads the channel now.
     * @return the number in the channel's file, 0 if it could not be read, 65535 if it is negative
     */
    unsigned getAdcRaw();

    /**
     * Reads the channel now.
     * @return the number times the scale, modulo 2^32; 0 and 65535 as getAdcRaw(), not scaled
     */
    unsigned getAdcValue();

    /** @name For special use
     *  @{ */

    /**
     * Opens the file of an i2c chip's channel. Done by the constructor; the result is the
     * caller's to close.
     * @return a descriptor, or -1; always -1 if the object is no channel of an i2c chip
     */
    int openI2cAdc();
    /** The same for a channel of the LRADC. */
    int openImxAdc();

    /** Where the LRADC is, with a "/" at the end. Point it elsewhere for a test. */
    static const char *lradcPath;
    /** Where the i2c chips are, with a "/" at the end. Point it elsewhere for a test. */
    static const char *i2cAdcChipPath;
    /**
     * The folder of each i2c chip below i2cAdcChipPath. Like the paths not constant: kernels name
     * these folders and files differently.
     */
    static char i2cAdcChipAddresses[4][8];
    /** The file of each LRADC channel below lradcPath. */
    static char lradcDevice[16][20];
    /** @} */

private:
    Q_DISABLE_COPY(Adc)

    int fd;
    int kind;
    unsigned device;
    unsigned channel;
    const char *chipAddress;
    const char *lradcFile;
    unsigned scale;
};

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_KERNELBOARD_H
#define TESTS_KERNELBOARD_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>

/**
 * What the tests know of the guest: its kernel simulates the board's chips, and the script "init"
 * gives them the names that they have there. On the emulated board the processor's lines are not
 * simulated by the kernel, but wired to the machine outside. Nothing here uses the library.
 */

/** One of the kernel's files, without the end of its last line. */
QByteArray kernelFile(const QByteArray &name);
void writeKernelFile(const QByteArray &name, const QByteArray &text);

/** The kernel's list of the lines that are in use: who drives each, its level, its interrupt. */
class LineUses
{
public:
    LineUses();

    /** What has changed since the last call: "40: out hi", "40: in lo IRQ", "40: not in use". */
    QList<QByteArray> changes();

private:
    QMap<int, QByteArray> uses;
};

/**
 * The kernel's record of what it does with lines, from the object's construction on: "40 set 1",
 * "40 get 0", "40 out (0)", "40 in (0)", with the error in parentheses.
 */
class LineRecord
{
public:
    LineRecord();
    ~LineRecord();

    /** Empties the record and returns what was in it. */
    QList<QByteArray> take();

private:
    Q_DISABLE_COPY(LineRecord)
};

/**
 * A line that is exported while the object lives, and the world it is connected to. It starts as
 * an input that is pulled low.
 */
class ExportedLine
{
public:
    explicit ExportedLine(int line);
    ~ExportedLine();

    /** Lets the world drive the line; an output drives harder. */
    void pull(int level);
    /** The level that the chip has on its pin. */
    int level() const;
    /** The full name of its file "direction", "edge" or "value". */
    QByteArray file(const char *name) const;

private:
    Q_DISABLE_COPY(ExportedLine)

    const int line;
};

/** Tells when the edges so far have arrived, by the edges of a line of its own. */
class EdgeMarker
{
public:
    EdgeMarker();
    ~EdgeMarker();

    /** Returns when whoever waits for an edge that was before this call has been woken. */
    void pass();

private:
    Q_DISABLE_COPY(EdgeMarker)

    ExportedLine line;
    const int value;
    int level;
};

/** A chip on the simulated i2c bus, as its bus sees it. */
class I2cChip
{
public:
    explicit I2cChip(int address);
    ~I2cChip();

    int byte(int reg) const;
    QList<int> bytes(int first, int count) const;
    void setByte(int reg, int value);
    /** Sets a register of two bytes, of which the chip sends the higher one first. */
    void setWord(int reg, int value);

private:
    Q_DISABLE_COPY(I2cChip)

    int bus;
};

#endif

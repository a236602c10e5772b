// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_RANDOM_H
#define TESTS_RANDOM_H

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

/** The same numbers in every run and on every machine (xorshift32). */
class Random
{
public:
    explicit Random(quint32 seed)
        : state(seed)
    {
    }

    int below(int limit)
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return int(state % quint32(limit));
    }

    template <typename T, int size>
    T oneOf(const T (&values)[size])
    {
        return values[below(size)];
    }

private:
    quint32 state;
};

/**
 * How many random cases a test compares: fewer will do where each takes long, as in an emulator,
 * and millions are for those who change what is tested.
 * @param usual how many if the environment does not say
 */
inline int randomCases(int usual)
{
    const QByteArray wanted = qgetenv("QVCOMMON_TEST_CASES");
    return wanted.isEmpty() ? usual : wanted.toInt();
}

#endif

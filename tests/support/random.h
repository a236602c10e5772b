// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_RANDOM_H
#define TESTS_RANDOM_H

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

#include <limits>

/** The same numbers in every run and on every machine. */
class Random
{
public:
    explicit Random(quint32 seed)
        : state(seed)
    {
    }

    int below(int limit)
    {
        state = state * Q_UINT64_C(6364136223846793005) + Q_UINT64_C(1442695040888963407);
        return int((state >> 33) % quint64(limit));
    }

    template <typename T, int size>
    T oneOf(const T (&values)[size])
    {
        return values[below(size)];
    }

private:
    quint64 state;
};

/**
 * How many random cases a test compares. QVCOMMON_TEST_PERCENT in the environment asks for fewer,
 * where each takes long, or for more, after a change of what is tested.
 * @param usual how many if the environment does not say
 */
inline int randomCases(int usual)
{
    const QByteArray percent = qgetenv("QVCOMMON_TEST_PERCENT");
    const qint64 wanted = percent.isEmpty() ? usual : qint64(usual) * percent.toInt() / 100;
    if (wanted < 1 || wanted > std::numeric_limits<int>::max())
        qFatal("QVCOMMON_TEST_PERCENT: no number of cases comes of that");
    return int(wanted);
}

#endif

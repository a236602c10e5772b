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

/** A number from the environment, or @a usual if it says nothing. */
inline qint64 numberFromEnvironment(const char *variable, qint64 usual)
{
    const QByteArray text = qgetenv(variable);
    bool valid = true;
    const qint64 number = text.isEmpty() ? usual : text.toLongLong(&valid);
    if (!valid || number < 0 || number > std::numeric_limits<int>::max())
        qFatal("%s: this is no number to work with", variable);
    return number;
}

/**
 * How many random cases a test compares. QVCOMMON_TEST_CASES in the environment asks for a number;
 * QVCOMMON_TEST_PERCENT asks for fewer than usual, where each takes long, or for more.
 * @param usual how many if the environment does not say
 */
inline int randomCases(int usual)
{
    const qint64 percent = numberFromEnvironment("QVCOMMON_TEST_PERCENT", 100);
    const qint64 wanted = numberFromEnvironment("QVCOMMON_TEST_CASES", usual * percent / 100);
    if (wanted < 1 || wanted > std::numeric_limits<int>::max())
        qFatal("QVCOMMON_TEST_PERCENT or QVCOMMON_TEST_CASES: no number of cases comes of that");
    return int(wanted);
}

/** The seed of a test's random cases, unless QVCOMMON_TEST_SEED in the environment says another. */
inline quint32 randomSeed(quint32 usual)
{
    return quint32(numberFromEnvironment("QVCOMMON_TEST_SEED", usual));
}

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_ATOMICS_H
#define QVCOMMON_ATOMICS_H

namespace qvcommon
{

/**
 * Reads and writes of variables that one thread sets while others read them without a lock. The
 * interface declares these variables with plain types, so they cannot be std::atomic.
 *
 * load() sees all that the other thread has written before its store().
 */
template <typename T>
T load(const T &variable)
{
    return __atomic_load_n(&variable, __ATOMIC_ACQUIRE);
}

template <typename T, typename Value>
void store(T &variable, Value value)
{
    __atomic_store_n(&variable, T(value), __ATOMIC_RELEASE);
}

/**
 * Reads a variable without waiting for other writes of the thread that has set it. Behind a pointer
 * that is read like this, read only fields that are themselves read with peek(). On the
 * board load() also calls a barrier routine; peek() does not.
 */
template <typename T>
T peek(const T &variable)
{
    return __atomic_load_n(&variable, __ATOMIC_RELAXED);
}

} // namespace qvcommon

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_ATOMICS_H
#define QVCOMMON_ATOMICS_H

namespace qvcommon
{

/**
 * Access to plain variables that one thread sets while others read them without a lock. Their
 * declared types are part of the interface, so they cannot be atomic types themselves.
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
 * Reads a variable for its value alone: whoever sees a pointer this way may peek at atomic fields
 * behind it, and no more. A plain load everywhere; load() calls the kernel on the board.
 */
template <typename T>
T peek(const T &variable)
{
    return __atomic_load_n(&variable, __ATOMIC_RELAXED);
}

} // namespace qvcommon

#endif

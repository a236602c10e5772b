// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TRACELEVELS_H
#define QVCOMMON_TRACELEVELS_H

namespace qvcommon
{

/** The groups under which the library logs. */
enum TraceGroup {
    TracingGroup = 1, ///< the tracing machinery itself
    DeviceGroup = 8   ///< devices and daemons
};

enum TraceLevel {
    DebugLevel = 1,
    InfoLevel = 2,
    WarningLevel = 3,
    ErrorLevel = 4,
    CriticalLevel = 5
};

} // namespace qvcommon

#endif

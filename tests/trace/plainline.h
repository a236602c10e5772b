// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PLAINLINE_H
#define TESTS_PLAINLINE_H

#include "trace/traceline.h"

/** A line as it is laid down: one chain of QString::arg() calls for each form. */
QString plainLine(const qvcommon::TraceFields &fields);

#endif

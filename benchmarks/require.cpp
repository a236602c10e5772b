// SPDX-License-Identifier: LGPL-2.1-or-later
#include "require.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

void endWith(const char *error)
{
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, error);
    std::exit(1);
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_SHOW_H
#define KIVCTL_SHOW_H

#include "kivctl/invocation.h"
#include "kivctl/output.h"

#include <string>

namespace kivctl
{

/**
 * Shows data of the daemon.
 * @param path what it has been asked for
 */
void showData(const std::string &data, const std::string &path, Style style, Output &output);

} // namespace kivctl

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/operations.h"
#include "kivctl/paths.h"
#include "kivctl/texts.h"

namespace kivctl
{

Status set(const Invocation &invocation, Context &context)
{
    const std::string &path = invocation.arguments[0];
    const std::string name = lastStepName(path);
    if (name.empty())
        throw Failure(Usage, "'" + path + "' names no element");
    const std::string data =
        '<' + name + '>' + escaped(invocation.arguments[1]) + "</" + name + '>';
    askToEdit(editOperation("patch", path, data), invocation, context);
    return Done;
}

Status edit(const Invocation &invocation, Context &context)
{
    const std::string data = contentOf(invocation.arguments[1]);
    askToEdit(editOperation(invocation.command, invocation.arguments[0], data), invocation,
              context);
    return Done;
}

Status remove(const Invocation &invocation, Context &context)
{
    askToEdit(deleteOperation(invocation.arguments[0]), invocation, context);
    return Done;
}

} // namespace kivctl

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_REQUESTERROR_H
#define KIVSIM_REQUESTERROR_H

#include <stdexcept>
#include <string>

namespace kivsim
{

/** A request that is refused; becomes the error reply. */
class RequestError : public std::runtime_error
{
public:
    RequestError(const char *type, const std::string &message)
        : std::runtime_error(message)
        , errorType(type)
    {
    }
    const char *type() const { return errorType; }

private:
    const char *errorType;
};

/** A message that cannot be understood. */
inline RequestError protocolError(const std::string &message)
{
    return RequestError("protocol", message);
}

/** A request that is understood but cannot be carried out. */
inline RequestError applicationError(const std::string &message)
{
    return RequestError("application", message);
}

} // namespace kivsim

#endif

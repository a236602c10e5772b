// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_CLIENT_H
#define KIVSIM_CLIENT_H

#include <string>

namespace kivsim
{

struct Misbehaviour;

/** A connected client. Requests are answered through it, without knowing of sockets. */
class Client
{
public:
    virtual ~Client() {}

    /** Sends a frame, in the manner asked for. */
    virtual void send(const std::string &frame) = 0;
    /** Sends a frame as it stands, whatever manner was asked for. */
    virtual void sendPlainly(const std::string &frame) = 0;
    virtual void setMisbehaviour(const Misbehaviour &misbehaviour) = 0;

    /** @return whether the client's edits are validated */
    bool validates() const { return validating; }
    void setValidates(bool validates) { validating = validates; }

private:
    bool validating = true;
};

} // namespace kivsim

#endif

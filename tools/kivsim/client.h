// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_CLIENT_H
#define KIVSIM_CLIENT_H

#include <string>

namespace kivsim
{

struct Misbehaviour;

/** One connected client, as those see it who answer it. */
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
    bool validates() const { return m_validates; }
    void setValidates(bool validates) { m_validates = validates; }

private:
    bool m_validates = true;
};

} // namespace kivsim

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectedclient.h"

#include "kivdredirect.h"

ConnectedClient::ConnectedClient(const QString &path)
    : kiv(nullptr)
    , counter(&kiv)
{
    redirectKivd(path);
    kiv.connectToLocalKivSocketSlot();
}

// SPDX-License-Identifier: LGPL-2.1-or-later

// A body, the whole input, is handled by the client and by the plain formulation. So is it by one
// of the handlers that work on the caller's reader, which the body itself chooses.
//
// Covers: src/kiv/dispatch.cpp src/kiv/replies.cpp src/kiv/notifications.cpp src/kiv/markup.cpp
// Covers: src/kiv/children.cpp src/kiv/tokenreader.cpp src/kiv/entities.cpp src/kiv/signalemitter.cpp

#include "differential.h"
#include "fuzzing.h"
#include "kiv/entities.h"
#include "random.h"

#include <QtCore/QHash>

void fuzz(const QByteArray &bytes)
{
    static Differential differential;
    const QString body = textOf(bytes);
    qvcommon::hasGrowingEntities(body); // used on Qt 4 only
    requireNone(differential.body(body, false));
    requireNone(differential.body(body, true));
    Random random(qHash(bytes, 0));
    requireNone(differential.handler(body, Delivery(random.below(deliveryCount)),
                                     random.below(1000), random.below(12)));
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "hour.h"

#include "connectedclient.h"
#include "feeder.h"
#include "samplelines.h"
#include "trace.h"
#include "waiting.h"

namespace
{

const int kB = 1000;

} // namespace

Traffic::Traffic(Feeder &feeder, ConnectedClient &client)
    : feeder(feeder)
    , client(client)
    , change(notification(kB))
    , reply(getReply(16 * kB))
    , largeReply(getReply(250 * kB))
{
}

bool Traffic::runMinute()
{
    const SampleTexts texts;
    for (int second = 0; second < 60; ++second) {
        for (int line = 0; line < 2; ++line)
            Trace::log(8, 2, texts.className, texts.functionName, texts.message);
        if (!deliver(change) || !lookUp() || (second % 10 == 0 && !get(reply)))
            return false;
    }
    return get(largeReply);
}

bool Traffic::restartDaemon()
{
    feeder.hangUp();
    QLocalSocket *const socket = client.socket();
    if (!waitFor([socket] { return socket->state() == QLocalSocket::UnconnectedState; }))
        return false;
    client.kiv.connectToLocalKivSocketSlot();
    feeder.accept();
    return true;
}

bool Traffic::get(const Document &answer)
{
    if (!KivInterface::requestDataGet(QLatin1String("r1"), QLatin1String("/state/sensors")))
        return false;
    feeder.discard();
    return deliver(answer);
}

bool Traffic::deliver(const Document &document)
{
    SignalCounter &counter = client.counter;
    counter.expected = QString::fromLatin1(document.data);
    const int before = counter.count;
    return feeder.feed(document.body + frameEnd, [&] { return counter.count != before; });
}

bool Traffic::lookUp()
{
    QString value;
    const QString xml = QLatin1String("<a>") + client.counter.expected + QLatin1String("</a>");
    return KivInterface::xpathGetTextNode(value, QLatin1String("sensor[name='t2']/reading"),
                                          QString(), xml) &&
           value == QLatin1String("0.2");
}

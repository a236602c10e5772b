// SPDX-License-Identifier: LGPL-2.1-or-later

// What the daemon's messages cost from the socket to the signals, and the way there and back. Both
// ends live in one thread and are timed together.

#include "barepeers.h"
#include "connectedclient.h"
#include "documenttexts.h"
#include "feeder.h"
#include "registry.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>

namespace
{

const int kB = 1000;

void report(benchmark::State &state, const QByteArray &bytes)
{
    state.counters["bytes"] = double(bytes.size());
}

/** How a message arrives. */
enum Arrival {
    AsItComes,
    InSmallReads, ///< of 4 kB each
    InOneRead     ///< after the socket has taken in all of it
};

void socketToClient(benchmark::State &state, const Document &document, Arrival arrival)
{
    const int smallRead = 4096;
    const QByteArray frame = document.body + frameEnd;
    Feeder feeder;
    ConnectedClient client(feeder.path());
    feeder.accept();
    SignalCounter &counter = client.counter;
    counter.expected = QString::fromLatin1(document.data);
    QLocalSocket *const socket = client.socket();
    if (arrival == InSmallReads)
        socket->setReadBufferSize(smallRead);
    socket->blockSignals(arrival == InOneRead);

    fetchMemory(document.body);
    while (state.KeepRunning()) {
        const int before = counter.count;
        bool arrived;
        if (arrival == InOneRead) {
            arrived = feeder.feed(frame, [&] { return socket->bytesAvailable() == frame.size(); });
            client.kiv.dataFromKivLocalUnixSlot();
        } else {
            arrived = feeder.feed(frame, [&] { return counter.count != before; });
        }
        if (!require(state, arrived && counter.count == before + 1, "the signal is missing"))
            break;
    }
    report(state, frame);
}

void socketToReader(benchmark::State &state, const Document &document)
{
    const QByteArray frame = document.body + frameEnd;
    const int expected = countTokens(document.body);
    Feeder feeder;
    BareSocket socket(feeder.path());
    feeder.accept();
    fetchMemory(document.body);
    while (state.KeepRunning()) {
        const bool arrived = feeder.feed(frame, [&] { return socket.isComplete(); });
        QByteArray message = socket.takeMessage();
        message.chop(int(sizeof frameEnd) - 1);
        if (!require(state, arrived && countTokens(message) == expected, "the message is broken"))
            break;
    }
    report(state, frame);
}

const char getRequest[] = "<request><ref>r1</ref><rpc><get><path>/config/system/location</path>"
                          "</get></rpc></request>\r\n\f\n";
const char getAnswer[] = "<reply><ref>r1</ref><out><get><path>/config/system/location</path>"
                         "<data><location>Pump house 3, valve room</location></data>"
                         "<crc32>1b2c3d4e</crc32></get></out></reply>\r\n\f\n";

void roundTripByClient(benchmark::State &state)
{
    Responder daemon;
    ConnectedClient client(daemon.path());
    SignalCounter &counter = client.counter;
    counter.expected = QLatin1String("<location>Pump house 3, valve room</location>");
    waitFor([&] { return !daemon.lastMessage().isEmpty(); }); // the client's greeting
    daemon.setAnswer(getAnswer);
    const QString ref = QLatin1String("r1");
    const QString path = QLatin1String("/config/system/location");
    while (state.KeepRunning()) {
        const int before = counter.count;
        KivInterface::requestDataGet(ref, path);
        while (counter.count == before)
            QCoreApplication::processEvents();
    }
    require(state, counter.count == int(state.iterations()), "signals are missing");
    require(state, daemon.lastMessage() == getRequest, "this is not the request");
}

void roundTripBySocket(benchmark::State &state)
{
    Responder daemon;
    BareSocket socket(daemon.path());
    daemon.setAnswer(getAnswer);
    const QByteArray request = getRequest;
    int answers = 0;
    while (state.KeepRunning()) {
        socket.send(request);
        while (!socket.isComplete())
            QCoreApplication::processEvents();
        answers += socket.takeMessage() == getAnswer;
    }
    require(state, answers == int(state.iterations()), "answers are missing");
    require(state, daemon.lastMessage() == getRequest, "this is not the request");
}

} // namespace

void addSockets(TimedList &list)
{
    using std::placeholders::_1;
    for (int size : {kB, 16 * kB, 256 * kB, 1000 * kB, 16000 * kB}) {
        const Document document = getReply(size);
        const std::string suffix = "/" + std::to_string(size);
        list.push_back(
            {"socket/client" + suffix, std::bind(socketToClient, _1, document, AsItComes)});
        list.push_back({"socket/reader" + suffix, std::bind(socketToReader, _1, document)});
    }
    const Document large = getReply(16000 * kB);
    const std::string suffix = "/" + std::to_string(16000 * kB);
    list.push_back({"reads/small" + suffix, std::bind(socketToClient, _1, large, InSmallReads)});
    list.push_back({"reads/one" + suffix, std::bind(socketToClient, _1, large, InOneRead)});
    list.push_back({"roundtrip/client", roundTripByClient});
    list.push_back({"roundtrip/socket", roundTripBySocket});
}

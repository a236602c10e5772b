// SPDX-License-Identifier: LGPL-2.1-or-later

// What the XML of the daemon costs: from a body to the signals, and look-ups in what they bring.

#include "documenttexts.h"
#include "kivinterface.h"
#include "registry.h"
#include "signalcounter.h"

#include <QtCore/QXmlStreamReader>

namespace
{

const int kB = 1000;

void report(benchmark::State &state, const QByteArray &bytes)
{
    state.counters["bytes"] = double(bytes.size());
}

void bodyByClient(benchmark::State &state, const Document &document)
{
    KivInterface kiv(nullptr);
    SignalCounter counter(&kiv);
    counter.expected = QString::fromLatin1(document.data);
    const QString body = QString::fromLatin1(document.body);
    fetchMemory(document.body);
    while (state.KeepRunning()) {
        QString own = body;
        kiv.handleKivMsgBody(own);
    }
    require(state, counter.count == int(state.iterations()), "signals are missing");
    report(state, document.body);
}

void bodyByReader(benchmark::State &state, const Document &document)
{
    const int expected = countTokens(document.body);
    bool complete = expected > 0;
    fetchMemory(document.body);
    while (state.KeepRunning())
        complete &= countTokens(document.body) == expected;
    require(state, complete, "the document was not read to its end");
    report(state, document.body);
}

struct LookUp {
    QByteArray xml;
    QString path;
    QString value;
};

/** How far a reader has to go to what a look-up finds. */
struct Reach {
    int tokens;
    double bytes;
};

Reach reachOf(const LookUp &lookUp)
{
    QXmlStreamReader reader(lookUp.xml);
    const QString name = lookUp.path.section(QLatin1Char('/'), -1);
    for (int tokens = 1; !reader.atEnd(); ++tokens) {
        if (reader.readNext() != QXmlStreamReader::StartElement || reader.name() != name)
            continue;
        reader.readNext(); // the text in the element
        return {tokens + 1, double(reader.characterOffset())};
    }
    return {0, 0};
}

void report(benchmark::State &state, const LookUp &lookUp, int found)
{
    require(state, found == int(state.iterations()), "the value was not found");
    state.counters["bytes"] = reachOf(lookUp).bytes;
}

void lookUpByClient(benchmark::State &state, const LookUp &lookUp)
{
    const QString xml = QString::fromLatin1(lookUp.xml);
    int found = 0;
    while (state.KeepRunning()) {
        QString value;
        KivInterface::xpathGetTextNode(value, lookUp.path, QString(), xml);
        found += value == lookUp.value;
    }
    report(state, lookUp, found);
}

void lookUpByReader(benchmark::State &state, const LookUp &lookUp)
{
    const int tokens = reachOf(lookUp).tokens;
    int found = 0;
    while (state.KeepRunning()) {
        QXmlStreamReader reader(lookUp.xml);
        for (int i = 0; i < tokens; ++i)
            reader.readNext();
        found += reader.text() == lookUp.value;
    }
    report(state, lookUp, found);
}

void addBodies(TimedList &list, const std::string &row, Document (*make)(int))
{
    using std::placeholders::_1;
    for (int size : {kB, 16 * kB, 128 * kB, 1000 * kB, 4000 * kB}) {
        const Document document = make(size);
        const std::string suffix = "/" + std::to_string(size);
        list.push_back({row + "/client" + suffix, std::bind(bodyByClient, _1, document)});
        list.push_back({row + "/reader" + suffix, std::bind(bodyByReader, _1, document)});
    }
}

void addLookUp(TimedList &list, const std::string &row, const LookUp &lookUp)
{
    using std::placeholders::_1;
    const std::string suffix = "/" + std::to_string(lookUp.xml.size());
    list.push_back({row + "/client" + suffix, std::bind(lookUpByClient, _1, lookUp)});
    list.push_back({row + "/reader" + suffix, std::bind(lookUpByReader, _1, lookUp)});
}

} // namespace

void addDocuments(TimedList &list)
{
    addBodies(list, "get", getReply);
    addBodies(list, "notify", notification);

    for (int size : {15, 1 * kB, 20 * kB, 200 * kB})
        addLookUp(list, "lookup", {lookUpText(size), QLatin1String("a/b"), QLatin1String("7")});
    addLookUp(list, "lookupfront",
              {lookUpText(200 * kB), QLatin1String("a/sensor/name"), QLatin1String("t1")});
}

// SPDX-License-Identifier: LGPL-2.1-or-later

// What the XML of the daemon costs: from a body to the signals, and look-ups in what they bring.

#include "documenttexts.h"
#include "kivinterface.h"
#include "pugipeer.h"
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

void bodyByPugixml(benchmark::State &state, const Document &document)
{
    const QString body = QString::fromLatin1(document.body);
    const QString expected = QString::fromLatin1(document.data);
    bool complete = dataByPugixml(body) == expected;
    fetchMemory(document.body);
    while (state.KeepRunning())
        complete &= dataByPugixml(body).size() == expected.size();
    require(state, complete, "the data is not what it should be");
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

template <typename Text>
void lookUpByPugi(benchmark::State &state, const LookUp &lookUp, const Text &xml)
{
    int found = 0;
    while (state.KeepRunning())
        found += lookUpByPugixml(xml) == lookUp.value;
    report(state, lookUp, found);
}

void addBodies(TimedList &list, const std::string &row, Document (*make)(int))
{
    using std::placeholders::_1;
    for (int size : {300, kB, 16 * kB, 128 * kB, 1000 * kB, 4000 * kB}) {
        const Document document = make(size);
        const std::string suffix = "/" + std::to_string(size);
        list.push_back({row + "/client" + suffix, std::bind(bodyByClient, _1, document)});
        list.push_back({row + "/reader" + suffix, std::bind(bodyByReader, _1, document)});
        if (make == getReply)
            list.push_back({row + "/pugixml" + suffix, std::bind(bodyByPugixml, _1, document)});
    }
}

void addLookUp(TimedList &list, const std::string &row, const LookUp &lookUp)
{
    using std::placeholders::_1;
    const std::string suffix = "/" + std::to_string(lookUp.xml.size());
    list.push_back({row + "/client" + suffix, std::bind(lookUpByClient, _1, lookUp)});
    list.push_back({row + "/reader" + suffix, std::bind(lookUpByReader, _1, lookUp)});
}

/** The look-ups that pugixml is asked to make as well. */
void addLookUpWithPeers(TimedList &list, const LookUp &lookUp)
{
    using std::placeholders::_1;
    const std::string suffix = "/" + std::to_string(lookUp.xml.size());
    const QString text = QString::fromLatin1(lookUp.xml);
    addLookUp(list, "lookup", lookUp);
    list.push_back(
        {"lookup/pugixml" + suffix, std::bind(lookUpByPugi<QByteArray>, _1, lookUp, lookUp.xml)});
    list.push_back(
        {"lookup/pugitext" + suffix, std::bind(lookUpByPugi<QString>, _1, lookUp, text)});
}

} // namespace

void addDocuments(TimedList &list)
{
    addBodies(list, "get", getReply);
    addBodies(list, "notify", notification);

    const QString path = QLatin1String("a/b");
    const QString value = QLatin1String("7");
    for (int size : {1 * kB, 20 * kB, 200 * kB})
        addLookUpWithPeers(list, {lookUpText(size), path, value});
    addLookUp(list, "lookupshort", {lookUpText(15), path, value});
    addLookUp(list, "lookupfront",
              {lookUpText(200 * kB), QLatin1String("a/sensor/name"), QLatin1String("t1")});
}

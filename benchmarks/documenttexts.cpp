// SPDX-License-Identifier: LGPL-2.1-or-later
#include "documenttexts.h"

#include <QtCore/QXmlStreamReader>

const char frameEnd[] = "\r\n\f\n";

namespace
{

/** Entries of a list, about as many bytes as asked for. */
QByteArray entries(int size)
{
    QByteArray result;
    result.reserve(size + 200);
    for (int number = 1; result.size() < size; ++number) {
        result += "<sensor><name>t" + QByteArray::number(number) +
                  "</name><place>Pump house, north wall</place><reading>" +
                  QByteArray::number(number % 1000 / 10.0, 'f', 1) +
                  "</reading><unit>C</unit><state>ok</state></sensor>";
    }
    return result;
}

Document document(const QByteArray &before, int size, const QByteArray &behind)
{
    Document result;
    const int frame = int(before.size() + behind.size());
    result.data = entries(size - frame - 60); // as far off as the last entry may be
    result.body = before + result.data + behind;
    return result;
}

} // namespace

Document getReply(int size)
{
    return document("<reply><ref>r1</ref><out><get><path>/state/sensors</path><data>", size,
                    "</data><crc32>1b2c3d4e</crc32></get></out></reply>");
}

Document notification(int size)
{
    return document("<notify><ref>s1</ref><event><change><op>patch</op><spath>/state</spath>"
                    "<rpath>/state/sensors</rpath><data>",
                    size, "</data><crc32>1b2c3d4e</crc32></change></event></notify>");
}

QByteArray lookUpText(int size)
{
    const QByteArray shortest = "<a><b>7</b></a>";
    if (size <= shortest.size())
        return shortest;
    return "<a>" + entries(size - 60) + "<b>7</b></a>";
}

int countTokens(const QByteArray &xml)
{
    QXmlStreamReader reader(xml);
    int count = 0;
    while (!reader.atEnd()) {
        reader.readNext();
        ++count;
    }
    return reader.hasError() ? -1 : count;
}

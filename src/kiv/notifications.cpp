// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "debugline.h"
#include "kivlog.h"
#include "xmltext.h"

using namespace qvcommon;

namespace
{

/** Tells on Qt's debug output why a change could not be read to its end. */
void reportOpenChange(const QXmlStreamReader &xml, const char *reason, const char *label = nullptr)
{
    DebugLine line;
    line << "handleNotifyEventChange" << reason;
    if (label)
        line << label;
    line << xml.name().toString();
}

} // namespace

bool KivInterface::handleNotify(QXmlStreamReader &xml)
{
    QString ref;
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            const XmlText name = xml.name();
            if (is(name, "ref"))
                readFollowingText(xml, ref);
            else if (is(name, "event") && isSimpleText(ref) && !handleNotifyEvent(xml, ref))
                return false;
        } else if (token == QXmlStreamReader::EndElement && isNamed(xml, "notify")) {
            return true;
        }
    }
    return false;
}

bool KivInterface::handleNotifyEvent(QXmlStreamReader &xml, QString &ref)
{
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::EndDocument)
            debugXmlNode(xml);
        else if (isCutOff(xml))
            logEndOfDocument();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement && isNamed(xml, "change")) {
            if (!handleNotifyEventChange(xml, ref))
                return false;
        } else if (token == QXmlStreamReader::EndElement && isNamed(xml, "event")) {
            return true;
        }
    }
    return false;
}

bool KivInterface::handleNotifyEventChange(QXmlStreamReader &xml, QString &ref)
{
    QString op;
    QString spath;
    QString rpath;
    QString data;
    for (;;) {
        if (isFinished(xml)) {
            if (xml.atEnd())
                reportOpenChange(xml, "xml.atEnd", "xml.name");
            if (xml.hasError())
                reportOpenChange(xml, "xml.hasError", "xml.name");
            return false;
        }
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isCutOff(xml))
            continue;
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            const XmlText name = xml.name();
            if (is(name, "op"))
                readFollowingText(xml, op);
            else if (is(name, "spath"))
                readFollowingText(xml, spath);
            else if (is(name, "rpath"))
                readFollowingText(xml, rpath);
            else if (is(name, "crc32"))
                readFollowingText(xml, crc32);
            else if (is(name, "data") && !handleNotifyEventChangeData(xml, data))
                return false;
        } else if (token == QXmlStreamReader::EndElement) {
            const XmlText name = xml.name();
            if (is(name, "change")) {
                if (!isSimpleText(op) || !isSimpleText(rpath) || !isSimpleText(spath))
                    return false;
                Q_EMIT kivNotifySignal(ref, op, rpath, spath, data);
                return true;
            }
            if (is(name, "event") || is(name, "notify")) {
                reportOpenChange(xml, "Incomplete notify kiv message : xml.name");
                return false;
            }
        }
    }
}

bool KivInterface::handleNotifyEventChangeData(QXmlStreamReader &xml, QString &data)
{
    return appendData(data, xml);
}

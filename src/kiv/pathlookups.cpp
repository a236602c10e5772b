// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "kiv/tokenreader.h"
#include "qtcompat/text.h"

using namespace qvcommon;

namespace
{

/** A step like item[key='value']. */
struct ListStep {
    QString name;
    QString key;
    QString value;
};

/** Takes a list step apart; if it is none, the parts from the missing one on stay as they were. */
bool parse(const QString &step, ListStep &list)
{
    if (!step.contains(QLatin1Char('[')) && !step.contains(QLatin1Char(']')))
        return false;
    QString marked = step;
    marked.replace(QLatin1Char('['), QLatin1Char(']'));
    const QStringList parts = splitNonEmpty(marked, QLatin1Char(']'));
    if (parts.size() < 2)
        return false;
    list.name = parts.at(0);
    const QStringList condition = splitNonEmpty(parts.at(1), QLatin1Char('='));
    if (condition.size() < 2)
        return false;
    list.key = condition.at(0);
    const QStringList values = splitNonEmpty(condition.at(1), QLatin1Char('\''));
    if (values.isEmpty())
        return false;
    list.value = values.at(0);
    return true;
}

/** Reads up to the next start tag of that name; false at the end or at an error. */
bool readToStart(const QString &name, TokenReader &xml)
{
    if (isFinished(xml))
        return false;
    for (;;) {
        const TokenReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement && xml.name() == name)
            return true;
        if (isOver(token))
            return false;
    }
}

/** Reads up to the end tag of the matching key; false at the end or at an error. */
bool readToEntry(const ListStep &list, TokenReader &xml)
{
    if (isFinished(xml))
        return false;
    bool matched = false;
    for (;;) {
        TokenReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            const XmlText name = xml.name();
            if (name == list.name)
                continue;
            if (name == list.key) {
                token = xml.readNext();
                if (token == QXmlStreamReader::Characters && xml.text() == list.value)
                    matched = true;
            } else if (name == list.value) {
                return true; // an element named like the value ends the search as well
            }
        } else if (token == QXmlStreamReader::EndElement && matched && xml.name() == list.key) {
            return true;
        }
        if (isOver(token))
            return false;
    }
}

/** Reads the text of the next element but @a index of that name. */
bool readText(QString &result, const QString &name, TokenReader &xml, int index)
{
    while (readToStart(name, xml)) {
        if (index == 0) {
            result.clear();
            readFollowingText(xml, result);
            return true;
        }
        if (index > 0) // a negative one never comes to 0
            --index;
    }
    return false;
}

bool follow(QString &result, QStringList &steps, TokenReader &xml, int index)
{
    ListStep list;
    for (; !steps.isEmpty(); steps.removeFirst()) {
        const QString &step = steps.at(0);
        if (steps.size() == 1) {
            if (step != list.key)
                return readText(result, step, xml, index);
            result = list.value; // the entry was chosen by it, and the key is behind
            return true;
        }
        if (!(parse(step, list) ? readToEntry(list, xml) : readToStart(step, xml)))
            return false;
    }
    return false;
}

bool lookUp(QString &result, const QString &path, const QString &prefix, const QString &xml,
            int index)
{
    QString relative = path;
    if (!prefix.isEmpty()) {
        if (!path.startsWith(prefix))
            return false;
        relative.remove(prefix);
    }
    QStringList steps = splitNonEmpty(relative.isEmpty() ? path : relative, QLatin1Char('/'));
    while (relative.isEmpty() && steps.size() > 1)
        steps.removeFirst();
    TokenReader reader(xml);
    return follow(result, steps, reader, index);
}

} // namespace

bool KivInterface::xpathGetTextNode(QString &result, const QString &path, const QString &prefix,
                                    const QString &xml)
{
    return lookUp(result, path, prefix, xml, 0);
}

bool KivInterface::xpathGetTextNode(QString &result, const QString &path, const QString &rootPath,
                                    const QString &subPath, const QString &xml)
{
    return lookUp(result, path, rootPath + subPath, xml, 0);
}

bool KivInterface::xpathGetTextNode(QString &result, const QString &path, const QString &rootPath,
                                    const QString &subPath, const QString &xml, int index)
{
    return lookUp(result, path, rootPath + subPath, xml, index);
}

bool KivInterface::xpathFindTextNode(QString &result, QStringList &steps, QXmlStreamReader &reader,
                                     int index)
{
    TokenReader xml(reader);
    return follow(result, steps, xml, index);
}

bool KivInterface::xpathValidateListNode(const QString &step, QString &listName, QString &keyName,
                                         QString &keyValue)
{
    ListStep list;
    const bool valid = parse(step, list);
    if (!list.name.isEmpty())
        listName = list.name;
    if (!list.key.isEmpty())
        keyName = list.key;
    if (!list.value.isEmpty())
        keyValue = list.value;
    return valid;
}

bool KivInterface::xpathCrawlToXmlNode(QString name, QXmlStreamReader &reader)
{
    TokenReader xml(reader);
    return readToStart(name, xml);
}

bool KivInterface::xpathCrawlToXmlList(QString &listName, QString &keyName, QString &keyValue,
                                       QXmlStreamReader &reader)
{
    const ListStep list = {listName, keyName, keyValue};
    TokenReader xml(reader);
    return readToEntry(list, xml);
}

bool KivInterface::xpathReturnXmlNode(QString &result, QString &name, QXmlStreamReader &reader,
                                      int index)
{
    TokenReader xml(reader);
    return readText(result, name, xml, index);
}

bool KivInterface::xpathGetKey(const QString &text, const QString &key, QString &value)
{
    const QStringList pieces = text.split(QLatin1Char('\''));
    bool found = false;
    for (const QString &piece : pieces) {
        if (found) {
            value = piece;
            return true;
        }
        found = piece.contains(key);
    }
    return false;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "xmltext.h"

using namespace qvcommon;

namespace
{

bool isOneOf(QChar character, const char *set)
{
    for (; *set; ++set) {
        if (character == QLatin1Char(*set))
            return true;
    }
    return false;
}

/**
 * The next piece of a text, from @a at on, that is not empty; pieces end at the characters of
 * @a separators. Empty if there is none.
 */
QString nextPiece(const QString &text, Size &at, const char *separators)
{
    while (at < text.size() && isOneOf(text.at(at), separators))
        ++at;
    const Size begin = at;
    while (at < text.size() && !isOneOf(text.at(at), separators))
        ++at;
    return text.mid(begin, at - begin);
}

/** The steps of a path behind its prefix; if nothing is left, the last step of the whole path. */
QStringList stepsBehind(const QString &path, const QString &prefix)
{
    const QChar slash = QLatin1Char('/');
    QString relative = path;
    if (!prefix.isEmpty())
        relative.remove(prefix);
    if (!relative.isEmpty())
        return splitNonEmpty(relative, slash);
    const QStringList all = splitNonEmpty(path, slash);
    return all.isEmpty() ? all : QStringList(all.last());
}

bool lookUp(QString &result, const QString &path, const QString &prefix, const QString &xml,
            int index)
{
    if (!prefix.isEmpty() && !path.startsWith(prefix))
        return false;
    QStringList steps = stepsBehind(path, prefix);
    if (steps.isEmpty())
        return false;
    QXmlStreamReader reader;
    reader.addData(xml);
    return KivInterface::xpathFindTextNode(result, steps, reader, index);
}

/** Reads on to the next start of an element of any name; false at the end or at an error. */
bool readToStart(QXmlStreamReader &reader)
{
    while (!isFinished(reader)) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement)
            return true;
    }
    return false;
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
    QString listName;
    QString keyName;
    QString keyValue;
    while (!steps.isEmpty()) {
        QString step = steps.at(0);
        if (steps.size() == 1) {
            if (step != keyName)
                return xpathReturnXmlNode(result, step, reader, index);
            result = keyValue; // the entry was chosen by it, and its key is already behind
            return true;
        }
        const bool reached = xpathValidateListNode(step, listName, keyName, keyValue)
                                 ? xpathCrawlToXmlList(listName, keyName, keyValue, reader)
                                 : xpathCrawlToXmlNode(step, reader);
        if (!reached)
            return false;
        steps.removeFirst();
    }
    return false;
}

bool KivInterface::xpathValidateListNode(const QString &step, QString &listName, QString &keyName,
                                         QString &keyValue)
{
    Size at = 0;
    const QString list = nextPiece(step, at, "[]");
    const QString key = nextPiece(step, at, "[]");
    if (key.isEmpty())
        return false;
    listName = list;

    at = 0;
    const QString name = nextPiece(key, at, "=");
    const QString quoted = nextPiece(key, at, "=");
    if (quoted.isEmpty())
        return false;
    keyName = name;

    at = 0;
    const QString value = nextPiece(quoted, at, "'");
    if (value.isEmpty())
        return false;
    keyValue = value;
    return true;
}

bool KivInterface::xpathCrawlToXmlNode(QString name, QXmlStreamReader &reader)
{
    while (readToStart(reader)) {
        if (reader.name() == name)
            return true;
    }
    return false;
}

bool KivInterface::xpathCrawlToXmlList(QString &listName, QString &keyName, QString &keyValue,
                                       QXmlStreamReader &reader)
{
    bool matched = false;
    while (!isFinished(reader)) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            if (reader.name() == listName)
                continue;
            if (reader.name() == keyName) {
                if (reader.readNext() == QXmlStreamReader::Characters && reader.text() == keyValue)
                    matched = true;
            } else if (reader.name() == keyValue) {
                return true; // an element named like the value ends the search as well
            }
        } else if (token == QXmlStreamReader::EndElement && matched && reader.name() == keyName) {
            return true;
        }
    }
    return false;
}

bool KivInterface::xpathReturnXmlNode(QString &result, QString &name, QXmlStreamReader &reader,
                                      int index)
{
    while (readToStart(reader)) {
        if (reader.name() != name)
            continue;
        if (index == 0) {
            result.clear();
            readFollowingText(reader, result);
            return true;
        }
        if (index > 0) // a negative one never comes to 0
            --index;
    }
    return false;
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

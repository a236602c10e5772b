// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plainlookups.h"

#include <QtCore/QXmlStreamReader>

namespace
{

bool ended(const QXmlStreamReader &reader)
{
    return reader.atEnd() || reader.hasError();
}

QString nameOf(const QXmlStreamReader &reader)
{
    return reader.name().toString();
}

/** QString::split() without the empty parts, at any of the separators. */
QStringList parts(const QString &text, const char *separators)
{
    QString unified = text;
    for (const char *other = separators + 1; *other; ++other)
        unified.replace(QLatin1Char(*other), QLatin1Char(*separators));
    QStringList pieces = unified.split(QLatin1Char(*separators));
    pieces.removeAll(QString());
    return pieces;
}

QStringList stepsOf(const QString &path, const QString &relative)
{
    if (!relative.isEmpty())
        return parts(relative, "/");
    const QStringList all = parts(path, "/");
    return all.isEmpty() ? all : QStringList(all.last());
}

} // namespace

bool PlainLookUps::getTextNode(QString &result, const QString &path, const QString &prefix,
                               const QString &xml)
{
    QXmlStreamReader reader;
    reader.addData(xml);
    QString relative = path;
    if (!prefix.isEmpty()) {
        if (!path.startsWith(prefix))
            return false;
        relative.remove(prefix);
    }
    QStringList steps = stepsOf(path, relative);
    return findTextNode(result, steps, reader, 0);
}

bool PlainLookUps::getTextNode(QString &result, const QString &path, const QString &rootPath,
                               const QString &subPath, const QString &xml, int index)
{
    const QString prefix = rootPath + subPath;
    if (!path.startsWith(prefix))
        return false;
    QString relative = path;
    if (!prefix.isEmpty()) // removing nothing is not the same on each version of Qt
        relative.remove(prefix);
    QXmlStreamReader reader;
    reader.addData(xml);
    QStringList steps = stepsOf(path, relative);
    return findTextNode(result, steps, reader, index);
}

bool PlainLookUps::findTextNode(QString &result, QStringList &steps, QXmlStreamReader &reader,
                                int index)
{
    QString listName;
    QString keyName;
    QString keyValue;
    for (;;) {
        if (steps.isEmpty())
            return false;
        const QString step = steps.first();
        if (steps.size() == 1) {
            if (step == keyName) {
                result = keyValue;
                return true;
            }
            return returnXmlNode(result, step, reader, index);
        }
        bool advanced;
        if (validateListNode(step, listName, keyName, keyValue))
            advanced = crawlToXmlList(listName, keyName, keyValue, reader);
        else
            advanced = crawlToXmlNode(step, reader);
        if (!advanced)
            return false;
        steps.removeFirst();
    }
}

bool PlainLookUps::validateListNode(const QString &step, QString &listName, QString &keyName,
                                    QString &keyValue)
{
    const QStringList stepParts = parts(step, "[]");
    if (stepParts.size() < 2)
        return false;
    listName = stepParts.at(0);
    const QStringList keyParts = parts(stepParts.at(1), "=");
    if (keyParts.size() < 2)
        return false;
    keyName = keyParts.at(0);
    const QStringList valueParts = parts(keyParts.at(1), "'");
    if (valueParts.isEmpty())
        return false;
    keyValue = valueParts.at(0);
    return true;
}

bool PlainLookUps::crawlToXmlNode(const QString &name, QXmlStreamReader &reader)
{
    while (!ended(reader)) {
        reader.readNext();
        if (reader.isEndDocument())
            return false;
        if (reader.isStartElement() && nameOf(reader) == name)
            return true;
    }
    return false;
}

bool PlainLookUps::crawlToXmlList(const QString &listName, const QString &keyName,
                                  const QString &keyValue, QXmlStreamReader &reader)
{
    bool matched = false;
    while (!ended(reader)) {
        reader.readNext();
        if (reader.isEndDocument())
            return false;
        if (reader.isStartElement()) {
            const QString name = nameOf(reader);
            if (name == listName)
                continue;
            if (name == keyName) {
                reader.readNext();
                if (reader.isCharacters() && reader.text().toString() == keyValue)
                    matched = true;
            } else if (name == keyValue) {
                return true;
            }
        } else if (reader.isEndElement() && matched && nameOf(reader) == keyName) {
            return true;
        }
    }
    return false;
}

bool PlainLookUps::returnXmlNode(QString &result, const QString &name, QXmlStreamReader &reader,
                                 int index)
{
    while (!ended(reader)) {
        reader.readNext();
        if (reader.isEndDocument())
            return false;
        if (!reader.isStartElement() || nameOf(reader) != name)
            continue;
        if (index == 0) {
            reader.readNext();
            if (reader.isCharacters())
                result = reader.text().toString();
            else
                result.clear();
            return true;
        }
        index = index > 0 ? index - 1 : index; // a negative one never comes to 0
    }
    return false;
}

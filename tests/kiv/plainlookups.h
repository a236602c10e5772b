// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PLAINLOOKUPS_H
#define TESTS_PLAINLOOKUPS_H

#include <QtCore/QString>
#include <QtCore/QStringList>

class QXmlStreamReader;

/** The path look-ups written down step by step over a bare reader; each as the client's own. */
namespace PlainLookUps
{

bool getTextNode(QString &result, const QString &path, const QString &prefix, const QString &xml);
bool getTextNode(QString &result, const QString &path, const QString &rootPath,
                 const QString &subPath, const QString &xml, int index);
bool findTextNode(QString &result, QStringList &steps, QXmlStreamReader &reader, int index);
bool validateListNode(const QString &step, QString &listName, QString &keyName, QString &keyValue);
bool crawlToXmlNode(const QString &name, QXmlStreamReader &reader);
bool crawlToXmlList(const QString &listName, const QString &keyName, const QString &keyValue,
                    QXmlStreamReader &reader);
bool returnXmlNode(QString &result, const QString &name, QXmlStreamReader &reader, int index);

} // namespace PlainLookUps

#endif

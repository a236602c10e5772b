// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "textreader.h"
#include "xmltext.h"

#include <algorithm>

using namespace qvcommon;

namespace
{

/** A part of a text that lives elsewhere: look-ups in short texts are to cost no allocations. */
struct Piece {
    const QChar *begin;
    Size size;

    bool isEmpty() const { return size == 0; }
    QString toString() const { return QString(begin, size); }
};

const Piece noPiece = {nullptr, 0};

Piece whole(const QString &text)
{
    const Piece piece = {text.constData(), text.size()};
    return piece;
}

bool operator==(Piece a, Piece b)
{
    return a.size == b.size && std::equal(a.begin, a.begin + a.size, b.begin);
}

bool operator==(const XmlText &text, Piece piece)
{
    return text.size() == piece.size &&
           std::equal(piece.begin, piece.begin + piece.size, text.data());
}

bool isOneOf(QChar character, const char *set)
{
    for (; *set; ++set) {
        if (character == QLatin1Char(*set))
            return true;
    }
    return false;
}

/**
 * Cuts the first piece that is not empty off the front of a text; pieces end at the characters of
 * @a separators. Empty if there is none.
 */
Piece takePiece(Piece &text, const char *separators)
{
    const QChar *const end = text.begin + text.size;
    const QChar *begin = text.begin;
    while (begin != end && isOneOf(*begin, separators))
        ++begin;
    const QChar *behind = begin;
    while (behind != end && !isOneOf(*behind, separators))
        ++behind;
    const Piece piece = {begin, Size(behind - begin)};
    text.begin = behind;
    text.size = Size(end - behind);
    return piece;
}

/** The steps of a path. */
class PathSteps
{
public:
    explicit PathSteps(const QString &path)
        : rest(whole(path))
        , step(takePiece(rest, "/"))
        , next(takePiece(rest, "/"))
    {
    }

    bool isEmpty() const { return step.isEmpty(); }
    bool isLast() const { return next.isEmpty(); }
    Piece first() const { return step; }
    void removeFirst()
    {
        step = next;
        next = takePiece(rest, "/");
    }

private:
    Piece rest;
    Piece step;
    Piece next;
};

/** The steps in a list, which is emptied as they are done. */
class ListedSteps
{
public:
    explicit ListedSteps(QStringList &steps)
        : steps(steps)
        , all(steps)
    {
    }

    bool isEmpty() const { return steps.isEmpty(); }
    bool isLast() const { return steps.size() == 1; }
    Piece first() const { return whole(all.at(all.size() - steps.size())); }
    void removeFirst() { steps.removeFirst(); }

private:
    QStringList &steps;
    const QStringList all; // keeps the text of removed steps
};

/** A step like item[key='value']. */
struct ListStep {
    Piece name;
    Piece key;
    Piece value;
};

/** Takes a list step apart; if it is none, the parts from the missing one on stay as they were. */
bool parse(Piece step, ListStep &list)
{
    const Piece name = takePiece(step, "[]");
    Piece condition = takePiece(step, "[]");
    if (condition.isEmpty())
        return false;
    list.name = name;

    const Piece key = takePiece(condition, "=");
    Piece quoted = takePiece(condition, "=");
    if (quoted.isEmpty())
        return false;
    list.key = key;

    const Piece value = takePiece(quoted, "'");
    if (value.isEmpty())
        return false;
    list.value = value;
    return true;
}

/** Reads up to the next start tag of that name; false at the end or at an error. */
bool readToStart(Piece name, QXmlStreamReader &reader)
{
    while (!isFinished(reader)) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement && reader.name() == name)
            return true;
    }
    return false;
}

/** Reads up to the end tag of the matching key; false at the end or at an error. */
bool readToEntry(const ListStep &list, QXmlStreamReader &reader)
{
    bool matched = false;
    while (!isFinished(reader)) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            if (reader.name() == list.name)
                continue;
            if (reader.name() == list.key) {
                if (reader.readNext() == QXmlStreamReader::Characters &&
                    reader.text() == list.value)
                    matched = true;
            } else if (reader.name() == list.value) {
                return true; // an element named like the value ends the search as well
            }
        } else if (token == QXmlStreamReader::EndElement && matched && reader.name() == list.key) {
            return true;
        }
    }
    return false;
}

/** Reads the text of the next element but @a index of that name. */
bool readText(QString &result, Piece name, QXmlStreamReader &reader, int index)
{
    while (readToStart(name, reader)) {
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

template <typename Steps>
bool follow(QString &result, Steps &steps, QXmlStreamReader &reader, int index)
{
    ListStep list = {noPiece, noPiece, noPiece};
    for (; !steps.isEmpty(); steps.removeFirst()) {
        const Piece step = steps.first();
        if (steps.isLast()) {
            if (!(step == list.key))
                return readText(result, step, reader, index);
            result = list.value.toString(); // the entry was chosen by it, and the key is behind
            return true;
        }
        if (!(parse(step, list) ? readToEntry(list, reader) : readToStart(step, reader)))
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
    PathSteps steps(relative.isEmpty() ? path : relative);
    while (relative.isEmpty() && !steps.isLast())
        steps.removeFirst();
    if (steps.isEmpty())
        return false;
    TextReader reader(xml);
    return follow(result, steps, reader.xml(), index);
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
    ListedSteps listed(steps);
    return follow(result, listed, reader, index);
}

bool KivInterface::xpathValidateListNode(const QString &step, QString &listName, QString &keyName,
                                         QString &keyValue)
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): an output may be the step itself
    const QString held = step;
    ListStep list = {noPiece, noPiece, noPiece};
    const bool valid = parse(whole(held), list);
    if (!list.name.isEmpty())
        listName = list.name.toString();
    if (!list.key.isEmpty())
        keyName = list.key.toString();
    if (!list.value.isEmpty())
        keyValue = list.value.toString();
    return valid;
}

bool KivInterface::xpathCrawlToXmlNode(QString name, QXmlStreamReader &reader)
{
    return readToStart(whole(name), reader);
}

bool KivInterface::xpathCrawlToXmlList(QString &listName, QString &keyName, QString &keyValue,
                                       QXmlStreamReader &reader)
{
    const ListStep list = {whole(listName), whole(keyName), whole(keyValue)};
    return readToEntry(list, reader);
}

bool KivInterface::xpathReturnXmlNode(QString &result, QString &name, QXmlStreamReader &reader,
                                      int index)
{
    return readText(result, whole(name), reader, index);
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

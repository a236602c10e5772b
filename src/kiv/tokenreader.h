// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TOKENREADER_H
#define QVCOMMON_TOKENREADER_H

#include "qtcompat/size.h"

#include <QtCore/QString>
#include <QtCore/QXmlStreamReader>

#include <algorithm>
#include <memory>

namespace qvcommon
{

/** A piece of the text that a reader reads; it is gone at the next token. */
class XmlText
{
public:
    XmlText() = default; ///< of no value
    XmlText(const QChar *begin, const QChar *end)
        : first(begin)
        , behind(end)
    {
    }

    const QChar *begin() const { return first; }
    const QChar *end() const { return behind; }
    Size size() const { return Size(behind - first); }
    QString toString() const { return QString(first, size()); }

private:
    const QChar *first;
    const QChar *behind;
};

bool is(const XmlText &text, const char *expected);

inline bool operator==(const XmlText &text, const QString &other)
{
    return text.size() == other.size() && std::equal(text.begin(), text.end(), other.constData());
}

/**
 * Reads XML token by token, with the names and the answers of QXmlStreamReader.
 *
 * It reads plain texts itself, in place: elements without attributes, 64 deep at most, their texts,
 * predefined entities and character references. Whatever is not plain, and every error, is left to a
 * QXmlStreamReader. That one gets the whole text and first passes over the tokens that were handed
 * out already, so each token here must be one that Qt's reader hands out too. Qt's reader hands out a
 * tag only when it has seen the character behind it. So a tag is plain only if one follows; behind
 * the root's end none is needed.
 */
class TokenReader
{
public:
    typedef QXmlStreamReader::TokenType TokenType;

    explicit TokenReader(const QString &xml);

    /** Reads on with a caller's reader, which is left where the reading ends. */
    explicit TokenReader(QXmlStreamReader &xml);

    TokenType readNext();

    TokenType tokenType() const { return qtReader ? qtReader->tokenType() : type; }
    /** Qt's name for the current token; empty while this class reads itself. */
    QString tokenString() const { return qtReader ? qtReader->tokenString() : QString(); }
    bool atEnd() const { return qtReader ? qtReader->atEnd() : type == Qxml::EndDocument; }
    bool hasError() const { return qtReader && qtReader->hasError(); }
    QXmlStreamReader::Error error() const
    {
        return qtReader ? qtReader->error() : QXmlStreamReader::NoError;
    }

    /** The name of a start or end tag, without its prefix. */
    XmlText name() const { return qtReader ? nameFromQt() : tagName; }
    /** A text, with its references replaced and its line ends as XML has them. */
    XmlText text()
    {
        if (qtReader)
            return textFromQt();
        if (needsResolving)
            resolveCharacters();
        return characters;
    }

    /** How many characters have not been read yet, or more if that is not known. */
    Size charactersLeft() const;

private:
    Q_DISABLE_COPY(TokenReader)

    typedef QXmlStreamReader Qxml;

    /** Where the next token is. */
    enum Place {
        InElement,
        InEmptyElement, ///< behind its start tag, which is its end tag as well
        BeforeRoot,
        AtRoot, ///< its start tag has been scanned, but not handed out
        BehindRoot,
        WithQt ///< the other reader has it
    };

    enum { DeepestPlain = 64 };

    XmlText nameFromQt() const;
    XmlText textFromQt() const;
    TokenType handOut(TokenType token);
    TokenType readElsewhere();
    TokenType readFirst();
    TokenType readLast();
    TokenType readStartTag();
    TokenType readEndTag();
    TokenType readText();
    TokenType readOnText();
    TokenType readWithQt();
    bool scanStartTag();
    bool scanEndTag();
    static uint resolveReference(const QChar *&at);
    void resolveCharacters();

    const QString source;
    const QChar *next; ///< behind what has been scanned
    const QChar *end;
    TokenType type;
    Place place;
    int depth;           ///< how many elements are open
    int handedOut;       ///< how many tokens
    bool needsResolving; ///< the text is not in the source as it stands
    XmlText tagName;
    XmlText characters;
    QString resolved;           ///< what holds the text once it has been resolved
    XmlText open[DeepestPlain]; ///< the names of the elements that are not closed yet

    std::unique_ptr<QXmlStreamReader> own;
    QXmlStreamReader *qtReader; ///< which reads in place of this one, or null
};

/** Whether there is nothing more to read. */
inline bool isFinished(const TokenReader &xml)
{
    return xml.atEnd() || xml.hasError();
}

/** Whether a body is over for whoever has just read @a token. */
inline bool isOver(TokenReader::TokenType token)
{
    return token == QXmlStreamReader::Invalid || token == QXmlStreamReader::EndDocument;
}

/** Whether a body ends before its elements are closed, but is in order as far as it goes. */
inline bool isCutOff(const TokenReader &xml)
{
    return xml.error() == QXmlStreamReader::PrematureEndOfDocumentError;
}

/** Reads one more token; if it is text it becomes @a value, otherwise @a value stays. */
void readFollowingText(TokenReader &xml, QString &value);

} // namespace qvcommon

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_XMLGRAMMAR_H
#define TESTS_XMLGRAMMAR_H

#include "random.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Grows texts of everything that XML has, and of what it has not, around the words of the daemon's
 * messages. Some are plain, some well-formed, some wrong in many places.
 */
class XmlGrammar
{
public:
    explicit XmlGrammar(Random &random);

    /** All pieces that texts are grown of, and characters at the edges of what is allowed. */
    static QStringList pieces();

    /** A reply, a notification, or something like them. */
    QString body();
    /** A text to look values up in. */
    QString data();
    /** A path that has to do with what is in a text. */
    QString pathInto(const QString &xml);
    /** Changes a text in some places. @param other what to splice it with */
    QString mutated(const QString &text, const QString &other);

private:
    /** How far a text may go. */
    enum Manners { Plain, WellFormed, Wild };

    bool chance(int percent);
    QString name();
    QString character();
    QString text();
    QString blanks();
    QString attributes();
    QString misc();
    QString element(const QString &name, int depth);
    QString children(const QString &name, int depth);
    QString around(const QString &root);
    QString nested(const QString &content);
    QString snippet();
    void mutate(QString &text, const QString &other);

    Random &random;
    Manners manners;
    bool hasEntities; ///< whether the text declares some, and refers to them
};

#endif

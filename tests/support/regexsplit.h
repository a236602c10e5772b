// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_REGEXSPLIT_H
#define TESTS_REGEXSPLIT_H

#include <QtCore/QString>
#include <QtCore/QStringList>

/** The pieces of a text between the matches of a regular expression, without empty ones. */
QStringList splitByRegex(const QString &text, const char *pattern);

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_PUGIPEER_H
#define BENCHMARKS_PUGIPEER_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** The data of a get reply, taken out of the text with pugixml: through UTF-8 there and back. */
QString dataByPugixml(const QString &body);

/** What a look-up of "a/b" finds with pugixml in bytes, which is the form that it takes. */
QString lookUpByPugixml(const QByteArray &xml);

/** The same in a text, which becomes bytes first. */
QString lookUpByPugixml(const QString &xml);

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_WIREMESSAGES_H
#define TESTS_WIREMESSAGES_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** @name Whole frames, as they go over the wire; nothing is escaped
 *  @{ */
QByteArray request(const QByteArray &ref, const QByteArray &operation);
QByteArray getRequest(const QByteArray &ref, const QByteArray &path);
QByteArray editRequest(const QByteArray &ref, const QByteArray &op, const QByteArray &path,
                       const QByteArray &data);
/** @param kind what stands in the element that names the kind of subscription */
QByteArray subscribeRequest(const QByteArray &ref, const QByteArray &kind);
QByteArray validateOffRequest(const QByteArray &ref, const QByteArray &value);
QByteArray misbehaveRequest(const QByteArray &ref, const QByteArray &order);

QByteArray getAnswer(const QByteArray &ref, const QByteArray &path, const QByteArray &content);
QByteArray editAnswer(const QByteArray &ref);
QByteArray sessionInfoAnswer(const QByteArray &ref);
QByteArray errorAnswer(const QByteArray &ref, const QByteArray &type, const QByteArray &message);
QByteArray notification(const QByteArray &ref, const QByteArray &op, const QByteArray &spath,
                        const QByteArray &rpath, const QByteArray &content);
/** @} */

/** A text that shows each byte, for comparing and reading. */
QString readable(const QByteArray &bytes);

#endif

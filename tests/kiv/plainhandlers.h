// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PLAINHANDLERS_H
#define TESTS_PLAINHANDLERS_H

#include <QtCore/QString>
#include <QtCore/QStringList>

class QXmlStreamReader;

/**
 * The handling of a body written down element by element, with nothing shared and nothing clever;
 * it leaves a record like that of KivFixture instead of emitting and logging.
 */
class PlainHandlers
{
public:
    explicit PlainHandlers(bool debug)
        : debug(debug)
    {
    }

    void handleBody(const QString &body);

    QStringList record;
    QString crc32;

private:
    bool reply(QXmlStreamReader &xml);
    bool replyOut(QXmlStreamReader &xml, const QString &ref);
    bool okInside(QXmlStreamReader &xml, const QString &ref, const char *name);
    bool error(QXmlStreamReader &xml, const QString &ref);
    bool get(QXmlStreamReader &xml, const QString &ref);
    bool getData(QXmlStreamReader &xml, const QString &ref);
    bool notify(QXmlStreamReader &xml);
    bool event(QXmlStreamReader &xml, const QString &ref);
    bool change(QXmlStreamReader &xml, const QString &ref);
    bool changeData(QXmlStreamReader &xml, QString &data);
    void report(const QString &body);
    void signal(const char *name, const QStringList &arguments);

    bool debug;
};

/** What is said of a body with the debug output on, from what is said of it without. */
QStringList underDebug(const QString &body, const QStringList &record);

#endif

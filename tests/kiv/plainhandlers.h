// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PLAINHANDLERS_H
#define TESTS_PLAINHANDLERS_H

#include <QtCore/QString>
#include <QtCore/QStringList>

class QXmlStreamReader;

/**
 * The handling of a body written down element by element over a bare reader, with nothing shared
 * and nothing clever. What the client would emit and log goes to the three functions below.
 */
class PlainHandlers
{
public:
    /** @param debug whether the optional diagnostic output is on */
    explicit PlainHandlers(bool debug)
        : debug(debug)
    {
    }
    virtual ~PlainHandlers() = default;

    void handleHeader(const QString &header);
    void handleBody(const QString &body);

    // As the client's own: the reader stands just behind the start tag of the element.
    bool reply(QXmlStreamReader &xml);
    bool replyOut(QXmlStreamReader &xml, const QString &ref);
    bool okInside(QXmlStreamReader &xml, const QString &ref, const char *name);
    bool error(QXmlStreamReader &xml, const QString &ref);
    bool get(QXmlStreamReader &xml, const QString &ref);
    bool getData(QXmlStreamReader &xml, const QString &ref);
    bool request();
    bool notify(QXmlStreamReader &xml);
    bool event(QXmlStreamReader &xml, const QString &ref);
    bool change(QXmlStreamReader &xml, const QString &ref);
    bool changeData(QXmlStreamReader &xml, QString &data);
    void debugNode(const QXmlStreamReader &xml);

    QString crc32;

protected:
    virtual void signal(const char *name, const QStringList &arguments) = 0;
    virtual void log(const char *function, const QString &message) = 0;
    virtual void debugOutput(const QString &line) = 0;

private:
    void report(const QString &body);
    void debugEnd(const QXmlStreamReader &xml);

    const bool debug;
};

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "qtcompat/time.h"

using namespace qvcommon;

namespace
{

const char messagesPath[] = "/state/sys_messages";

/** One QString::arg(): fills the lowest placeholder, which a value filled in before may hold. */
QString filled(const QString &format, const QString &value)
{
    return format.arg(value, 0, QLatin1Char(' '));
}

} // namespace

bool KivInterface::putSysMessage(const QString &ref, const QString &reporter, const QString &repRef,
                                 const QString &level, const QString &lineId, const QString &text,
                                 const QString &msgData)
{
    const uint now = secondsSinceEpoch(QDateTime::currentDateTime());
    const QString lineElement =
        lineId.isEmpty() ? QString() : filled(QLatin1String("<line_id>%1</line_id>"), lineId);

    // The number %3 is left out on purpose. Each value goes to the lowest number that is left, those
    // in the values before it included: after a reporter "%3" the level takes its place there.
    QString message = QLatin1String("<sys_messages><sys_message><reporter>%1</reporter>"
                                    "<rep_ref>%2</rep_ref>"
                                    "<src_path>/state/sys_messages</src_path>"
                                    "<level>%4</level>%5<timestamp>%6</timestamp>"
                                    "<text>%7</text><msgdata>%8</msgdata>"
                                    "</sys_message></sys_messages>");
    message = filled(message, reporter);
    message = filled(message, repRef);
    message = filled(message, level);
    message = filled(message, lineElement);
    message = message.arg(now, 0, 10, QLatin1Char(' '));
    message = filled(message, text);
    message = filled(message, msgData);
    return requestDataEdit(ref, QLatin1String(messagesPath), QLatin1String("patch"), message);
}

bool KivInterface::putSysMessage(const QString &ref, const QString &reporter, const QString &repRef,
                                 const QString &level, const QString &text, const QString &msgData)
{
    return putSysMessage(ref, reporter, repRef, level, QString(), text, msgData);
}

bool KivInterface::deleteSysMessage(const QString &ref, const QString &reporter,
                                    const QString &repRef)
{
    QString path = QLatin1String(messagesPath);
    path += QLatin1String("/sys_message[reporter='%1'][rep_ref='%2']");
    path = filled(filled(path, reporter), repRef);
    return requestDataEdit(ref, path, QLatin1String("delete"), QString());
}

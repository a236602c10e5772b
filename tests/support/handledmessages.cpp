// SPDX-License-Identifier: LGPL-2.1-or-later
#include "handledmessages.h"

namespace
{

QStringList seenCategories;
QStringList seenMessages;

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
QtMsgHandler previous;
void handle(QtMsgType, const char *text)
{
    seenCategories << QString();
    seenMessages << QString::fromLocal8Bit(text);
}
#else
QtMessageHandler previous;
void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    seenCategories << (context.category ? QLatin1String(context.category) : QString());
    seenMessages << qFormatLogMessage(type, context, text);
}
#    define qInstallMsgHandler qInstallMessageHandler
#endif

} // namespace

HandledMessages::HandledMessages()
{
    seenCategories.clear();
    seenMessages.clear();
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    qSetMessagePattern(QLatin1String("%{category}: %{message}"));
#endif
    previous = qInstallMsgHandler(handle);
}

HandledMessages::~HandledMessages()
{
    qInstallMsgHandler(previous);
}

bool HandledMessages::haveCategories()
{
    return QT_VERSION >= QT_VERSION_CHECK(5, 0, 0);
}

QStringList HandledMessages::categories()
{
    return seenCategories;
}

QStringList HandledMessages::formatted()
{
    return seenMessages;
}

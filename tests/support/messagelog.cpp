// SPDX-License-Identifier: LGPL-2.1-or-later
#include "messagelog.h"

#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>

#include <cstdio>
#include <cstdlib>

namespace
{

QMutex mutex;
QStringList recorded;
std::function<void(const QString &)> receiver;
const char debugPrefix[] = "debug: ";

void record(QtMsgType type, const QString &text)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
        std::abort();
    }
    const char *const prefix = type == QtDebugMsg     ? debugPrefix
                               : type == QtWarningMsg ? "warning: "
                                                      : "other: ";
    std::function<void(const QString &)> call;
    {
        QMutexLocker locker(&mutex);
        recorded.append(QLatin1String(prefix) + text);
        call = receiver;
    }
    if (call)
        call(text);
}

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
QString decoded(const QString &line)
{
    return QString::fromLocal8Bit(line.toLocal8Bit().constData());
}

QtMsgHandler previous;
void handler(QtMsgType type, const char *text)
{
    record(type, QString::fromLocal8Bit(text));
}
#else
QString decoded(const QString &line)
{
    return line;
}

QtMessageHandler previous;
void handler(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    record(type, text);
}
#    define qInstallMsgHandler qInstallMessageHandler
#endif

} // namespace

MessageLog::MessageLog()
{
    clear();
    forward(nullptr);
    previous = qInstallMsgHandler(handler);
}

MessageLog::~MessageLog()
{
    qInstallMsgHandler(previous);
}

QStringList MessageLog::lines() const
{
    QMutexLocker locker(&mutex);
    return recorded;
}

QStringList MessageLog::debugLines() const
{
    const QString prefix = QLatin1String(debugPrefix);
    QStringList result;
    for (const QString &line : lines()) {
        if (line.startsWith(prefix))
            result.append(line.mid(prefix.length()));
    }
    return result;
}

QString MessageLog::asHandled(const QString &line)
{
    const auto nul = line.indexOf(QChar(0));
    return QLatin1String(debugPrefix) + decoded(nul < 0 ? line : line.left(nul));
}

void MessageLog::clear()
{
    QMutexLocker locker(&mutex);
    recorded.clear();
}

void MessageLog::forward(const std::function<void(const QString &)> &newReceiver)
{
    QMutexLocker locker(&mutex);
    receiver = newReceiver;
}

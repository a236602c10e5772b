// SPDX-License-Identifier: LGPL-2.1-or-later
#include "wire.h"

#include "waiting.h"

#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

namespace
{

const char localRead[] = "debug: Rcv LocalUnix package size :  ";
const char domainRead[] = "debug: Rcv tcp pkg ";

} // namespace

Wire::Wire(bool local)
    : local(local)
    , daemon(local ? ScriptedDaemon::Local : ScriptedDaemon::Tcp)
{
    connected = fixture.connectTo(daemon);
    KivInterface::debugPrintEnable();
}

bool Wire::deliver(const QByteArray &piece)
{
    const QLatin1String marker(local ? localRead : domainRead);
    daemon.send(piece);
    return spinUntil([&]() {
        const QStringList news = fixture.take();
        said << news;
        for (const QString &line : news) {
            if (line.startsWith(marker))
                return true;
        }
        return false;
    });
}

QStringList Wire::expect(const QByteArray &piece)
{
    const int nul = int(piece.indexOf('\0'));
    const QString text = QString::fromLatin1(nul < 0 ? piece : piece.left(nul));
    const int before = int(plain.buffer.length());
    const QStringList frames = plain.read(text);
    QStringList expected;
    if (local) {
        expected
            << QString::fromLatin1("debug: Rcv LocalUnix package size :  %1 ").arg(plain.filtered);
    } else {
        expected << QString::fromLatin1("debug: Rcv tcp pkg %1 Prev incomplete tcp pkg %2 ")
                        .arg(text.length())
                        .arg(before);
        if (plain.filtered > 0)
            expected << QString::fromLatin1("debug: Prev + new pkg filtered %1 # frames %2 ")
                            .arg(plain.filtered)
                            .arg(frames.size() + (plain.unfinished ? 1 : 0));
    }
    if (plain.unfinished) {
        expected << QString::fromLatin1(
                        local ? "debug: Incomplete Rcv LocalUnix package - size :  %1 "
                              : "debug: Incomplete Rcv Doamin tcp package size :  %1 ")
                        .arg(plain.buffer.length());
        QString tail = latin1("debug: Last 20 bytes \"") + plain.buffer.right(30) + latin1("\" ");
        if (tail.contains(QChar(0))) // the debug output ends at a NUL
            tail.truncate(tail.indexOf(QChar(0)));
        expected << tail;
    }
    for (QString frame : frames) {
        fixture.kiv->handleFrame(frame);
        expected << fixture.take();
    }
    return expected;
}

void Wire::reconnect()
{
    daemon.cut();
    const bool disconnected = spinUntil([&]() {
        return (local ? int(socket<QLocalSocket>()->state())
                      : int(socket<QTcpSocket>()->state())) == 0;
    });
    connected = disconnected && fixture.connectTo(daemon);
    plain.buffer.clear();
}

QStringList Wire::takeSaid()
{
    QStringList taken;
    taken.swap(said);
    return taken;
}

QByteArray getReply(const QByteArray &ref, const QByteArray &data)
{
    return "<reply><ref>" + ref + "</ref><out><get><data>" + data +
           "</data></get></out></reply>\r\n\f\n";
}

QString got(const char *ref, const char *data)
{
    return QString::fromLatin1("signal: get(%1, %2)").arg(latin1(ref), latin1(data));
}

void transports()
{
    QTest::addColumn<bool>("local");
    QTest::newRow("local") << true;
    QTest::newRow("domain") << false;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "conversation.h"

#include "journal.h"
#include "waiting.h"

namespace
{

const int pause = 20;          // ms between two requests on one transport
const int lastAnswers = 10000; // ms

/** What is asked for, in turn. */
const char *const kinds[] = {"edit", "value", "value", "edit",    "table",
                             "edit", "value", "wrong", "message", "value"};
const int kindCount = int(sizeof kinds / sizeof *kinds);

QString valuePath(const char *letter)
{
    return QString::fromLatin1("/soak/%1/value").arg(QLatin1String(letter));
}

QString valueOf(const QString &data)
{
    QString value;
    KivInterface::xpathGetTextNode(value, QLatin1String("value"), QString(), data);
    return value;
}

} // namespace

Conversation::Conversation(Journal &journal, const QString &table, int port)
    : journal(journal)
    , table(table)
    , kiv(nullptr)
    , local(Transport{KivInterface::KIVTARGET_LOCAL, "l", false, 0, 0, 0})
    , domain(Transport{KivInterface::KIVTARGET_DOMAIN, "d", false, 0, 0, 0})
{
    connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), this, SLOT(localConnected()));
    connect(&kiv, SIGNAL(kivLocalUnixSocketDisConnectedSignal()), this, SLOT(localDisconnected()));
    connect(&kiv, SIGNAL(kivDomainTcpSocketConnectedSignal()), this, SLOT(domainConnected()));
    connect(&kiv, SIGNAL(kivDomainTcpSocketDisConnectedSignal()), this, SLOT(domainDisconnected()));
    connect(&kiv, SIGNAL(kivOkSignal(QString)), this, SLOT(takeOk(QString)));
    connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), this,
            SLOT(takeError(QString, QString, QString)));
    connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), this, SLOT(takeData(QString, QString)));
    connect(&kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)), this,
            SLOT(takeChange(QString, QString, QString, QString, QString)));
    connect(&timer, SIGNAL(timeout()), this, SLOT(ask()));
    KivInterface::updateDomainServerIpAddress(QLatin1String("127.0.0.1"), port);
    KivInterface::domainServerActivateTcpConnection(true);
    timer.start(pause);
}

void Conversation::finish()
{
    timer.stop();
    waitFor([this] { return local.unanswered == 0 && domain.unanswered == 0; }, lastAnswers);
    // Notifications come behind the answers that they follow from.
    settle();
}

void Conversation::ask()
{
    ask(local);
    ask(domain);
}

void Conversation::ask(Transport &transport)
{
    const int number = ++transport.requests;
    const QString kind = QLatin1String(kinds[number % kindCount]);
    const QString ref = QString::fromLatin1("%1-%2-%3")
                            .arg(QLatin1String(transport.letter))
                            .arg(transport.connections)
                            .arg(number);
    note(transport, kind, ref, number, send(transport, kind, ref, number));
}

bool Conversation::send(const Transport &transport, const QString &kind, const QString &ref,
                        int number)
{
    const KivInterface::KIVTARGET_ENUM target = transport.target;
    const QString value = valuePath(transport.letter);
    if (kind == QLatin1String("edit"))
        return KivInterface::requestDataEdit(ref, value, QLatin1String("patch"),
                                             QString::fromLatin1("<value>%1</value>").arg(number),
                                             target);
    if (kind == QLatin1String("value"))
        return KivInterface::requestDataGet(ref, value, target);
    if (kind == QLatin1String("table"))
        return KivInterface::requestDataGet(ref, QLatin1String("/soak/table"), target);
    if (kind == QLatin1String("message") && target == KivInterface::KIVTARGET_LOCAL)
        return KivInterface::putSysMessage(ref, QLatin1String("soak"), QLatin1String("1"),
                                           QLatin1String("info"), QLatin1String("still there"),
                                           QString());
    return KivInterface::requestDataGet(ref, QLatin1String("/soak/nothing"), target);
}

void Conversation::note(Transport &transport, const QString &kind, const QString &ref, int number,
                        bool sent)
{
    journal.add(sent ? "sent" : "refused", ref, kind, QString::number(number));
    if (sent)
        ++transport.unanswered;
}

void Conversation::connected(Transport &transport)
{
    transport.connected = true;
    transport.unanswered = 0;
    ++transport.connections;
    const int number = ++transport.requests;
    const QString ref = QString::fromLatin1("%1-%2-%3")
                            .arg(QLatin1String(transport.letter))
                            .arg(transport.connections)
                            .arg(number);
    journal.add("connected", QLatin1String(transport.letter),
                QString::number(transport.connections));
    note(transport, QLatin1String("subscribe"), ref, number,
         KivInterface::requestDataSubscribe(ref, QLatin1String("/soak"), QLatin1String("watch"),
                                            transport.target));
}

/** The signal also reports attempts to connect that have failed. */
void Conversation::disconnected(Transport &transport)
{
    if (transport.connected)
        journal.add("disconnected", QLatin1String(transport.letter),
                    QString::number(transport.connections));
    transport.connected = false;
    transport.unanswered = 0;
}

void Conversation::answered(const QString &ref, const char *kind, const QString &value)
{
    journal.add("answer", ref, QLatin1String(kind), value);
    Transport &transport = ref.startsWith(QLatin1String(local.letter)) ? local : domain;
    --transport.unanswered;
}

void Conversation::takeOk(const QString &ref)
{
    answered(ref, "ok", QString());
}

void Conversation::takeError(const QString &ref, const QString &type, const QString &message)
{
    Q_UNUSED(message)
    answered(ref, "error", type);
}

void Conversation::takeData(const QString &ref, const QString &data)
{
    const bool isTable = data.startsWith(QLatin1String("<table>"));
    if (isTable)
        answered(ref, data == table ? "table" : "damaged table", QString());
    else
        answered(ref, "value", valueOf(data));
}

void Conversation::takeChange(const QString &ref, const QString &op, const QString &rpath,
                              const QString &spath, const QString &data)
{
    Q_UNUSED(op)
    Q_UNUSED(spath)
    journal.add("change", ref, rpath, valueOf(data));
}

void Conversation::localConnected()
{
    connected(local);
}

void Conversation::localDisconnected()
{
    disconnected(local);
}

void Conversation::domainConnected()
{
    connected(domain);
}

void Conversation::domainDisconnected()
{
    disconnected(domain);
}

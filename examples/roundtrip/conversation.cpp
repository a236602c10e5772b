// SPDX-License-Identifier: LGPL-2.1-or-later
#include "conversation.h"

#include <cstdio>

static const char subscribedPath[] = "/config/system";
static const char valuePath[] = "/config/system/location";
static const char nonsensePath[] = "/config/no_such_thing";

Conversation::Conversation(KivInterface *kiv, KivInterface::KIVTARGET_ENUM target,
                           const QString &name)
    : QObject(kiv)
    , target(target)
    , name(name)
    , step(AwaitConnection)
    , changeAccepted(false)
    , changeReported(false)
{
    if (target == KivInterface::KIVTARGET_LOCAL) {
        connect(kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), SLOT(connected()));
        connect(kiv, SIGNAL(kivLocalUnixSocketDisConnectedSignal()), SLOT(disconnected()));
    } else {
        connect(kiv, SIGNAL(kivDomainTcpSocketConnectedSignal()), SLOT(connected()));
        connect(kiv, SIGNAL(kivDomainTcpSocketDisConnectedSignal()), SLOT(disconnected()));
    }
    connect(kiv, SIGNAL(kivOkSignal(QString)), SLOT(accepted(QString)));
    connect(kiv, SIGNAL(kivErrorSignal(QString, QString, QString)),
            SLOT(refused(QString, QString, QString)));
    connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(answered(QString, QString)));
    connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
            SLOT(changed(QString, QString, QString, QString, QString)));
}

void Conversation::say(const QString &text) const
{
    std::printf("%-6s  %s\n", qPrintable(name), qPrintable(text));
    std::fflush(stdout);
}

void Conversation::fail(const QString &text)
{
    say("UNEXPECTED: " + text);
    Q_EMIT failed();
}

QString Conversation::reference() const
{
    return name + "-" + QString::number(step);
}

void Conversation::begin(Step next)
{
    step = next;
    const QString ref = reference();
    bool sent = true;
    switch (step) {
    case Subscribe:
        say(QString("-> subscribe to %1 (%2)").arg(subscribedPath, ref));
        sent = KivInterface::requestDataSubscribe(ref, subscribedPath, "subscription", target);
        break;
    case Read:
    case ReadAgain:
        say(QString("-> get %1 (%2)").arg(valuePath, ref));
        sent = KivInterface::requestDataGet(ref, valuePath, target);
        break;
    case Change:
        say(QString("-> edit %1 (%2)").arg(valuePath, ref));
        sent = KivInterface::requestDataEdit(ref, valuePath, "patch",
                                             "<location>Pump house, set by " + name + "</location>",
                                             target);
        break;
    case AskForNonsense:
        say(QString("-> get %1 (%2)").arg(nonsensePath, ref));
        sent = KivInterface::requestDataGet(ref, nonsensePath, target);
        break;
    case AwaitRestart:
        say("everything is said; waiting for the daemon to be restarted");
        Q_EMIT readyForRestart();
        break;
    case Done:
        say("done");
        Q_EMIT done();
        break;
    default:
        break;
    }
    if (!sent)
        fail("the request could not be sent");
}

void Conversation::connected()
{
    say("** connected");
    if (step == AwaitConnection)
        begin(Subscribe);
    else if (step == AwaitReconnection)
        begin(ReadAgain);
    else
        fail("a connection in the middle of the conversation");
}

void Conversation::disconnected()
{
    say("** not connected; the library goes on trying");
    if (step == AwaitRestart)
        step = AwaitReconnection;
    else if (step != AwaitConnection && step != AwaitReconnection && step != Done)
        fail("the connection was lost");
}

void Conversation::accepted(const QString &ref)
{
    if (ref != reference())
        return;
    say(QString("<- ok (%1)").arg(ref));
    if (step == Subscribe) {
        begin(Read);
    } else if (step == Change) {
        changeAccepted = true;
        if (changeReported)
            begin(AskForNonsense);
    }
}

void Conversation::refused(const QString &ref, const QString &type, const QString &message)
{
    if (ref != reference())
        return;
    say(QString("<- error (%1): %2: %3").arg(ref, type, message));
    if (step == AskForNonsense)
        begin(AwaitRestart);
    else
        fail("the request was refused");
}

void Conversation::answered(const QString &ref, const QString &data)
{
    if (ref != reference())
        return;
    say(QString("<- data (%1): %2").arg(ref, data));
    if (step == Read)
        begin(Change);
    else if (step == ReadAgain)
        begin(Done);
    else
        fail("nothing like that exists");
}

void Conversation::changed(const QString &ref, const QString &op, const QString &rpath,
                           const QString &spath, const QString &data)
{
    if (!ref.startsWith(name + "-"))
        return;
    say(QString("<- notification (%1): %2 %3, subscribed as %4: %5")
            .arg(ref, op, rpath, spath, data));
    if (step != Change || !data.contains("set by " + name))
        return;
    changeReported = true;
    if (changeAccepted)
        begin(AskForNonsense);
}

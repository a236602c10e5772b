// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef EXAMPLES_CONVERSATION_H
#define EXAMPLES_CONVERSATION_H

#include "kivinterface.h"

#include <QtCore/QObject>
#include <QtCore/QString>

/**
 * What an application does with one daemon, step by step: subscribe, read a value, change it, see
 * the change reported, ask for something that does not exist, survive a restart of the daemon and
 * read the value again.
 */
class Conversation : public QObject
{
    Q_OBJECT
public:
    Conversation(KivInterface *kiv, KivInterface::KIVTARGET_ENUM target, const QString &name);

    bool awaitsRestart() const { return step == AwaitRestart; }
    bool isDone() const { return step == Done; }

Q_SIGNALS:
    /** Everything is said; the daemon may be restarted now. */
    void readyForRestart();
    void done();
    /** Something else was answered than this program expects of the daemon. */
    void failed();

private Q_SLOTS:
    void connected();
    void disconnected();
    void accepted(const QString &ref);
    void refused(const QString &ref, const QString &type, const QString &message);
    void answered(const QString &ref, const QString &data);
    void changed(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                 const QString &data);

private:
    enum Step {
        AwaitConnection,
        Subscribe,
        Read,
        Change,
        AskForNonsense,
        AwaitRestart,
        AwaitReconnection,
        ReadAgain,
        Done
    };

    void say(const QString &text) const;
    void fail(const QString &text);
    /** Turns to a step and sends its request. */
    void begin(Step next);
    /** The reference of this conversation's present request. */
    QString reference() const;

    KivInterface::KIVTARGET_ENUM target;
    QString name;
    Step step;
    bool changeAccepted;
    bool changeReported;
};

#endif

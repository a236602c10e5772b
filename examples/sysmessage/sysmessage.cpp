// SPDX-License-Identifier: LGPL-2.1-or-later

// Posts a message to the list that the local daemon keeps for people, or withdraws it. Reporter and
// reference together are its name.
//
//     sysmessage put pump overheat error 'Pump 1 is > 80 degrees, 100 % load'
//     sysmessage del pump overheat
//
// Exit status: 0 done, 1 the daemon has refused, 2 wrong usage, 4 no answer in time.

#include "kivinterface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

// [safe]
/**
 * A text for putSysMessage(), which neither escapes markup nor protects "%1" and the like: texts are
 * filled in one after the other.
 */
static QString safe(QString text)
{
    return text.replace("&", "&amp;").replace("<", "&lt;").replace("%", "&#37;");
}
// [safe]

class SysMessage : public QObject
{
    Q_OBJECT
public:
    explicit SysMessage(const QStringList &words)
        : words(words)
    {
    }

public Q_SLOTS:
    void send()
    {
        if (words.first() == "put")
            KivInterface::putSysMessage("r1", safe(words.at(1)), safe(words.at(2)),
                                        safe(words.at(3)), safe(words.at(4)), QString());
        else
            KivInterface::deleteSysMessage("r1", safe(words.at(1)), safe(words.at(2)));
    }

    void succeed() { QCoreApplication::exit(0); }

    void fail(const QString &, const QString &type, const QString &message)
    {
        std::fprintf(stderr, "sysmessage: %s: %s\n", qPrintable(type), qPrintable(message));
        QCoreApplication::exit(1);
    }

    void giveUp()
    {
        std::fprintf(stderr, "sysmessage: no answer within 10 seconds\n");
        QCoreApplication::exit(4);
    }

private:
    QStringList words;
};

/** With an apostrophe in its name a message could be posted, but never be withdrawn. */
static bool isRight(const QStringList &words)
{
    const bool isPut = words.size() == 5 && words.first() == "put";
    const bool isDelete = words.size() == 3 && words.first() == "del";
    return (isPut || isDelete) && !words.at(1).contains('\'') && !words.at(2).contains('\'');
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList words = application.arguments().mid(1);
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || !isRight(words)) {
        std::fputs("usage: sysmessage put REPORTER REF LEVEL TEXT\n"
                   "       sysmessage del REPORTER REF\n"
                   "REPORTER and REF are without apostrophes.\n",
                   help ? stdout : stderr);
        return help ? 0 : 2;
    }
    KivInterface kiv(nullptr);
    SysMessage message(words);
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &message, SLOT(send()));
    QObject::connect(&kiv, SIGNAL(kivOkSignal(QString)), &message, SLOT(succeed()));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &message,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(10000, &message, SLOT(giveUp()));
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    return application.exec();
}

#include "sysmessage.moc"

// SPDX-License-Identifier: LGPL-2.1-or-later

// Sets one value of the local daemon to any text. The library sends data as it is, so what could be
// taken for markup is escaped here.
//
//     setvalue /config/system/location 'Pumps <3> & valves'
//     setvalue "/config/interfaces/interface[name='eth0']/description" "Up & running"
//
// Exit status: 0 it is set, 1 the daemon has refused, 2 wrong usage, 4 no answer in
// time.

#include "kivinterface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

// [escape]
/** A text as it has to stand in XML. Beyond ASCII it does not depend on the encoding either. */
static QString escaped(const QString &text)
{
    QString result;
    const auto characters = text.toUcs4();
    for (const auto character : characters) {
        if (character == 0) // XML has no such character, and Qt 4.8 appends some
            continue;
        if (character < 0x80 && !std::strchr("<>&", int(character)))
            result += QChar(uint(character));
        else
            result += QString("&#%1;").arg(uint(character));
    }
    return result;
}
// [escape]

/** The name of the element that a path leads to: its last step, without keys. */
static QString elementName(const QString &path)
{
    QString steps = path;
    while (steps.endsWith(']')) // a value in a key may have slashes
        steps.truncate(steps.lastIndexOf('['));
    return steps.mid(steps.lastIndexOf('/') + 1);
}

class SetValue : public QObject
{
    Q_OBJECT
public:
    SetValue(const QString &path, const QString &text)
        : path(path)
        , text(text)
    {
    }

public Q_SLOTS:
    void send()
    {
        const QString name = elementName(path);
        const QString data = "<" + name + ">" + escaped(text) + "</" + name + ">";
        KivInterface::requestDataEdit("r1", path, "patch", data);
    }

    void succeed() { QCoreApplication::exit(0); }

    void fail(const QString &, const QString &type, const QString &message)
    {
        std::fprintf(stderr, "setvalue: %s: %s\n", qPrintable(type), qPrintable(message));
        QCoreApplication::exit(1);
    }

    void giveUp()
    {
        std::fprintf(stderr, "setvalue: no answer within 10 seconds\n");
        QCoreApplication::exit(4);
    }

private:
    QString path;
    QString text;
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 3) {
        std::fputs("usage: setvalue PATH TEXT\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    QCoreApplication application(argc, argv);
    KivInterface kiv(nullptr);
    SetValue setValue(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &setValue, SLOT(send()));
    QObject::connect(&kiv, SIGNAL(kivOkSignal(QString)), &setValue, SLOT(succeed()));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &setValue,
                     SLOT(fail(QString, QString, QString)));
    QTimer::singleShot(10000, &setValue, SLOT(giveUp()));
    QTimer::singleShot(0, &kiv, SLOT(connectToLocalKivSocketSlot()));
    return application.exec();
}

#include "setvalue.moc"

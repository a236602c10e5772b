// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks the local daemon for its network interfaces and prints the values of one of them.
//
//     pickvalues eth0
//
// Exit status: 0 done, 1 the daemon has refused, 2 wrong usage.

#include "kivinterface.h"
#include "trace.h"

#include <QtCore/QCoreApplication>

#include <cstdio>
#include <cstring>

// [values]
// The value at a path below /config/interfaces in the data of a reply, or "-".
static QString valueAt(const QString &path, const QString &data)
{
    QString value;
    return KivInterface::xpathGetTextNode(value, path, "/config/", data) ? value : QString("-");
}

// The names of all interfaces: the index counts the elements of the last step.
static QStringList interfaceNames(const QString &data)
{
    QStringList names;
    QString name;
    while (KivInterface::xpathGetTextNode(name, "/config/interfaces/interface/name", "/config", "/",
                                          data, int(names.size())))
        names << name;
    return names;
}
// [values]

class Printer : public QObject
{
    Q_OBJECT
public:
    explicit Printer(const QString &name)
        : name(name)
    {
    }

public Q_SLOTS:
    void ask() { KivInterface::requestDataGet("interfaces", "/config/interfaces"); }

    void show(const QString &ref, const QString &data)
    {
        if (ref != "interfaces")
            return;
        std::printf("interfaces: %s\n", qPrintable(interfaceNames(data).join(" ")));
        const QString entry = QString("/config/interfaces/interface[name='%1']").arg(name);
        const char *const leaves[] = {"name", "enabled", "mtu", "address/ip"};
        for (const char *leaf : leaves)
            std::printf("%s: %s\n", leaf, qPrintable(valueAt(entry + "/" + leaf, data)));

        QString key;
        if (KivInterface::xpathGetKey(entry, "name", key))
            std::printf("asked for: %s\n", qPrintable(key));
        QCoreApplication::quit();
    }

    void fail(const QString &, const QString &type, const QString &message)
    {
        std::fprintf(stderr, "%s: %s\n", qPrintable(type), qPrintable(message));
        QCoreApplication::exit(1);
    }

private:
    QString name;
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 2) {
        std::fputs("usage: pickvalues NAME\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    Trace trace(nullptr);
    KivInterface kiv(nullptr);
    Printer printer(QString::fromLocal8Bit(argv[1]));
    QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), &printer, SLOT(ask()));
    QObject::connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), &printer,
                     SLOT(show(QString, QString)));
    QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), &printer,
                     SLOT(fail(QString, QString, QString)));
    return application.exec();
}

#include "pickvalues.moc"

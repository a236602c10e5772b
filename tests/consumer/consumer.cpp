// SPDX-License-Identifier: LGPL-2.1-or-later
#include <adc.h>
#include <gpio.h>
#include <kivinterface.h>
#include <qvcommon/loghandler.h>
#include <qvcommon/pidfilehandler.h>
#include <qvcommon/trace.h>
#include <trace.h>

#include <cstdio>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <unistd.h>

namespace
{

int failures = 0;

void check(bool good, const char *what)
{
    std::printf("%s: %s\n", good ? "ok" : "FAILED", what);
    failures += !good;
}

void checkTracing(const QString &folder)
{
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    check(handler.open(folder + QLatin1Char('/'), QLatin1String("consumer")), "open the log");
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::DirectConnection);
    Trace::log(8, 2, QLatin1String("Consumer"), QLatin1String("checkTracing"),
               QLatin1String("A line from outside"));
    check(handler.flush(), "flush the log");

    QFile log(folder + QLatin1String("/consumer0.log"));
    check(log.open(QIODevice::ReadOnly) && log.readAll().contains("A line from outside"),
          "the line is in the log");
}

void checkClient()
{
    KivInterface kiv(nullptr);
    check(KivInterface::instance == &kiv, "one client");
    check(!KivInterface::requestDataGet(QLatin1String("r"), QLatin1String("/")),
          "no request without a daemon");
    QString mtu;
    KivInterface::xpathGetTextNode(mtu, QLatin1String("interfaces/interface[name='eth0']/mtu"),
                                   QString(),
                                   QLatin1String("<interfaces><interface><name>eth0</name>"
                                                 "<mtu>1500</mtu></interface></interfaces>"));
    check(mtu == QLatin1String("1500"), "look up a path");
}

void checkProcess(const QString &folder)
{
    const QByteArray path = QFile::encodeName(folder + QLatin1String("/consumer.pid"));
    PidFileHandler pidFile(path.constData());
    check(pidFile.writePid() == getpid() && pidFile.readPid() == getpid(), "write the PID file");
}

void checkBoard()
{
    check(qstrcmp(Gpio::staticMetaObject.className(), "Gpio") == 0, "GPIO lines are there");
    check(qstrcmp(Adc::staticMetaObject.className(), "Adc") == 0, "ADC channels are there");
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QString folder = QDir::currentPath();
    checkTracing(folder);
    checkClient();
    checkProcess(folder);
    checkBoard();
    if (failures == 0)
        std::printf("consumer: all well with Qt %s\n", qVersion());
    return failures == 0 ? 0 : 1;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
// A part of an application that is older than C++11. It is compiled, not run.
#include <adc.h>
#include <gpio.h>
#include <kivinterface.h>
#include <loghandler.h>
#include <pidfilehandler.h>
#include <trace.h>

class OldApplication
{
public:
    OldApplication();

    int level();
    bool findMtu(QString &mtu, const QString &data);

private:
    Trace trace;
    LogHandler handler;
    KivInterface kiv;
    Gpio button;
    Adc supply;
    PidFileHandler pidFile;
};

OldApplication::OldApplication()
    : trace(0)
    , handler(0, false)
    , kiv(0)
    , button(0, Gpio::Gpios(40), Gpio::DirectionInput, Gpio::EdgeBoth)
    , supply(0, 1, 2, 11)
    , pidFile("/var/run/old.pid")
{
    flushAfterEachLogMsg = pidFile.checkPid() == 0;
    kiv.setXmlFormat(KivInterface::KIVTARGET_LOCAL);
}

int OldApplication::level()
{
    return button.getGpioValue() == Gpio::ValueHigh ? int(supply.getAdcValue()) : 0;
}

bool OldApplication::findMtu(QString &mtu, const QString &data)
{
    QXmlStreamReader reader(data);
    QString name("mtu");
    return KivInterface::xpathReturnXmlNode(mtu, name, reader, 0);
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "simulatorprocess.h"

#include "waiting.h"

#include <QtCore/QFile>

#include <csignal>

const char documentContent[] =
    "<config><system><hostname>gateway</hostname><note>Pump &amp; valve</note><clock>"
    "<source>ntp</source><drift>50</drift></clock><dns>192.0.2.53</dns><dns>198.51.100.53</dns>"
    "</system><interfaces><interface><name>eth0</name><mtu>1500</mtu><address><ip>192.0.2.10</ip>"
    "<length>24</length></address></interface><interface><name>eth1</name><mtu>1400</mtu>"
    "</interface></interfaces></config><state><sys_messages><sys_message><reporter>fan</reporter>"
    "<rep_ref>1</rep_ref><text>slow</text></sys_message></sys_messages><empty/><blank> </blank>"
    "</state>";

namespace
{

// The layout is not what is answered, on purpose.
const char document[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- a comment -->
<?kivsim-keys interface=name address=ip?>
<device version="1">
  <config>
    <system>
      <hostname>gateway</hostname>
      <note>Pump &amp; valve</note>
      <clock><source>ntp</source><drift unit="ppm">50</drift></clock>
      <dns>192.0.2.53</dns>
      <dns>198.51.100.53</dns>
    </system>
    <interfaces>
      <interface>
        <name>eth0</name><mtu>1500</mtu>
        <address><ip>192.0.2.10</ip><length>24</length></address>
      </interface>
      <interface><name>eth1</name><mtu>1400</mtu></interface>
    </interfaces>
  </config>
  <state>
    <sys_messages>
      <sys_message><reporter>fan</reporter><rep_ref>1</rep_ref><text>slow</text></sys_message>
    </sys_messages>
    <empty></empty>
    <blank> </blank>
  </state>
</device>
)";

} // namespace

SimulatorProcess::SimulatorProcess()
    : process(KIVSIM_PROGRAM)
    , tcpPort(0)
{
    setDocument(document);
}

void SimulatorProcess::setDocument(const QByteArray &xml)
{
    writeFile(filePath("document.xml"), xml);
}

bool SimulatorProcess::start(const QStringList &options)
{
    QStringList arguments;
    if (!options.contains(QLatin1String("--no-socket")))
        arguments << QLatin1String("--socket") << socketPath();
    process.start(arguments << QLatin1String("--port") << QString::number(tcpPort)
                            << QLatin1String("--data") << filePath("document.xml") << options);
    if (!waitForReady(1))
        return false;
    const QByteArray line = output();
    tcpPort = line.mid(line.lastIndexOf(':') + 1).trimmed().toUShort();
    return tcpPort != 0;
}

bool SimulatorProcess::waitForReady(int times)
{
    waitFor([&]() { return process.hasEnded() || output().count('\n') >= times; });
    return output().count('\n') >= times;
}

QByteArray SimulatorProcess::stop()
{
    process.send(SIGTERM);
    return process.end();
}

QString SimulatorProcess::filePath(const char *name) const
{
    return folder.filePath(QLatin1String(name));
}

QByteArray readFile(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

void writeFile(const QString &name, const QByteArray &content)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != qint64(content.size()))
        qFatal("cannot write %s", qPrintable(name));
}

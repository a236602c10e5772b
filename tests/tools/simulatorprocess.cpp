// SPDX-License-Identifier: LGPL-2.1-or-later
#include "simulatorprocess.h"

#include "emulator.h"
#include "waiting.h"

#include <QtCore/QFile>
#include <QtCore/QList>
#include <QtCore/QVector>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

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

int openOutput(const QString &name)
{
    const QByteArray path = QFile::encodeName(name);
    return ::open(path.constData(), O_CREAT | O_TRUNC | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
}

} // namespace

SimulatorProcess::SimulatorProcess()
    : process(-1)
    , tcpPort(0)
{
    setDocument(document);
}

SimulatorProcess::~SimulatorProcess()
{
    kill();
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
    run(arguments << QLatin1String("--port") << QString::number(tcpPort) << QLatin1String("--data")
                  << filePath("document.xml") << options);
    if (!waitForReady(1))
        return false;
    const QByteArray line = output();
    tcpPort = line.mid(line.lastIndexOf(':') + 1).trimmed().toUShort();
    return tcpPort != 0;
}

void SimulatorProcess::run(const QStringList &arguments)
{
    kill();
    ending.clear();
    QList<QByteArray> texts = commandFor(KIVSIM_PROGRAM);
    for (const QString &argument : arguments)
        texts << QFile::encodeName(argument);
    QVector<char *> pointers;
    for (QByteArray &text : texts)
        pointers << text.data();
    pointers << nullptr;
    const int output = openOutput(filePath("output"));
    const int errors = openOutput(filePath("errors"));
    process = ::fork();
    if (process == 0) {
        // A test that crashes must not leave it behind.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(errors, STDERR_FILENO);
        ::execv(pointers.first(), pointers.data());
        ::_exit(127);
    }
    ::close(output);
    ::close(errors);
}

bool SimulatorProcess::waitForReady(int times)
{
    waitFor([&]() { return reap() || output().count('\n') >= times; });
    return output().count('\n') >= times;
}

void SimulatorProcess::send(int signal)
{
    if (!reap())
        ::kill(process, signal);
}

/** @return whether it has ended */
bool SimulatorProcess::reap()
{
    if (process < 0)
        return true;
    int status = 0;
    const pid_t result = ::waitpid(process, &status, WNOHANG);
    if (result == 0 || (result < 0 && errno == EINTR))
        return false;
    process = -1;
    ending = WIFEXITED(status) ? "exit " + QByteArray::number(WEXITSTATUS(status))
                               : "signal " + QByteArray::number(WTERMSIG(status));
    return true;
}

QByteArray SimulatorProcess::end()
{
    return waitFor([&]() { return reap(); }) ? ending : QByteArray("still running");
}

QByteArray SimulatorProcess::stop()
{
    send(SIGTERM);
    return end();
}

void SimulatorProcess::kill()
{
    send(SIGKILL);
    end();
}

QByteArray SimulatorProcess::output() const
{
    return readFile(filePath("output"));
}

QByteArray SimulatorProcess::errors() const
{
    return readFile(filePath("errors"));
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

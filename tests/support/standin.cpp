// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin.h"

#include "kivdredirect.h"

#include <QtCore/QFile>

#include <csignal>

static QStringList optionsFor(const TemporaryFolder &folder, const QByteArray &document)
{
    const QString data = folder.filePath(QLatin1String("data.xml"));
    QFile file(data);
    if (!file.open(QIODevice::WriteOnly) || file.write(document) != document.size())
        qFatal("cannot write %s", qPrintable(data));
    return QStringList() << QLatin1String("--socket") << folder.filePath(QLatin1String("kivd"))
                         << QLatin1String("--data") << data;
}

StandIn::StandIn(const char *program, const QByteArray &document)
    : process(program, optionsFor(folder, document))
{
    const QByteArray line = process.readLine();
    if (!line.startsWith("kivsim: listening on "))
        qFatal("kivsim does not listen: %s", line.constData());
    redirectKivd(folder.filePath(QLatin1String("kivd")));
}

StandIn::~StandIn()
{
    redirectKivd(QLatin1String("/nonexistent/kivd"));
    process.signal(SIGTERM);
    process.wait();
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "hotoperations.h"

#include "connectedclient.h"
#include "feeder.h"
#include "require.h"
#include "samplelines.h"
#include "trace.h"

CountedFile::CountedFile(Trace *trace)
    : handler(nullptr, false)
{
    require(handler.open(folder.path() + QLatin1Char('/'), QLatin1String("bench")), "no log file");
    QObject::connect(trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::DirectConnection);
}

void countLine(const char *name, const QString &message)
{
    SampleTexts texts;
    texts.message = message;
    Trace::linenumber = 1;
    count(name, [&] { Trace::log(8, 2, texts.className, texts.functionName, texts.message); });
    require(Trace::linenumber == 1 + warmUps + times, "lines are missing");
}

void countRejected()
{
    Trace trace(nullptr);
    trace.applyLogFilters(3, -1);
    Trace::linenumber = 1;
    const SampleTexts texts;
    count("rejected",
          [&] { Trace::log(8, 2, texts.className, texts.functionName, texts.message); });
    require(Trace::linenumber == 1, "a line was not rejected");
}

void countBody(const char *name, const Document &document)
{
    KivInterface kiv(nullptr);
    SignalCounter counter(&kiv);
    counter.expected = QString::fromLatin1(document.data);
    const QString body = QString::fromLatin1(document.body);
    const auto handle = [&] {
        QString own = body;
        kiv.handleKivMsgBody(own);
    };
    count(name, handle, int(body.length()));
    require(counter.count == warmUps + times, "signals are missing");
}

void countRequest()
{
    Feeder feeder;
    ConnectedClient client(feeder.path());
    feeder.accept();
    const QString ref = QLatin1String("r1");
    const QString path = QLatin1String("/config/system/location");
    count("request", [&] {
        require(KivInterface::requestDataGet(ref, path), "the request is not sent");
        feeder.discard();
    });
}

void countLookUp(const char *name, int size, const char *steps)
{
    const QString xml = QString::fromLatin1(lookUpText(size));
    const QString path = QLatin1String(steps);
    count(name, [&] {
        QString value;
        require(KivInterface::xpathGetTextNode(value, path, QString(), xml), "nothing is found");
    });
}

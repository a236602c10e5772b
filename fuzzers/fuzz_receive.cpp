// SPDX-License-Identifier: LGPL-2.1-or-later

// Feeds the receive path of the daemon client with arbitrary bytes. The first byte says in how
// large reads the rest arrives.

#include "fuzzing.h"
#include "kiv/frames.h"
#include "kivinterface.h"
#include "trace.h"

static void ignoreMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

static KivInterface &client()
{
    static Trace trace(nullptr);
    static KivInterface kiv(nullptr);
    qInstallMessageHandler(ignoreMessage);
    KivInterface::debugPrintEnable();
    return kiv;
}

void fuzz(const QByteArray &input)
{
    KivInterface &kiv = client();
    if (input.isEmpty())
        return;
    const int readSize = 1 + uchar(input.at(0));
    QByteArray bytes = input.mid(1);
    QString buffer;
    while (!bytes.isEmpty()) {
        qvcommon::Reception reception = qvcommon::receive(buffer, bytes.left(readSize));
        bytes.remove(0, readSize);
        for (QString &frame : reception.frames)
            kiv.handleFrame(frame);
    }
}

// SPDX-License-Identifier: LGPL-2.1-or-later

// Feeds the receive path of the daemon client with arbitrary bytes, and compares it with the plain
// formulation. The first byte says in how large reads the rest arrives.
//
// Covers: src/kiv/frames.cpp src/kiv/dispatch.cpp

#include "fuzzing.h"
#include "kiv/frames.h"
#include "kivinterface.h"
#include "plainreceiver.h"
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

/** What of a read is not as the plain formulation has it. */
static QByteArray difference(const qvcommon::Reception &reception, const QString &buffer,
                             PlainReceiver &plain, const QByteArray &bytes)
{
    const QString text = QString::fromLatin1(bytes.constData()); // up to a NUL
    const QStringList frames = plain.read(text);
    return QByteArray() + (reception.frames == frames ? "" : "frames ") +
           (buffer == plain.buffer ? "" : "buffer ") +
           (reception.received == text.size() ? "" : "received ") +
           (reception.filtered == plain.filtered ? "" : "filtered ") +
           (reception.unfinished == plain.unfinished ? "" : "unfinished ");
}

void fuzz(const QByteArray &input)
{
    KivInterface &kiv = client();
    if (input.isEmpty())
        return;
    const int readSize = 1 + uchar(input.at(0));
    QString buffer;
    PlainReceiver plain;
    for (int at = 1; at < int(input.size()); at += readSize) {
        const QByteArray bytes = input.mid(at, readSize);
        qvcommon::Reception reception = qvcommon::receive(buffer, bytes);
        requireNone(difference(reception, buffer, plain, bytes));
        for (QString &frame : reception.frames)
            kiv.handleFrame(frame);
    }
}

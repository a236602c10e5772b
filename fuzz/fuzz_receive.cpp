// SPDX-License-Identifier: LGPL-2.1-or-later

// Feeds the receive path of the daemon client with arbitrary bytes. The first byte says in how
// large reads the rest arrives.

#include "frames.h"
#include "kivinterface.h"
#include "trace.h"

#include <QtCore/QCoreApplication>

#include <stdint.h>

static void ignoreMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

static KivInterface &client()
{
    static int argc = 1;
    static char name[] = "fuzz_receive";
    static char *argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    static Trace trace(nullptr);
    static KivInterface kiv(nullptr);
    qInstallMessageHandler(ignoreMessage);
    KivInterface::debugPrintEnable();
    return kiv;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    KivInterface &kiv = client();
    if (size == 0)
        return 0;
    const int readSize = 1 + data[0];
    QByteArray bytes(reinterpret_cast<const char *>(data + 1), int(size - 1));
    QString buffer;
    while (!bytes.isEmpty()) {
        qvcommon::Reception reception = qvcommon::receive(buffer, bytes.left(readSize));
        bytes.remove(0, readSize);
        for (QString &frame : reception.frames)
            kiv.handleFrame(frame);
    }
    return 0;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "feeder.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <algorithm>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

Feeder::Feeder()
    : listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    , connection(-1)
{
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path()).constData(), sizeof address.sun_path);
    if (bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listening, 1) != 0)
        qFatal("cannot listen on %s", address.sun_path);
}

Feeder::~Feeder()
{
    hangUp();
    close(listening);
}

QString Feeder::path() const
{
    return folder.filePath(QLatin1String("kivd"));
}

void Feeder::accept()
{
    connection = ::accept(listening, nullptr, nullptr);
    if (connection < 0)
        qFatal("nobody connects");
}

void Feeder::hangUp()
{
    close(connection);
    connection = -1;
}

void Feeder::discard()
{
    char buffer[4096];
    while (recv(connection, buffer, sizeof buffer, MSG_DONTWAIT) > 0) {
    }
}

int Feeder::write(const QByteArray &bytes, int from)
{
    const size_t count = size_t(bytes.size() - from);
    if (count == 0)
        return 0;
    const ssize_t written = send(connection, bytes.constData() + from, count, MSG_DONTWAIT);
    return int(std::max<ssize_t>(written, 0));
}

void Feeder::runEventLoop()
{
    QCoreApplication::processEvents();
}

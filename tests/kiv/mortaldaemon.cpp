// SPDX-License-Identifier: LGPL-2.1-or-later
#include "mortaldaemon.h"

#include "kivdredirect.h"
#include "loopback.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QList>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

/** What stands between two texts, or nothing. */
QByteArray between(const QByteArray &text, const char *begin, const char *end)
{
    const auto from = text.indexOf(begin);
    const auto to = text.indexOf(end, from);
    if (from < 0 || to < 0)
        return QByteArray();
    const auto start = from + int(qstrlen(begin));
    return text.mid(start, to - start);
}

QByteArray reply(const QByteArray &ref, const QByteArray &content)
{
    return "<reply><ref>" + ref + "</ref><out>" + content + "</out></reply>\r\n\f\n";
}

QByteArray notification(const QByteArray &ref, int life, int number, const QByteArray &rest)
{
    const QByteArray path = "/n/" + QByteArray::number(number);
    return "<notify><ref>" + ref + "</ref><event><change><op>patch</op><spath>/n</spath><rpath>" +
           path + "</rpath><data>" + MortalDaemon::changeNumber(life, number).toLatin1() + rest +
           "</data></change></event></notify>\r\n\f\n";
}

/** One client of the daemon. */
struct Session {
    int socket;
    QByteArray received;
    QByteArray toSend;
    QByteArray subscription; ///< its reference, or nothing
    int notified;            ///< how many notifications it has got
    bool isFlooded;          ///< whether it gets notifications without end, and large ones
    bool isNeverDone;        ///< whether its present answer has no end

    bool hasWork() const { return !toSend.isEmpty() || isNotified() || isNeverDone; }
    bool isNotified() const
    {
        return !subscription.isEmpty() && (isFlooded || notified < MortalDaemon::notificationCount);
    }
};

/** What runs in the process of the daemon. */
class Service
{
public:
    Service(const std::vector<int> &listeners, int life, int lastByte)
        : listeners(listeners)
        , life(life)
        , lastByte(lastByte)
        , written(0)
    {
    }

    void run()
    {
        for (;;)
            serve();
    }

private:
    void serve();
    void read(Session &session);
    void answer(Session &session, const QByteArray &frame);
    void write(Session &session);
    void write(int socket, QByteArray &bytes);

    const std::vector<int> listeners;
    const int life;
    const int lastByte;
    int written;
    std::vector<Session> sessions;
};

void Service::serve()
{
    std::vector<pollfd> waiting;
    for (const int listener : listeners)
        waiting.push_back({listener, POLLIN, 0});
    for (const Session &session : sessions)
        waiting.push_back({session.socket, short(POLLIN | (session.hasWork() ? POLLOUT : 0)), 0});
    poll(waiting.data(), waiting.size(), -1);
    for (size_t i = 0; i < sessions.size(); ++i) {
        const short events = waiting[listeners.size() + i].revents;
        if (events & (POLLIN | POLLHUP | POLLERR))
            read(sessions[i]);
        if (events & POLLOUT)
            write(sessions[i]);
    }
    for (size_t i = 0; i < listeners.size(); ++i) {
        if (waiting[i].revents & POLLIN)
            sessions.push_back(
                {accept(listeners[i], nullptr, nullptr), "", "", "", 0, false, false});
    }
}

void Service::read(Session &session)
{
    char bytes[65536];
    const ssize_t count = recv(session.socket, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count == 0 || (count < 0 && errno != EAGAIN)) {
        close(session.socket);
        session.socket = -1; // which poll() leaves out
        return;
    }
    session.received += QByteArray(bytes, int(std::max(count, ssize_t(0))));
    for (;;) {
        const auto end = session.received.indexOf("\f\n");
        if (end < 0)
            return;
        answer(session, session.received.left(end));
        session.received.remove(0, end + 2);
    }
}

void Service::answer(Session &session, const QByteArray &frame)
{
    const QByteArray ref = between(frame, "<ref>", "</ref>");
    if (frame.contains("<path>/endless</path>")) {
        session.toSend += "<reply><ref>" + ref + "</ref><out><get><data>";
        session.isNeverDone = true;
    } else if (frame.contains("<get>")) {
        const int characters = between(frame, "<path>/large/", "</path>").toInt();
        const QString data = MortalDaemon::answerTo(life, QString::fromLatin1(ref), characters);
        session.toSend += reply(ref, "<get><data>" + data.toLatin1() + "</data></get>");
    } else if (frame.contains("<subscribe>")) {
        session.toSend += reply(ref, "<edit><ok/></edit>");
        session.subscription = ref;
        session.isFlooded = frame.contains("<path>/flood</path>");
    }
}

void Service::write(Session &session)
{
    const int enough = 65536; // bytes at a time
    if (session.isNeverDone && session.toSend.size() < enough)
        session.toSend += QByteArray(enough, 'x');
    const QByteArray rest = session.isFlooded ? QByteArray(8000, 'x') : QByteArray();
    while (session.isNotified() && session.toSend.size() < enough)
        session.toSend += notification(session.subscription, life, session.notified++, rest);
    write(session.socket, session.toSend);
}

/** Writes what the client takes, but no byte behind the last one. */
void Service::write(int socket, QByteArray &bytes)
{
    const int left = lastByte < 0 ? int(bytes.size()) : lastByte - written;
    const ssize_t count = send(socket, bytes.constData(), size_t(std::min(int(bytes.size()), left)),
                               MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0) {
        written += int(count);
        bytes.remove(0, int(count));
    }
    if (written == lastByte)
        raise(SIGKILL);
}

int listenAt(const QString &path)
{
    QFile::remove(path);
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) ||
        listen(socket, 5))
        qFatal("cannot listen: %s", std::strerror(errno));
    return socket;
}

int listenOn(int port)
{
    const int socket = takePort(port, true);
    if (socket < 0 || listen(socket, 5))
        qFatal("cannot listen: %s", std::strerror(errno));
    return socket;
}

} // namespace

MortalDaemon::MortalDaemon()
    : portHolder(takePort(0, true))
    , tcpPort(portOf(portHolder))
    , lives(0)
{
    if (tcpPort == 0)
        qFatal("no port for a daemon");
    redirectKivd(socketPath());
}

MortalDaemon::~MortalDaemon()
{
    redirectKivd(QLatin1String("/nonexistent/kivd"));
    ::close(portHolder);
}

QString MortalDaemon::socketPath() const
{
    return folder.filePath(QLatin1String("kivd"));
}

void MortalDaemon::start(int lastByte)
{
    ++lives;
    const std::vector<int> listeners = {listenAt(socketPath()), listenOn(tcpPort)};
    process.reset(new ChildProcess([&](ChildProcess &) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is ended from outside leaves nobody behind
        Service(listeners, lives, lastByte).run();
        return 0;
    }));
    for (const int listener : listeners)
        ::close(listener);
}

void MortalDaemon::pause()
{
    ::kill(process->pid(), SIGSTOP);
    siginfo_t state;
    if (TEMP_FAILURE_RETRY(waitid(P_PID, id_t(process->pid()), &state, WSTOPPED)) != 0)
        qFatal("the daemon does not stop");
}

void MortalDaemon::resume()
{
    ::kill(process->pid(), SIGCONT);
}

void MortalDaemon::kill()
{
    process.reset();
}

QString MortalDaemon::answerTo(int life, const QString &ref, int characters)
{
    return QString::fromLatin1("<n>%1.%2</n><x>").arg(life).arg(ref) +
           QString(characters, QLatin1Char('x')) + QLatin1String("</x>");
}

QString MortalDaemon::changeNumber(int life, int number)
{
    return QString::fromLatin1("<n>%1.%2</n>").arg(life).arg(number);
}

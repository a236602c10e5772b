// SPDX-License-Identifier: LGPL-2.1-or-later

// A daemon that says anything to kivctl. The input's first line has the size of the reads and a
// command, as on kivctl's own command line; the daemon's bytes follow. In them "kivctl-" begins a
// reference, so that kivctl waits for just that one. Frames are compared with a plain cut, what is
// read of them with Qt's reader, and what is shown must read the same again.
//
// Covers: tools/kivctl/framecutter.cpp tools/kivctl/message.cpp tools/kivctl/slices.cpp
// Covers: tools/kivctl/tokenizer.cpp tools/kivctl/node.cpp tools/kivctl/paths.cpp
// Covers: tools/kivctl/show.cpp tools/kivctl/texts.cpp tools/kivctl/client.cpp
// Covers: tools/kivctl/reading.cpp tools/kivctl/watching.cpp tools/kivctl/subscriber.cpp
// Covers: tools/kivctl/messagecommands.cpp tools/kivctl/relay.cpp

#include "fuzzing.h"
#include "kivctl/commands.h"
#include "kivctl/node.h"
#include "kivctl/paths.h"
#include "kivctl/relay.h"
#include "kivctl/texts.h"
#include "plainmessage.h"
#include "temporaryfolder.h"

#include <QtCore/QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace kivctl;

namespace
{

const char separator[] = "\f\n";
const std::size_t longestFrame = 1 << 20;

QByteArray bytesOf(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

std::string stringOf(const QByteArray &bytes)
{
    return std::string(bytes.constData(), std::size_t(bytes.size()));
}

QList<QByteArray> plainCut(const QByteArray &bytes)
{
    QList<QByteArray> pieces;
    int begin = 0;
    for (int end = 0; (end = int(bytes.indexOf(separator, begin))) >= 0; begin = end + 2)
        pieces << bytes.mid(begin, end - begin);
    return pieces << bytes.mid(begin);
}

QByteArray cutProblem(const QByteArray &bytes, int readSize)
{
    FrameCutter cutter(longestFrame);
    QList<QByteArray> frames;
    std::string frame;
    for (int at = 0; at < int(bytes.size()); at += readSize) {
        const QByteArray piece = bytes.mid(at, readSize);
        cutter.feed(piece.constData(), std::size_t(piece.size()));
        while (cutter.next(frame))
            frames << bytesOf(frame);
    }
    frames << bytesOf(cutter.takeRest());
    return frames == plainCut(bytes) ? "" : "other frames\n";
}

/** Hands bytes through a relay, between two pairs of sockets. */
QByteArray relayProblem(const QByteArray &bytes, int readSize)
{
    int in[2];
    int out[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, in) != 0 ||
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, out) != 0)
        qFatal("no sockets");
    const Descriptor daemon(in[0]), from(in[1]), to(out[0]), application(out[1]);
    QList<QByteArray> frames;
    Relay relay(from, to, [&frames](const std::string &frame) { frames << bytesOf(frame); });
    QByteArray handedOn;
    QByteArray buffer(1 << 16, '\0');
    for (int at = 0; at <= int(bytes.size()); at += readSize) {
        const QByteArray piece = bytes.mid(at, readSize);
        if (piece.isEmpty())
            shutdown(daemon.number(), SHUT_WR);
        else if (write(daemon.number(), piece.constData(), std::size_t(piece.size())) < 0)
            qFatal("cannot write");
        relay.read();
        const ssize_t length =
            read(application.number(), buffer.data(), std::size_t(buffer.size()));
        if (length > 0)
            handedOn += buffer.left(int(length));
    }
    relay.finish();
    QList<QByteArray> expected = plainCut(bytes);
    if (expected.last().isEmpty())
        expected.removeLast();
    else
        expected.last() += " (no end of frame)";
    return handedOn == bytes && frames == expected ? "" : "handed on otherwise\n";
}

/** Whether there is something that a terminal would obey, as far as UTF-8 tells. */
bool hasControls(const std::string &text)
{
    const QString decoded = QString::fromUtf8(text.data(), int(text.size()));
    return std::any_of(decoded.begin(), decoded.end(), [](QChar c) {
        return c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() < 0xa0);
    });
}

/** What is wrong with how data is read and shown. */
QByteArray dataProblem(const std::string &data)
{
    std::vector<Node> nodes;
    try {
        nodes = parseNodes(data);
    } catch (const Failure &failure) {
        return hasControls(failure.what()) ? "not one line: " + bytesOf(failure.what()) : "";
    }
    const std::string once = compact(nodes);
    if (compact(parseNodes(once)) != once)
        return "not the same again: " + bytesOf(once) + '\n';
    // A text at the top gets a line of its own, which changes it.
    const bool areElements =
        std::all_of(nodes.begin(), nodes.end(), [](const Node &node) { return node.isElement(); });
    if (areElements && compact(parseNodes(pretty(nodes))) != once)
        return "not the same if pretty: " + bytesOf(pretty(nodes)) + '\n';
    for (const Leaf &leaf : leavesOf(nodes, "/a/b")) {
        if (hasControls(leafLine(leaf)))
            return "not one line: " + bytesOf(leafLine(leaf)) + '\n';
    }
    return QByteArray();
}

QByteArray frameProblem(const QByteArray &frame)
{
    const Message message = parseMessage(stringOf(frame));
    QByteArray problem = messageDifference(frame, message) + dataProblem(message.data);
    for (const Change &change : message.changes)
        problem += dataProblem(change.data);
    return problem;
}

/** Standard output, kept for looking at. */
class StandardOutput
{
public:
    StandardOutput()
        : file(memfd_create("output", MFD_CLOEXEC))
    {
        if (file < 0 || dup2(file, STDOUT_FILENO) < 0)
            qFatal("cannot redirect the output");
    }

    QByteArray take()
    {
        QByteArray content(int(lseek(file, 0, SEEK_END)), '\0');
        if (pread(file, content.data(), std::size_t(content.size()), 0) != content.size() ||
            ftruncate(file, 0) != 0)
            qFatal("cannot read the output");
        lseek(file, 0, SEEK_SET);
        return content;
    }

private:
    const int file;
};

/** The daemon's end of the connection. */
class Daemon
{
public:
    Daemon()
        : path(QFile::encodeName(folder.filePath(QLatin1String("kivd"))))
        , listening(listenOn(path.constData()))
    {
    }

    Address address() const
    {
        Address address;
        address.path = path.constData();
        return address;
    }

    /** Says something to the client that has just connected, and no more. */
    void say(const QByteArray &bytes)
    {
        connection.reset(accept(listening.number(), nullptr, nullptr));
        if (write(connection.number(), bytes.constData(), std::size_t(bytes.size())) !=
            bytes.size())
            qFatal("cannot write");
        shutdown(connection.number(), SHUT_WR);
    }

private:
    TemporaryFolder folder;
    const QByteArray path;
    const Descriptor listening;
    Descriptor connection;
};

typedef Status (*Command)(const Invocation &, Context &);

/** The command of a command line, if it is one that only asks the daemon. */
Command commandOf(const std::string &line, Invocation &invocation)
{
    try {
        invocation = parseInvocation(wordsOf(line), Invocation());
    } catch (const Failure &) {
        return nullptr;
    }
    const std::string &name = invocation.command;
    if (name == "dump" && invocation.arguments.size() > 1) // into a file
        return nullptr;
    const struct {
        const char *name;
        Command command;
    } commands[] = {{"get", get},       {"ls", list},   {"tree", tree},   {"set", set},
                    {"delete", remove}, {"dump", dump}, {"watch", watch}, {"msg", systemMessages}};
    for (const auto &known : commands) {
        if (name == known.name)
            return known.command;
    }
    return nullptr;
}

/** What ends a watch: all its subscriptions are answered, and it gets as much as it waits for. */
QByteArray endOfWatch(const Invocation &invocation)
{
    QByteArray bytes = separator;
    for (std::size_t i = 1; i <= invocation.arguments.size(); ++i)
        bytes += "<reply><ref>kivctl-" + QByteArray::number(int(i)) +
                 "</ref><out><session_info><ok/></session_info></out></reply>\f\n";
    for (long i = 0; i < invocation.count; ++i)
        bytes += "<notify><event><change/></event></notify>\f\n";
    return bytes;
}

/** Looks at what a command has shown. */
QByteArray shownProblem(const Invocation &invocation, const QByteArray &shown)
{
    const bool isLines = invocation.style == Style::Lines && invocation.command == "get";
    if (!isLines && invocation.command != "tree" && invocation.command != "ls")
        return QByteArray();
    for (const QByteArray &line : shown.split('\n')) {
        if (hasControls(stringOf(line)) && invocation.colours != Output::Always)
            return "a control character: " + line + '\n';
    }
    return QByteArray();
}

void runAsAsked(const std::string &line, QByteArray bytes)
{
    static StandardOutput standardOutput;
    static Daemon daemon;
    Invocation invocation;
    const Command command = commandOf(line, invocation);
    if (!command)
        return;
    const int fewest = 3;
    if (invocation.command == "watch") {
        invocation.count = fewest;
        invocation.seconds = -1;
        invocation.arguments.resize(std::min(invocation.arguments.size(), std::size_t(fewest)));
        bytes += endOfWatch(invocation);
    }
    bytes.replace("kivctl-", "kivctl-" + QByteArray::number(getpid()) + '-');
    Client client(daemon.address());
    Output output(invocation.colours);
    Context context = {client, output};
    std::string failed;
    try {
        client.connect(Deadline::in(10));
        daemon.say(bytes);
        command(invocation, context);
    } catch (const Failure &failure) {
        failed = failure.what();
    }
    requireNone(shownProblem(invocation, standardOutput.take()));
    requireNone(hasControls(harmless(failed)) || failed.find('\n') != std::string::npos
                    ? "not one line: " + bytesOf(failed)
                    : QByteArray());
}

} // namespace

void fuzz(const QByteArray &input)
{
    const int lineEnd = int(input.indexOf('\n'));
    const QByteArray firstLine = input.left(lineEnd);
    const QByteArray bytes = lineEnd < 0 ? QByteArray() : input.mid(lineEnd + 1);
    const int blank = int(firstLine.indexOf(' '));
    const int readSize = std::max(1, firstLine.left(blank).toInt());

    requireNone(cutProblem(bytes, readSize));
    requireNone(relayProblem(bytes, std::max(readSize, int(bytes.size()) / 8)));
    for (const QByteArray &frame : plainCut(bytes))
        requireNone(frameProblem(frame));
    requireNone(dataProblem(stringOf(bytes)));
    runAsAsked(blank < 0 ? std::string() : stringOf(firstLine.mid(blank + 1)), bytes);
}

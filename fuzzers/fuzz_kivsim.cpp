// SPDX-License-Identifier: LGPL-2.1-or-later

// Two clients that send anything to the stand-in, which has any data. The input's first line has the
// size of the reads; the data document follows, up to a separator, then the frames, which the two
// send in turn. Every answer must be one that clients can read, with the right checksum; what is
// refused must change nothing; and the data must read the same again when it has been saved.
//
// Covers: tools/kivsim/framesplitter.cpp tools/kivsim/requesthandler.cpp tools/kivsim/xmlinput.cpp
// Covers: tools/kivsim/path.cpp tools/kivsim/tree.cpp tools/kivsim/edit.cpp
// Covers: tools/kivsim/subscriptions.cpp tools/kivsim/daemonframes.cpp tools/kivsim/misbehaviour.cpp

#include "fuzzing.h"
#include "kivctl/message.h"
#include "kivctl/texts.h"
#include "kivsim/client.h"
#include "kivsim/framesplitter.h"
#include "kivsim/refusals.h"
#include "kivsim/requesthandler.h"
#include "kivsim/subscriptions.h"
#include "kivsim/tree.h"
#include "temporaryfolder.h"

#include <QtCore/QFile>
#include <QtCore/QList>
#include <QtCore/QXmlStreamReader>

#include <algorithm>

using namespace kivsim;
using kivctl::Message;

namespace
{

const char separator[] = "\f\n";
const char frameEnd[] = "\r\n\f\n";
const std::size_t longestFrame = 1500;
const std::size_t largestTree = 3000;
const Path root = Path();

QByteArray bytesOf(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

/** Keeps what it is sent. */
class QuietClient : public Client
{
public:
    void send(const std::string &frame) override { frames << bytesOf(frame); }
    void sendPlainly(const std::string &frame) override { send(frame); }
    void setMisbehaviour(const Misbehaviour &) override {}

    QList<QByteArray> take()
    {
        QList<QByteArray> taken;
        taken.swap(frames);
        return taken;
    }

private:
    QList<QByteArray> frames;
};

/** Whether a text is in UTF-8, and XML allows its characters. */
bool isXmlText(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes);
    return text.toUtf8() == bytes && !text.contains(QChar(0xfffe)) && !text.contains(QChar(0xffff));
}

bool isWellFormed(const QByteArray &xml)
{
    QXmlStreamReader reader(xml);
    while (!reader.atEnd())
        reader.readNext();
    return !reader.hasError();
}

/** What is wrong with a frame of the stand-in's. */
QByteArray frameProblem(const QByteArray &frame, bool mustBeXml)
{
    if (!frame.endsWith(frameEnd) || frame.indexOf(separator) != int(frame.size()) - 2)
        return "not one frame: " + frame + '\n';
    const QByteArray content = frame.left(int(frame.size()) - 2);
    const Message message =
        kivctl::parseMessage(std::string(content.constData(), std::size_t(content.size())));
    if (message.kind == Message::Unknown)
        return "kivctl cannot read: " + frame + '\n';
    if (message.kind == Message::Data &&
        message.crc != std::to_string(kivctl::checksum(message.data)))
        return "another checksum: " + frame + '\n';
    for (const kivctl::Change &change : message.changes) {
        if (change.crc != std::to_string(kivctl::checksum(change.data)))
            return "another checksum: " + frame + '\n';
    }
    const QByteArray body = content.mid(int(content.indexOf('<')));
    return mustBeXml && !isWellFormed(body) ? "not well-formed: " + frame + '\n' : QByteArray();
}

bool isNotification(const QByteArray &frame)
{
    return frame.startsWith("<notify>");
}

/** The stand-in without its sockets. */
class Simulator
{
public:
    Simulator()
        : tree(largestTree)
        , subscriptions(tree)
        , handler(tree, subscriptions, refusals, [](int) {})
        , next(0)
    {
        std::string error;
        refusals.add("/refused:protocol", error);
    }

    /** @return whether the document can be used */
    bool load(const QByteArray &document)
    {
        QFile file(QFile::decodeName(fileName()));
        if (!file.open(QIODevice::WriteOnly) || file.write(document) != document.size())
            qFatal("cannot write a data file");
        file.close();
        std::string error;
        const bool loaded = tree.load(fileName(), error);
        requireNone(loaded || (!error.empty() && error.find('\n') == std::string::npos)
                        ? QByteArray()
                        : "not one line: " + bytesOf(error));
        return loaded;
    }

    /** Handles a frame; those that are too long are refused. */
    void handle(const QByteArray &frame, bool isTooLong, bool mustBeXml)
    {
        QuietClient &client = clients[next];
        next = 1 - next;
        const std::string before = tree.content(root);
        const std::size_t length = std::size_t(frame.size());
        if (isTooLong)
            handler.refuseLongFrame(client, frame.constData(), length, longestFrame);
        else
            handler.handleFrame(client, frame.constData(), length);
        const QList<QByteArray> answers = client.take();
        const QList<QByteArray> others = clients[next].take();
        for (const QByteArray &answer : answers + others)
            requireNone(frameProblem(answer, mustBeXml));
        requireNone(answersProblem(answers, others, frame, before));
    }

    /** Whether the data is the same when it has been saved and loaded. */
    QByteArray savingProblem() const
    {
        std::string error;
        Tree again(2 * largestTree);
        if (!tree.save(fileName(), error) || !again.load(fileName(), error))
            return bytesOf(error) + '\n';
        return again.content(root) == tree.content(root)
                   ? QByteArray()
                   : "another tree:\n" + bytesOf(again.content(root)) + "\ninstead of\n" +
                         bytesOf(tree.content(root)) + '\n';
    }

private:
    static const char *fileName()
    {
        static const TemporaryFolder folder;
        static const QByteArray name =
            QFile::encodeName(folder.filePath(QLatin1String("data.xml")));
        return name.constData();
    }

    QByteArray answersProblem(const QList<QByteArray> &answers, const QList<QByteArray> &others,
                              const QByteArray &frame, const std::string &before) const
    {
        if (!std::all_of(others.begin(), others.end(), isNotification))
            return "an answer for another client\n";
        const auto replies =
            answers.size() - int(std::count_if(answers.begin(), answers.end(), isNotification));
        if (replies != 1 && (frame.contains('<') || replies > 1))
            return QByteArray::number(int(replies)) + " answers to " + frame + '\n';
        if (replies == 1 && isNotification(answers.first()))
            return "a change before the answer to " + frame + '\n';
        const std::string now = tree.content(root);
        const bool isRefused = replies == 0 || answers.first().startsWith("errbody:");
        if (isRefused && (now != before || answers.size() > 1 || !others.isEmpty()))
            return "refused, but not without effect: " + frame + '\n';
        return now.size() <= largestTree ? "" : "too large a tree\n";
    }

    Tree tree;
    Subscriptions subscriptions;
    Refusals refusals;
    RequestHandler handler;
    QuietClient clients[2];
    int next;
};

/** Cuts a stream as the sessions do. */
QList<QByteArray> cut(const QByteArray &bytes, int readSize, QList<bool> &tooLong)
{
    FrameSplitter splitter(longestFrame);
    QList<QByteArray> frames;
    for (int at = 0; at < int(bytes.size()); at += readSize) {
        const QByteArray piece = bytes.mid(at, readSize);
        splitter.append(piece.constData(), std::size_t(piece.size()));
        const char *frame = nullptr;
        std::size_t length = 0;
        FrameSplitter::Result result;
        while ((result = splitter.next(frame, length)) != FrameSplitter::Incomplete) {
            frames << QByteArray(frame, int(length));
            tooLong << (result == FrameSplitter::TooLong);
        }
    }
    return frames;
}

/** The same with the whole stream at hand. */
QByteArray cutProblem(const QByteArray &bytes, const QList<QByteArray> &frames,
                      const QList<bool> &tooLong)
{
    int count = 0;
    int begin = 0;
    while (begin <= int(bytes.size())) {
        const int found = int(bytes.indexOf(separator, begin));
        int end = found < 0 ? int(bytes.size()) : found;
        if (found < 0 && bytes.endsWith('\f')) // perhaps half a separator
            --end;
        const QByteArray frame = bytes.mid(begin, end - begin);
        const bool isTooLong = std::size_t(frame.size()) > longestFrame;
        begin = end + 2;
        if (found < 0 && !isTooLong)
            break;
        if (count == frames.size() || tooLong[count] != isTooLong ||
            (isTooLong ? !frame.startsWith(frames[count]) : frame != frames[count]))
            return "another frame than " + frame + '\n';
        ++count;
        if (found < 0)
            break;
    }
    return count == frames.size() ? "" : "more frames\n";
}

} // namespace

void fuzz(const QByteArray &input)
{
    const int lineEnd = int(input.indexOf('\n'));
    const int documentEnd = int(input.indexOf(separator, lineEnd + 1));
    if (lineEnd < 0 || documentEnd < 0)
        return;
    const int readSize = std::max(1, input.left(lineEnd).toInt());
    const QByteArray document = input.mid(lineEnd + 1, documentEnd - lineEnd - 1);
    const QByteArray stream = input.mid(documentEnd + 2);
    const bool isText = isXmlText(input);

    QList<bool> tooLong;
    const QList<QByteArray> frames = cut(stream, readSize, tooLong);
    requireNone(cutProblem(stream, frames, tooLong));
    Simulator simulator;
    if (!simulator.load(document))
        return;
    for (int i = 0; i < int(frames.size()); ++i)
        // The beginning of a long frame may end inside of a character.
        simulator.handle(frames[i], tooLong[i], isText && !tooLong[i]);
    requireNone(simulator.savingProblem());
}

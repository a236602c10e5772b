// SPDX-License-Identifier: LGPL-2.1-or-later
#include "logaccount.h"

#include <algorithm>

using qvlog::Entry;

namespace
{

const char endOfLastWords[] = ".....";

QByteArray withoutBlanks(const QByteArray &text)
{
    return QByteArray(text).replace(" ", "");
}

QByteArray bytesOf(const std::string &text)
{
    return QByteArray(text.data(), int(text.size()));
}

/** Whether a line may be what LogHandler itself writes at the beginning and end of a file. */
bool mayBeLeftOut(const QByteArray &line)
{
    static const QByteArray known[] = {"",
                                       QByteArray(45, '='),
                                       QByteArray(69, '='),
                                       "...continued",
                                       endOfLastWords,
                                       "..loggingcontinuesinnextfile",
                                       "..loggingcontinuesinnextfile....."};
    return std::find(std::begin(known), std::end(known), line) != std::end(known);
}

/** Strikes out the lines of the files, one after the other. */
class Account
{
public:
    explicit Account(const QList<QByteArray> &files)
        : at(0)
    {
        for (const QByteArray &file : files) {
            QList<QByteArray> ofFile = file.split('\n');
            if (ofFile.last().isEmpty())
                ofFile.removeLast();
            for (const QByteArray &line : ofFile)
                lines << withoutBlanks(line);
            fileEnds << int(lines.size());
        }
    }

    bool strike(const Entry &entry)
    {
        const QByteArray message = withoutBlanks(bytesOf(entry.message));
        if (entry.kind == Entry::Closed)
            return strikeLines(message, true);
        const bool isHole =
            entry.kind == Entry::Cut && !entry.hasNumber && message.endsWith("NULbytes]");
        if (isHole) {
            const int length = message.mid(1, message.indexOf('N') - 1).toInt();
            return length > 0 && strikeLines(QByteArray(length, '\0'), false);
        }
        return strikeLines(withoutBlanks(bytesOf(entry.raw)), false) &&
               (!entry.isJoined || strikeParts(entry, message));
    }

    /** Whether nothing is left. */
    bool isSettled()
    {
        while (at < lines.size() && mayBeLeftOut(lines[at]))
            ++at;
        return at == lines.size();
    }

    QByteArray nextLine() const { return at < lines.size() ? lines[at] : QByteArray("(no line)"); }

private:
    bool strikeLines(const QByteArray &text, bool isClosing)
    {
        const QList<QByteArray> wanted = text.split('\n');
        for (int i = 0; i < int(wanted.size()); ++i) {
            const bool isLast = i == int(wanted.size()) - 1;
            if (!strikeLine(wanted[i], isClosing && isLast))
                return false;
        }
        return true;
    }

    bool strikeLine(const QByteArray &wanted, bool isClosing)
    {
        while (at < lines.size() && lines[at] != wanted &&
               !(isClosing && lines[at] == wanted + endOfLastWords) && mayBeLeftOut(lines[at]))
            ++at;
        if (at == lines.size())
            return false;
        const QByteArray &line = lines[at++];
        return line == wanted || (isClosing && line == wanted + endOfLastWords);
    }

    /** How many lines the file of the last one that was struck out still has. */
    int leftInFile() const
    {
        return *std::upper_bound(fileEnds.begin(), fileEnds.end(), at - 1) - at;
    }

    /** A message that stands in lines of its own, of which a file that is cut may have fewer. */
    bool strikeParts(const Entry &entry, const QByteArray &message)
    {
        const QByteArray first = bytesOf(entry.raw).mid(int(entry.messageBegin));
        const int length = first.mid(int(qstrlen("[Long message("))).split(')').first().toInt();
        const int whole = length < 180 ? 1 : 2;
        const int most = std::min(whole, leftInFile());
        const int least = entry.kind == Entry::Cut ? 0 : whole;
        for (int count = most; count >= least; --count) {
            const QList<QByteArray> parts = lines.mid(at, count);
            QByteArray joined;
            for (const QByteArray &part : parts)
                joined += part;
            if (joined != message)
                continue;
            at += int(parts.size());
            return true;
        }
        return false;
    }

    QList<QByteArray> lines;
    QList<int> fileEnds; ///< how many lines there are up to the end of each
    int at;
};

} // namespace

QByteArray accountProblem(const QList<QByteArray> &files, const std::vector<Entry> &entries)
{
    Account account(files);
    for (const Entry &entry : entries) {
        const QByteArray line = account.nextLine();
        if (entry.isJoined &&
            (entry.messageBegin > entry.tailBegin || entry.tailBegin > entry.raw.size()))
            return "an entry that reaches too far: " + bytesOf(entry.raw) + '\n';
        if (!account.strike(entry))
            return "the entry\n" + bytesOf(entry.raw) + '\n' + bytesOf(entry.message) +
                   "\nis not there, the line is\n" + line + '\n';
    }
    return account.isSettled() ? QByteArray()
                               : "there is no entry for\n" + account.nextLine() + '\n';
}

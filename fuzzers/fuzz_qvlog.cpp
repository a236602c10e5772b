// SPDX-License-Identifier: LGPL-2.1-or-later

// Files of a log with anything in them, shown by qvlog with any options. The input's first line has
// the size of the reads and the options, the files follow, the oldest first, with the control
// character FS between them. Every line must come out once, or be known to be left out, however the
// reads are cut; what is shown must be JSON, CSV or UTF-8 where that is promised.
//
// Covers: tools/qvlog/entryparser.cpp tools/qvlog/lineparser.cpp tools/qvlog/linecutter.cpp
// Covers: tools/qvlog/longmessage.cpp tools/qvlog/logreader.cpp tools/qvlog/filter.cpp
// Covers: tools/qvlog/printer.cpp tools/qvlog/format.cpp tools/qvlog/texts.cpp tools/qvlog/gaps.cpp
// Covers: tools/qvlog/stats.cpp tools/qvlog/view.cpp tools/qvlog/options.cpp tools/qvlog/timearg.cpp

#include "fuzzing.h"
#include "logaccount.h"
#include "qvlog/gaps.h"
#include "qvlog/linecutter.h"
#include "qvlog/options.h"
#include "qvlog/stats.h"
#include "qvlog/view.h"
#include "temporaryfolder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTextCodec>

#include <algorithm>
#include <getopt.h>
#include <set>

using namespace qvlog;

namespace
{

typedef std::vector<Entry> Entries;

const char fileSeparator = '\x1c';
const char logName[] = "log";

/** Entries for longer than their reader lives, which has the name of their log. */
class Collector
{
public:
    void add(const Entry &entry)
    {
        static const std::string name = logName;
        entries.push_back(entry);
        entries.back().log = &name;
    }

    void addAll(EntryParser &parser)
    {
        Entry entry;
        while (parser.next(entry))
            add(entry);
    }

    Entries entries;
};

/** Reads files from memory, in pieces of any size. */
Entries parse(const QList<QByteArray> &files, std::size_t readSize)
{
    EntryParser parser(logName);
    Collector collector;
    for (const QByteArray &file : files) {
        LineCutter cutter;
        const char *line = nullptr;
        std::size_t length = 0;
        parser.beginFile();
        for (std::size_t at = 0; at < std::size_t(file.size()); at += readSize) {
            cutter.feed(file.constData() + at, std::min(readSize, std::size_t(file.size()) - at));
            while (cutter.next(line, length))
                parser.addLine(line, length);
            collector.addAll(parser);
        }
        if (cutter.takeRest(line, length))
            parser.addRest(line, length);
        parser.endFile();
        collector.addAll(parser);
    }
    return collector.entries;
}

/** The log as files, which the tool itself opens and reads. */
class LogFolder
{
public:
    LogFolder()
    {
        name.folder = QFile::encodeName(folder.path()).constData();
        name.base = logName;
    }

    void write(const QList<QByteArray> &files)
    {
        for (int i = 0; i <= 9; ++i)
            QFile::remove(path(i));
        for (int i = 0; i < int(files.size()); ++i) {
            QFile file(path(int(files.size()) - 1 - i));
            if (!file.open(QIODevice::WriteOnly) || file.write(files[i]) != files[i].size())
                qFatal("cannot write a log file");
        }
    }

    /** @param count how often the same log is read, merged by time if more than once */
    Entries read(std::size_t count)
    {
        LogReaders readers;
        std::string error;
        for (std::size_t i = 0; i < count; ++i) {
            readers.emplace_back(new LogReader(name, false));
            if (!readers.back()->open(false, error))
                qFatal("%s", error.c_str());
        }
        Collector collector;
        handOnEntries(readers, count > 1, [&collector](const Entry &entry) {
            collector.add(entry);
            return true;
        });
        return collector.entries;
    }

private:
    QString path(int index) { return folder.filePath(QString::fromLatin1("log%1.log").arg(index)); }

    TemporaryFolder folder;
    LogName name;
};

/** The number, where it counts. */
long long numberOf(const Entry &entry)
{
    return entry.hasNumber ? entry.number : 0;
}

QByteArray compareReading(const Entries &entries, const Entries &others)
{
    if (entries.size() != others.size())
        return "another number of entries\n";
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Entry &a = entries[i];
        const Entry &b = others[i];
        if (a.kind != b.kind || a.raw != b.raw || a.message != b.message || a.run != b.run ||
            numberOf(a) != numberOf(b) || a.time != b.time || a.sortTime != b.sortTime ||
            a.thread != b.thread || a.className != b.className || a.function != b.function)
            return "another entry: " + QByteArray(a.raw.c_str()) + '\n';
    }
    return QByteArray();
}

bool isUtf8(const QByteArray &bytes)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), int(bytes.size()), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

QString text(const std::string &latin1)
{
    return QString::fromLatin1(latin1.data(), int(latin1.size()));
}

/** What is wrong with the line of JSON for an entry. */
QByteArray jsonProblem(const QByteArray &line, const Entry &entry)
{
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject())
        return "no JSON: " + line + '\n';
    const QJsonObject object = document.object();
    const bool hasMessage = entry.kind != Entry::TooLong;
    // Qt's reader takes a text that begins with one for a mark of the byte order.
    const bool same =
        object.value(QLatin1String("kind")).toString() == QLatin1String(kindName(entry.kind)) &&
        object.contains(QLatin1String("message")) == hasMessage &&
        (!hasMessage || object.value(QLatin1String("message")).toString() == text(entry.message));
    return same ? "" : "another entry in JSON: " + line + '\n';
}

/** The fields of a line of CSV; nothing if it is none. */
QList<QByteArray> csvFields(const QByteArray &line)
{
    QList<QByteArray> fields;
    for (int at = 0; at <= int(line.size()); ++at) {
        QByteArray field;
        const bool quoted = line.mid(at, 1) == "\"";
        if (quoted)
            ++at;
        for (; at < int(line.size()); ++at) {
            const bool isQuote = line[at] == '"';
            if (quoted && isQuote && line.mid(at + 1, 1) == "\"")
                ++at;
            else if (quoted ? isQuote : line[at] == ',')
                break;
            else if (isQuote)
                return QList<QByteArray>();
            field += line[at];
        }
        if (quoted && ++at <= int(line.size()) && at < int(line.size()) && line[at] != ',')
            return QList<QByteArray>();
        fields << field;
    }
    return fields;
}

QByteArray csvProblem(const QByteArray &line, const Entry &entry)
{
    const QList<QByteArray> fields = csvFields(line);
    const bool same = fields.size() == 9 && fields[0] == logName &&
                      fields[3] == entry.time.c_str() && fields[8] == kindName(entry.kind);
    return same ? "" : "another entry in CSV: " + line + '\n';
}

/** What is wrong with the characters of a line. */
QByteArray characterProblem(const QByteArray &line, const Format &format)
{
    if ((format.utf8 || format.style == Format::Json) && !isUtf8(line))
        return "not UTF-8: " + line + '\n';
    for (const char c : line) {
        if (uchar(c) < 0x20 && !(format.colour && c == '\x1b'))
            return "a control character: " + line + '\n';
    }
    return QByteArray();
}

/** Shows entries as the options ask for, and looks at what came of it. */
QByteArray showingProblem(const Entries &entries, const Options &options)
{
    const Format &format = options.printer.format;
    Output output;
    Entries wanted;
    {
        Printer printer(options.printer, output);
        for (const Entry &entry : entries) {
            const bool isWanted = options.filter.accepts(entry);
            printer.add(entry, isWanted);
            if (isWanted)
                wanted.push_back(entry);
        }
        printer.endOfPast();
    }
    QList<QByteArray> lines = QByteArray(output.text.data(), int(output.text.size())).split('\n');
    if (!lines.takeLast().isEmpty())
        return "no newline at the end\n";
    QByteArray problem;
    for (const QByteArray &line : lines)
        problem += characterProblem(line, format);
    const bool isPart =
        options.printer.hasLast || options.printer.before > 0 || options.printer.after > 0;
    if (isPart || (format.isForPeople() && !options.printer.quiet))
        return problem;
    if (format.style == Format::Csv)
        lines.removeFirst();
    if (std::size_t(lines.size()) != wanted.size())
        return problem + "another number of lines\n";
    for (int i = 0; i < int(lines.size()); ++i) {
        if (format.style == Format::Json)
            problem += jsonProblem(lines[i], wanted[std::size_t(i)]);
        else if (format.style == Format::Csv)
            problem += csvProblem(lines[i], wanted[std::size_t(i)]);
    }
    return problem;
}

/** Counts what is missing with a set of all numbers that are there. */
QByteArray gapsProblem(const Entries &entries)
{
    const long long tooFar = 1LL << 31; // the count may have begun anew
    Gaps gaps;
    std::map<int, std::vector<long long>> runs;
    for (const Entry &entry : entries) {
        gaps.add(entry);
        if (entry.hasNumber)
            runs[entry.run].push_back(entry.number);
    }
    long long missing = 0;
    for (const auto &run : runs) {
        const std::vector<long long> &numbers = run.second;
        const auto range = std::minmax_element(numbers.begin(), numbers.end());
        if (*range.second - *range.first >= tooFar)
            return QByteArray();
        std::set<long long> there(numbers.begin(), numbers.end());
        there.erase(there.begin(), there.find(numbers.front()));
        missing += *there.rbegin() - *there.begin() + 1 - (long long)(there.size());
    }
    const QByteArray text = gaps.text().c_str();
    const QByteArray sum = QByteArray::number(missing) +
                           (missing == 1 ? " number is missing\n" : " numbers are missing\n");
    const QByteArray lastLine = text.mid(text.lastIndexOf('\n', int(text.size()) - 2) + 1);
    return lastLine == sum ? "" : lastLine + "instead of " + sum;
}

/** Reads the options of the first line. */
bool readOptions(const QByteArray &line, Options &options)
{
    // Beyond this it is the C library that is being tried, which takes its time.
    const int longestWord = 20;
    std::vector<QByteArray> words = {"qvlog"};
    for (const QByteArray &word : line.split(' ')) {
        if (word.size() > longestWord || word.contains('{') || word.contains('\\'))
            return false;
        words.push_back(word.constData());
    }
    words.push_back("folder/log");
    std::vector<char *> arguments;
    for (QByteArray &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    optind = 0; // begins anew
    std::string error;
    return parseOptions(int(arguments.size()) - 1, arguments.data(), options, error);
}

} // namespace

void fuzz(const QByteArray &input)
{
    static LogFolder folder;
    const int lineEnd = int(input.indexOf('\n'));
    const QByteArray firstLine = input.left(lineEnd);
    QList<QByteArray> files =
        (lineEnd < 0 ? QByteArray() : input.mid(lineEnd + 1)).split(fileSeparator);
    files = files.mid(0, 10);
    const int blank = int(firstLine.indexOf(' '));
    const std::size_t readSize = std::size_t(std::max(1, firstLine.left(blank).toInt()));
    Options options;
    const bool hasOptions =
        readOptions(blank < 0 ? QByteArray() : firstLine.mid(blank + 1), options);

    const Entries entries = parse(files, readSize);
    folder.write(files);
    requireNone(accountProblem(files, entries) + compareReading(entries, folder.read(1)) +
                gapsProblem(entries));
    if (!hasOptions)
        return;
    if (options.printer.merged)
        requireNone(folder.read(2).size() == 2 * entries.size() ? "" : "lost in merging\n");
    requireNone(showingProblem(entries, options));
    Stats stats;
    for (const Entry &entry : entries)
        stats.add(entry);
    const std::string tables = stats.text(true);
    requireNone(isUtf8(QByteArray(tables.data(), int(tables.size()))) ? "" : "tables not UTF-8\n");
}

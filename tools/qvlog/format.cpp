// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/format.h"

#include "qvlog/texts.h"

namespace qvlog
{

namespace
{

const char *const styleNames[] = {"full", "short", "json", "csv"};

const char markColour[] = "\033[33m";
const char timeColour[] = "\033[2m";
const char nameColour[] = "\033[36m";
const char noColour[] = "\033[0m";

const char tooLongMark[] = "<a message of 360 or more characters is left out>";
const char cutMark[] = "<cut short>";
const std::size_t numberColumns = 5;
const std::size_t timeColumns = 23;

std::string padded(const std::string &text, std::size_t columns)
{
    return text.size() < columns ? std::string(columns - text.size(), ' ') + text : text;
}

/** Whether digits are a number in JSON, too. */
bool isJsonNumber(const std::string &digits)
{
    return digits == "0" || digits[0] != '0';
}

} // namespace

const char *kindName(Entry::Kind kind)
{
    static const char *const names[] = {"line", "too-long", "cut", "odd", "text", "closed"};
    return names[kind];
}

bool parseStyle(const std::string &text, Format::Style &style)
{
    for (Format::Style known : {Format::Full, Format::Short, Format::Json, Format::Csv}) {
        if (text == styleNames[known]) {
            style = known;
            return true;
        }
    }
    return false;
}

void Format::append(std::string &out, const Entry &entry) const
{
    switch (style) {
    case Full:
        appendFull(out, entry);
        break;
    case Short:
        appendShort(out, entry);
        break;
    case Json:
        appendJson(out, entry);
        break;
    case Csv:
        appendCsv(out, entry);
        break;
    }
    out += '\n';
}

void Format::appendText(std::string &out, const std::string &text) const
{
    appendReadable(out, text.data(), text.size(), utf8);
}

void Format::appendMark(std::string &out, const std::string &text) const
{
    if (colour)
        out += markColour;
    out += text;
    if (colour)
        out += noColour;
}

std::string Format::runMark(const Entry &entry) const
{
    std::string text = "-- ";
    if (logNames)
        text += *entry.log + ": ";
    text += "run " + std::to_string(entry.run);
    text += entry.runIsWhole ? " --" : ", whose beginning is no longer there --";
    std::string out;
    appendMark(out, text);
    return out + '\n';
}

std::string Format::heading() const
{
    return style == Csv ? "log,run,number,time,tid,class,function,message,kind\n" : "";
}

void Format::appendFull(std::string &out, const Entry &entry) const
{
    if (logNames)
        out += *entry.log + ": ";
    if (entry.kind == Entry::TooLong) {
        out += padded(entry.hasNumber ? std::to_string(entry.number) : "", numberColumns) + ' ';
        appendMark(out, tooLongMark);
    } else if (entry.kind == Entry::Closed) {
        appendMark(out, "-- closed: ");
        appendText(out, entry.message);
    } else if (entry.isJoined) {
        appendReadable(out, entry.raw.data(), entry.messageBegin, utf8);
        appendText(out, entry.message);
        appendReadable(out, entry.raw.data() + entry.tailBegin, entry.raw.size() - entry.tailBegin,
                       utf8);
    } else {
        appendText(out, entry.raw);
    }
    if (entry.kind == Entry::Cut)
        appendMark(out, std::string(" ") + cutMark);
}

void Format::appendShort(std::string &out, const Entry &entry) const
{
    if (logNames)
        out += *entry.log + ": ";
    if (colour)
        out += timeColour;
    out += entry.time.size() < timeColumns
               ? entry.time + std::string(timeColumns - entry.time.size(), ' ')
               : entry.time;
    out += " [" + (entry.thread.empty() ? "-" : entry.thread) + "] ";
    if (colour)
        out += nameColour;
    if (entry.kind == Entry::Line || entry.kind == Entry::Cut) {
        appendText(out, entry.className);
        out += "::";
        appendText(out, entry.function);
        out += ": ";
    }
    if (colour)
        out += noColour;
    if (entry.kind == Entry::TooLong)
        appendMark(out, tooLongMark);
    if (entry.kind == Entry::Closed)
        appendMark(out, "-- closed: ");
    appendText(out, entry.message);
    if (entry.kind == Entry::Cut)
        appendMark(out, std::string(" ") + cutMark);
}

void Format::appendJson(std::string &out, const Entry &entry) const
{
    out += "{\"log\":";
    qvlog::appendJson(out, *entry.log);
    out += ",\"run\":" + std::to_string(entry.run);
    out += std::string(",\"kind\":\"") + kindName(entry.kind) + '"';
    if (entry.hasNumber)
        out += ",\"number\":" + std::to_string(entry.number);
    if (!entry.time.empty())
        out += ",\"time\":\"" + entry.time + '"';
    if (!entry.thread.empty())
        out += ",\"tid\":" + (isJsonNumber(entry.thread) ? entry.thread : '"' + entry.thread + '"');
    if (entry.kind == Entry::Line || (entry.kind == Entry::Cut && entry.hasNumber)) {
        out += ",\"class\":";
        qvlog::appendJson(out, entry.className);
        out += ",\"function\":";
        qvlog::appendJson(out, entry.function);
    }
    if (entry.kind != Entry::TooLong) {
        out += ",\"message\":";
        qvlog::appendJson(out, entry.message);
    }
    out += '}';
}

void Format::appendCsv(std::string &out, const Entry &entry) const
{
    qvlog::appendCsv(out, *entry.log, utf8);
    out += ',' + std::to_string(entry.run) + ',';
    if (entry.hasNumber)
        out += std::to_string(entry.number);
    out += ',' + entry.time + ',' + entry.thread + ',';
    for (const std::string *text : {&entry.className, &entry.function, &entry.message}) {
        qvlog::appendCsv(out, *text, utf8);
        out += ',';
    }
    out += kindName(entry.kind);
}

} // namespace qvlog

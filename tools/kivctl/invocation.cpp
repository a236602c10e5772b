// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/invocation.h"

#include "kivctl/failure.h"

#include <cstdlib>
#include <cstring>
#include <getopt.h>

namespace kivctl
{

namespace
{

enum OptionCode {
    ColorOption = 256,
    CrcOption,
    NowOption,
    OneLevelOption,
    MatchOption,
    TagOption,
    ForOption,
    TimeOption,
    MergeOption,
    ListenOption,
    ToOption,
    LineOption,
    DataOption
};

const char shortOptions[] = ":s:H:t:o:L:n:hV";

const option longOptions[] = {
    {"socket", required_argument, nullptr, 's'},
    {"host", required_argument, nullptr, 'H'},
    {"timeout", required_argument, nullptr, 't'},
    {"color", required_argument, nullptr, ColorOption},
    {"output", required_argument, nullptr, 'o'},
    {"crc", no_argument, nullptr, CrcOption},
    {"level", required_argument, nullptr, 'L'},
    {"count", required_argument, nullptr, 'n'},
    {"now", no_argument, nullptr, NowOption},
    {"one-level", no_argument, nullptr, OneLevelOption},
    {"match", required_argument, nullptr, MatchOption},
    {"tag", required_argument, nullptr, TagOption},
    {"for", required_argument, nullptr, ForOption},
    {"time", no_argument, nullptr, TimeOption},
    {"merge", no_argument, nullptr, MergeOption},
    {"listen", required_argument, nullptr, ListenOption},
    {"to", required_argument, nullptr, ToOption},
    {"line", required_argument, nullptr, LineOption},
    {"data", required_argument, nullptr, DataOption},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

/** A command, what goes behind it, and which options it has beside those that all have. */
struct CommandForm {
    const char *name;
    std::size_t fewest;
    std::size_t most;
    const char *arguments;
    std::vector<int> options;
};

const std::size_t any = 1000000;

const std::vector<CommandForm> &commandForms()
{
    static const std::vector<CommandForm> forms = {
        {"ping", 0, 0, "", {'n'}},
        {"get", 1, any, "PATH...", {'o', CrcOption}},
        {"ls", 1, 1, "PATH", {}},
        {"tree", 1, 1, "PATH", {'L'}},
        {"set", 2, 2, "PATH TEXT", {}},
        {"patch", 2, 2, "PATH XML|@FILE|-", {}},
        {"replace", 2, 2, "PATH XML|@FILE|-", {}},
        {"delete", 1, 1, "PATH", {}},
        {"watch",
         1,
         any,
         "PATH...",
         {'o', 'n', NowOption, OneLevelOption, MatchOption, TagOption, ForOption, TimeOption}},
        {"wait", 2, 2, "PATH VALUE", {TagOption}},
        {"dump", 1, 2, "PATH [FILE]", {}},
        {"load", 2, 2, "PATH FILE|-", {MergeOption}},
        {"diff", 2, 2, "PATH FILE|-", {}},
        {"msg",
         1,
         5,
         "list | put REPORTER REF LEVEL TEXT | del REPORTER REF",
         {'o', LineOption, DataOption}},
        {"raw", 1, 1, "TEXT|@FILE|-", {'n', ForOption}},
        {"proxy", 0, 0, "--listen PATH --to PATH|HOST:PORT", {ListenOption, ToOption}},
    };
    return forms;
}

const CommandForm &formOf(const std::string &command)
{
    for (const CommandForm &form : commandForms()) {
        if (command == form.name)
            return form;
    }
    throw Failure(Usage, "unknown command '" + command + "'");
}

double parseSeconds(const std::string &text)
{
    const long longest = 10000000;
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool isPlain =
        !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos;
    if (!isPlain || *end || seconds > longest)
        throw Failure(Usage, "a number of seconds from 0 to " + std::to_string(longest) +
                                 " is needed, not '" + text + "'");
    return seconds;
}

long parseCount(const std::string &text, long smallest)
{
    const std::size_t mostDigits = 9;
    const bool isNumber = !text.empty() && text.size() <= mostDigits &&
                          text.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber || std::stol(text) < smallest)
        throw Failure(Usage, "a number from " + std::to_string(smallest) + " to " +
                                 std::string(mostDigits, '9') + " is needed, not '" + text + "'");
    return std::stol(text);
}

Style parseStyle(const std::string &text)
{
    static const char *const names[] = {"xml", "pretty", "text", "lines"};
    for (int i = 0; i < 4; ++i) {
        if (text == names[i])
            return static_cast<Style>(i);
    }
    throw Failure(Usage, "--output needs xml, pretty, text or lines, not '" + text + "'");
}

Output::When parseColours(const std::string &text)
{
    static const char *const names[] = {"auto", "always", "never"};
    for (int i = 0; i < 3; ++i) {
        if (text == names[i])
            return static_cast<Output::When>(i);
    }
    throw Failure(Usage, "--color needs always, never or auto, not '" + text + "'");
}

/** The options that all commands have. @return whether it is one */
bool applyGeneral(int code, const std::string &value, Invocation &target)
{
    switch (code) {
    case 's':
        if (value.empty())
            throw Failure(Usage, "--socket needs a path");
        target.address = Address();
        target.address.path = value;
        return true;
    case 'H':
        if (!parseHost(value, target.address))
            throw Failure(Usage, "--host needs HOST:PORT, not '" + value + "'");
        return true;
    case 't':
        target.timeout = parseSeconds(value);
        target.hasTimeout = true;
        return true;
    case ColorOption:
        target.colours = parseColours(value);
        return true;
    default:
        return false;
    }
}

void applySpecial(int code, const std::string &value, Invocation &target)
{
    switch (code) {
    case 'o':
        target.style = parseStyle(value);
        target.hasStyle = true;
        break;
    case CrcOption:
        target.crc = true;
        break;
    case 'L':
        target.levels = parseCount(value, 1);
        break;
    case 'n':
        target.count = parseCount(value, 1);
        break;
    case NowOption:
        target.now = true;
        break;
    case OneLevelOption:
        target.oneLevel = true;
        break;
    case MatchOption:
        target.match = value;
        break;
    case TagOption:
        target.tag = value;
        break;
    case ForOption:
        target.seconds = parseSeconds(value);
        break;
    case TimeOption:
        target.time = true;
        break;
    case MergeOption:
        target.merge = true;
        break;
    case ListenOption:
        target.listen = value;
        break;
    case ToOption:
        target.to = value;
        break;
    case LineOption:
        target.line = value;
        break;
    default:
        target.data = value;
        break;
    }
}

const char *optionName(int code)
{
    for (const option &known : longOptions) {
        if (known.name && known.val == code)
            return known.name;
    }
    return "";
}

void checkForm(const Invocation &invocation, const std::vector<int> &used)
{
    if (invocation.command.empty()) {
        if (!used.empty())
            throw Failure(Usage, std::string("--") + optionName(used.front()) +
                                     " needs a command in front of it");
        return;
    }
    const CommandForm &form = formOf(invocation.command);
    for (const int code : used) {
        bool isKnown = false;
        for (const int known : form.options)
            isKnown = isKnown || known == code;
        if (!isKnown)
            throw Failure(Usage, invocation.command + " has no option --" + optionName(code));
    }
    const std::size_t count = invocation.arguments.size();
    if (count < form.fewest || count > form.most)
        throw Failure(Usage, "it is " + invocation.command + (*form.arguments ? " " : "") +
                                 form.arguments);
    if (invocation.oneLevel && !invocation.match.empty())
        throw Failure(Usage, "--one-level and --match exclude each other");
    if (invocation.command == "proxy" && (invocation.listen.empty() || invocation.to.empty()))
        throw Failure(Usage, std::string("it is proxy ") + form.arguments);
}

/** @param word the last that was read */
[[noreturn]] void refuseOption(int code, const std::string &word)
{
    std::string name = word;
    if (optopt >= ColorOption)
        name = std::string("--") + optionName(optopt);
    else if (optopt != 0 && word.compare(0, 2, "--") != 0)
        name = std::string("-") + static_cast<char>(optopt);
    throw Failure(Usage, (code == ':' ? "no value for option '" : "unknown option '") + name + "'");
}

} // namespace

Invocation parseInvocation(const std::vector<std::string> &words, const Invocation &defaults)
{
    Invocation invocation = defaults;
    std::vector<std::string> texts(1, "kivctl");
    texts.insert(texts.end(), words.begin(), words.end());
    std::vector<char *> argv;
    argv.reserve(texts.size() + 1);
    for (std::string &text : texts)
        argv.push_back(&text[0]);
    argv.push_back(nullptr);
    const int argc = static_cast<int>(texts.size());

    std::vector<int> used;
    opterr = 0;
    optind = 0; // there may have been other command lines
    for (;;) {
        const int code = getopt_long(argc, argv.data(), shortOptions, longOptions, nullptr);
        if (code == -1)
            break;
        if (code == '?' || code == ':')
            refuseOption(code, argv[static_cast<std::size_t>(optind - 1)]);
        if (code == 'h' || code == 'V') {
            invocation.command = code == 'h' ? "--help" : "--version";
            return invocation;
        }
        if (applyGeneral(code, optarg ? optarg : "", invocation))
            continue;
        applySpecial(code, optarg ? optarg : "", invocation);
        used.push_back(code);
    }
    for (int i = optind; i < argc; ++i)
        invocation.arguments.push_back(argv[static_cast<std::size_t>(i)]);
    if (!invocation.arguments.empty()) {
        invocation.command = invocation.arguments.front();
        if (invocation.command.empty())
            throw Failure(Usage, "unknown command ''");
        invocation.arguments.erase(invocation.arguments.begin());
    }
    checkForm(invocation, used);
    return invocation;
}

} // namespace kivctl

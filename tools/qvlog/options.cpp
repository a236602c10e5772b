// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/options.h"

#include "qvlog/texts.h"
#include "qvlog/timearg.h"

#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <unistd.h>

namespace qvlog
{

namespace
{

enum OptionCode {
    LastRunOption = 256,
    MergeOption,
    LinesOption,
    Utf8Option,
    ColorOption,
    StatsOption,
    GapsOption,
    SnapshotOption
};

const char shortOptions[] = ":fn:c:m:T:g:ivS:U:A:B:C:o:qhV";

const option longOptions[] = {
    {"follow", no_argument, nullptr, 'f'},
    {"last", required_argument, nullptr, 'n'},
    {"last-run", no_argument, nullptr, LastRunOption},
    {"merge", no_argument, nullptr, MergeOption},
    {"class", required_argument, nullptr, 'c'},
    {"function", required_argument, nullptr, 'm'},
    {"tid", required_argument, nullptr, 'T'},
    {"grep", required_argument, nullptr, 'g'},
    {"ignore-case", no_argument, nullptr, 'i'},
    {"invert", no_argument, nullptr, 'v'},
    {"since", required_argument, nullptr, 'S'},
    {"until", required_argument, nullptr, 'U'},
    {"lines", required_argument, nullptr, LinesOption},
    {"after", required_argument, nullptr, 'A'},
    {"before", required_argument, nullptr, 'B'},
    {"context", required_argument, nullptr, 'C'},
    {"output", required_argument, nullptr, 'o'},
    {"utf8", no_argument, nullptr, Utf8Option},
    {"color", required_argument, nullptr, ColorOption},
    {"quiet", no_argument, nullptr, 'q'},
    {"stats", no_argument, nullptr, StatsOption},
    {"gaps", no_argument, nullptr, GapsOption},
    {"snapshot", required_argument, nullptr, SnapshotOption},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

bool isOnTerminal()
{
    const char *const terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR") && terminal &&
           std::strcmp(terminal, "dumb") != 0;
}

/** Reads the options one by one. */
class Reader
{
public:
    Reader(Options &target, std::string &reason)
        : options(target)
        , error(reason)
    {
    }

    bool read(int argc, char *argv[]);

private:
    bool apply(int code, const std::string &value);
    bool applyWithValue(int code, const std::string &value);
    bool setAction(Options::Action action);
    bool setCount(std::size_t &target, const std::string &value);
    bool setTime(std::string &target, const std::string &value);
    bool setColour(const std::string &value);
    bool refuse(int code, const std::string &word);
    bool check();
    bool fail(const std::string &reason)
    {
        error = reason;
        return false;
    }

    Options &options;
    std::string &error;
    std::string pattern;
    bool hasPattern = false;
    bool ignoreCase = false;
    bool choosesEntries = false; ///< whether there is an option that only shown entries can obey
};

bool Reader::setAction(Options::Action action)
{
    if (options.action != Options::ShowEntries && options.action != action)
        return fail("--stats, --gaps and --snapshot exclude each other");
    options.action = action;
    return true;
}

bool Reader::setCount(std::size_t &target, const std::string &value)
{
    const std::size_t mostDigits = 6;
    if (value.empty() || value.size() > mostDigits ||
        value.find_first_not_of("0123456789") != std::string::npos)
        return fail("a number from 0 to 999999 is needed, not '" + value + "'");
    target = std::stoul(value);
    choosesEntries = true;
    return true;
}

bool Reader::setTime(std::string &target, const std::string &value)
{
    return parseTime(value, std::time(nullptr), target) || fail("bad time '" + value + "'");
}

bool Reader::setColour(const std::string &value)
{
    if (value != "always" && value != "never" && value != "auto")
        return fail("--color needs always, never or auto, not '" + value + "'");
    options.printer.format.colour = value == "always" || (value == "auto" && isOnTerminal());
    return true;
}

bool Reader::apply(int code, const std::string &value)
{
    switch (code) {
    case 'f':
        options.follow = true;
        return true;
    case LastRunOption:
        options.lastRun = true;
        return true;
    case MergeOption:
        options.printer.merged = true;
        return true;
    case 'i':
        ignoreCase = true;
        return true;
    case 'v':
        options.filter.invert = true;
        return true;
    case Utf8Option:
        options.printer.format.utf8 = true;
        return true;
    case 'q':
        options.printer.quiet = true;
        return true;
    case StatsOption:
        return setAction(Options::ShowStats);
    case GapsOption:
        return setAction(Options::ShowGaps);
    default:
        return applyWithValue(code, value);
    }
}

bool Reader::applyWithValue(int code, const std::string &value)
{
    switch (code) {
    case 'n':
        options.printer.hasLast = true;
        return setCount(options.printer.last, value);
    case 'c':
        options.filter.classes.push_back(toLatin1(value));
        return true;
    case 'm':
        options.filter.functions.push_back(toLatin1(value));
        return true;
    case 'T':
        options.filter.threads.push_back(value);
        return (!value.empty() && value.find_first_not_of("0123456789") == std::string::npos) ||
               fail("--tid needs a number, not '" + value + "'");
    case 'g':
        hasPattern = true;
        pattern = value;
        return true;
    case 'S':
        return setTime(options.filter.since, value);
    case 'U':
        return setTime(options.filter.until, value);
    case LinesOption:
        return parseNumbers(value, options.filter) ||
               fail("--lines needs A..B, A.., ..B or A, not '" + value + "'");
    case 'A':
        return setCount(options.printer.after, value);
    case 'B':
        return setCount(options.printer.before, value);
    case 'C':
        return setCount(options.printer.before, value) && setCount(options.printer.after, value);
    case 'o':
        choosesEntries = true;
        return parseStyle(value, options.printer.format.style) ||
               fail("--output needs full, short, json or csv, not '" + value + "'");
    case ColorOption:
        return setColour(value);
    default:
        options.snapshot = value;
        return setAction(Options::Snapshot);
    }
}

/** @param word the last that was read, which is the one before a row of letters with an unknown one */
bool Reader::refuse(int code, const std::string &word)
{
    const bool isUnknownLetter =
        code == '?' && optopt > 0 && optopt < LastRunOption && !std::strchr(shortOptions, optopt);
    const bool isLetter =
        isUnknownLetter || (code == ':' && optopt < LastRunOption && word.compare(0, 2, "--") != 0);
    const std::string name = isLetter ? std::string("-") + static_cast<char>(optopt) : word;
    return fail((code == ':' ? "no value for option '" : "unknown option '") + name + "'");
}

bool Reader::check()
{
    if (options.logs.empty())
        return fail("which log? Give DIR/BASE");
    if (options.filter.invert && !hasPattern)
        return fail("--invert needs --grep");
    if (ignoreCase && !hasPattern)
        return fail("--ignore-case needs --grep");
    if (options.action != Options::ShowEntries && (choosesEntries || options.follow))
        return fail("--stats, --gaps and --snapshot show no entries, so --follow and the options "
                    "on how to show entries do not go with them");
    return !hasPattern || options.filter.pattern.compile(pattern, ignoreCase, error);
}

bool Reader::read(int argc, char *argv[])
{
    setColour("auto");
    opterr = 0;
    for (;;) {
        const int code = getopt_long(argc, argv, shortOptions, longOptions, nullptr);
        if (code == -1)
            break;
        if (code == 'h' || code == 'V') {
            options.action = code == 'h' ? Options::ShowHelp : Options::ShowVersion;
            return true;
        }
        if (code == '?' || code == ':')
            return refuse(code, argv[optind - 1]);
        if (!apply(code, optarg ? optarg : ""))
            return false;
    }
    for (int i = optind; i < argc; ++i) {
        LogName name;
        if (!parseLogName(argv[i], name))
            return fail(std::string("'") + argv[i] + "' has no base name; give DIR/BASE");
        options.logs.push_back(name);
    }
    options.printer.format.logNames = options.logs.size() > 1;
    return check();
}

} // namespace

bool parseOptions(int argc, char *argv[], Options &options, std::string &error)
{
    return Reader(options, error).read(argc, argv);
}

} // namespace qvlog

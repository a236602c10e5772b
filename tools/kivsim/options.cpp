// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/options.h"

#include "kivsim/number.h"

#include <getopt.h>
#include <set>
#include <sys/un.h>

namespace kivsim
{

namespace
{

enum OptionCode {
    HelpOption = 'h',
    VersionOption = 'V',
    VerboseOption = 'v',
    SocketOption = 's',
    PortOption = 'p',
    DataOption = 'd',
    MisbehaveOption = 'm',
    NoSocketOption = 256,
    MaxFrameOption,
    MaxOutputOption,
    MaxTreeOption,
    MaxClientsOption,
    ScriptOption,
    CheckOption,
    SaveOption,
    RefuseOption
};

// There are no arguments, so the first ends the options.
const char shortOptions[] = "+:hVvs:p:d:m:";

const option longOptions[] = {
    {"help", no_argument, nullptr, HelpOption},
    {"version", no_argument, nullptr, VersionOption},
    {"verbose", no_argument, nullptr, VerboseOption},
    {"socket", required_argument, nullptr, SocketOption},
    {"no-socket", no_argument, nullptr, NoSocketOption},
    {"port", required_argument, nullptr, PortOption},
    {"data", required_argument, nullptr, DataOption},
    {"misbehave", required_argument, nullptr, MisbehaveOption},
    {"max-frame", required_argument, nullptr, MaxFrameOption},
    {"max-output", required_argument, nullptr, MaxOutputOption},
    {"max-tree", required_argument, nullptr, MaxTreeOption},
    {"max-clients", required_argument, nullptr, MaxClientsOption},
    {"script", required_argument, nullptr, ScriptOption},
    {"check", required_argument, nullptr, CheckOption},
    {"save", required_argument, nullptr, SaveOption},
    {"refuse", required_argument, nullptr, RefuseOption},
    {nullptr, 0, nullptr, 0},
};

const int mostBytes = 999999999;
const int mostClients = 100000;

bool setSocketPath(const std::string &text, Options &options, std::string &error)
{
    const size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if (text.empty() || text.size() > longest) {
        error = "--socket needs a path of 1 to " + std::to_string(longest) + " bytes";
        return false;
    }
    options.socketPath = text;
    return true;
}

bool setNumber(const char *name, const std::string &text, int smallest, int largest, int &target,
               std::string &error)
{
    if (parseNumber(text, smallest, largest, target))
        return true;
    error = std::string(name) + " needs a number from " + std::to_string(smallest) + " to " +
            std::to_string(largest) + ", not '" + text + "'";
    return false;
}

bool setMisbehaviour(const std::string &text, Options &options, std::string &error)
{
    MisbehaviourOrder order;
    if (!parseMisbehaviour(text, order, error))
        return false;
    if (order.restart) {
        error = "restart can only be asked for at run time";
        return false;
    }
    options.misbehaviour = order.misbehaviour;
    return true;
}

bool applyOption(int code, const std::string &value, Options &options, std::string &error)
{
    switch (code) {
    case HelpOption:
        options.action = Options::ShowHelp;
        return true;
    case VersionOption:
        options.action = Options::ShowVersion;
        return true;
    case VerboseOption:
        options.verbose = true;
        return true;
    case SocketOption:
        return setSocketPath(value, options, error);
    case NoSocketOption:
        options.socketPath.clear();
        return true;
    case PortOption:
        return setNumber("--port", value, 0, 65535, options.port, error);
    case DataOption:
        options.dataFile = value;
        return true;
    case MisbehaveOption:
        return setMisbehaviour(value, options, error);
    case MaxFrameOption:
        return setNumber("--max-frame", value, 1, mostBytes, options.maxFrame, error);
    case MaxOutputOption:
        return setNumber("--max-output", value, 1, mostBytes, options.maxOutput, error);
    case MaxTreeOption:
        return setNumber("--max-tree", value, 1, mostBytes, options.maxTree, error);
    case MaxClientsOption:
        return setNumber("--max-clients", value, 1, mostClients, options.maxClients, error);
    case ScriptOption:
        options.scriptFile = value;
        return true;
    case CheckOption:
        options.action = Options::Check;
        options.dataFile = value;
        return true;
    case SaveOption:
        options.saveFile = value;
        return true;
    default:
        return options.refusals.add(value, error);
    }
}

/** Options that cannot both be meant. */
const struct {
    int one;
    int other;
    const char *error;
} contradictions[] = {
    {SocketOption, NoSocketOption, "--socket and --no-socket exclude each other"},
    {CheckOption, DataOption, "--check and --data exclude each other"},
    {CheckOption, SaveOption, "--check and --save exclude each other"},
};

bool checkTogether(const std::set<int> &used, std::string &error)
{
    for (const auto &contradiction : contradictions) {
        if (used.count(contradiction.one) && used.count(contradiction.other)) {
            error = contradiction.error;
            return false;
        }
    }
    return true;
}

} // namespace

bool parseOptions(int argc, char *argv[], Options &options, std::string &error)
{
    std::set<int> used;
    opterr = 0;
    for (;;) {
        const int index = optind;
        const int code = getopt_long(argc, argv, shortOptions, longOptions, nullptr);
        if (code == -1)
            break;
        if (code == '?' || code == ':') {
            error = std::string(code == ':' ? "no value for option '" : "unknown option '") +
                    argv[index < argc ? index : argc - 1] + "'";
            return false;
        }
        if (!applyOption(code, optarg ? optarg : "", options, error))
            return false;
        if (options.action == Options::ShowHelp || options.action == Options::ShowVersion)
            return true;
        used.insert(code);
    }
    if (optind < argc) {
        error = std::string("unexpected argument '") + argv[optind] + "'";
        return false;
    }
    return checkTogether(used, error);
}

std::string helpText()
{
    return "Usage: kivsim [options]\n"
           "\n"
           "A stand-in for the configuration daemon, on a Unix socket and on TCP at once. Prints\n"
           "one line when it is ready; stops on SIGTERM and SIGINT, restarts on SIGHUP.\n"
           "\n"
           "  -s, --socket PATH      Unix socket to listen on (default /tmp/kivd)\n"
           "      --no-socket        no Unix socket\n"
           "  -p, --port N           TCP port on 127.0.0.1 (default 0: any that is free)\n"
           "  -d, --data FILE        XML document to serve (default: the one that comes along)\n"
           "  -m, --misbehave ORDER  how to treat every new connection, see below\n"
           "      --script FILE      what happens to the data, and when; see README.md\n"
           "      --save FILE        write the data there in the end, and on SIGUSR1\n"
           "      --check FILE       only say whether a data file is good, and where not\n"
           "      --refuse PATH[:TYPE]  answer all requests for it with an error; may be repeated\n"
           "      --max-frame N      longest request in bytes (default 33554432)\n"
           "      --max-output N     bytes that may wait for one client (default 67108864)\n"
           "      --max-tree N       bytes that all data may have, as XML (default 33554432)\n"
           "      --max-clients N    connections at a time (default 500)\n"
           "  -v, --verbose          log every frame to the standard error output\n"
           "  -h, --help             print this and exit\n"
           "  -V, --version          print the version and exit\n"
           "\n"
           "ORDER is one or more of these words, separated by commas:\n"
           "  bytes            answer byte by byte\n"
           "  pieces:N         answer in pieces of N bytes\n"
           "  split-separator  cut each frame separator between its two bytes; without this word\n"
           "                   pieces never do so\n"
           "  gap:MS           milliseconds between two pieces (default 0)\n"
           "  delay:MS         milliseconds before each frame\n"
           "  cut[:N]          close the connection behind N bytes of the next frame (default:\n"
           "                   half of it)\n"
           "  garbage[:N]      send a frame of N meaningless bytes before each frame (default 64)\n"
           "  off              behave; stands alone\n"
           "At run time a client asks for it, for its own connection, with\n"
           "  <request><ref>R</ref><rpc><kivsim><misbehave>ORDER</misbehave></kivsim></rpc>"
           "</request>\n"
           "and there ORDER may also be\n"
           "  restart[:MS]     close all connections, read the data file again and listen again\n"
           "                   after MS milliseconds (default 500); stands alone\n"
           "\n"
           "Exit status: 0 stopped by a signal, 1 cannot run, 2 wrong command line.\n";
}

} // namespace kivsim

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/invocation.h"

namespace kivctl
{

std::string helpText()
{
    return "Usage: kivctl [options] COMMAND     talk to the configuration daemon\n"
           "       kivctl [options]             commands from standard input, one a line\n"
           "\n"
           "  -s, --socket PATH   Unix socket of the daemon (default /tmp/kivd)\n"
           "  -H, --host HOST:PORT  TCP instead\n"
           "  -t, --timeout SEC   how long to wait for an answer (default 10)\n"
           "      --color WHEN    always, never or auto, which is on terminals\n"
           "  -h, --help; -V, --version\n"
           "\n"
           "  ping [-n N]                      is it there, and how fast\n"
           "  get [-o STYLE] [--crc] PATH...   data; STYLE is xml (as it came), pretty, text\n"
           "                                   or lines (path=value); --crc checks it\n"
           "  ls PATH, tree [-L N] PATH        what is in it, N levels deep\n"
           "  set PATH TEXT                    one value; behind -- if it begins with -\n"
           "  patch|replace PATH XML|@FILE|-   elements, as the daemon's edit takes them\n"
           "  delete PATH\n"
           "  watch [--now] [--one-level] [--match RPATH] [-n N] [--for SEC] [--time]\n"
           "        [-o STYLE] PATH...         changes, also after the daemon's restart\n"
           "  wait PATH VALUE [-t SEC]         until it is so; without -t for ever\n"
           "  dump PATH [FILE]                 a subtree into a file\n"
           "  load [--merge] PATH FILE|-       and back\n"
           "  diff PATH FILE|-                 -in the file, +in the daemon; status 6\n"
           "  msg list | put REPORTER REF LEVEL TEXT [--line ID] [--data TEXT]\n"
           "           | del REPORTER REF      system messages\n"
           "  raw [-n N] [--for SEC] TEXT|@FILE|-  a frame as it stands; prints the answer\n"
           "  proxy --listen PATH --to PATH|HOST:PORT  show what others say to each other\n"
           "\n"
           "Exit status: 0 ok, 1 the daemon's error, 2 usage, 3 no connection, 4 timeout,\n"
           "5 connection lost, 6 different.\n";
}

std::string versionText()
{
    return "kivctl " KIVCTL_VERSION;
}

} // namespace kivctl

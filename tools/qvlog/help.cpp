// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/options.h"

namespace qvlog
{

std::string helpText()
{
    return "Usage: qvlog [options] DIR/BASE...\n"
           "Shows the log that the files DIR/BASE9.log to DIR/BASE0.log make up.\n"
           "\n"
           "  -f, --follow           go on with what is logged from now on\n"
           "  -n, --last N           of what there is, only the last N lines\n"
           "      --last-run         from where the application was started last\n"
           "      --merge            several logs, sorted by time\n"
           "which entries\n"
           "  -c, --class NAME       of this class; NAME may be a pattern, as 'Kiv*'\n"
           "  -m, --function NAME    of this function\n"
           "  -T, --tid N            of this thread\n"
           "  -g, --grep REGEX       whose message matches; -i ignores case\n"
           "  -v, --invert           whose message does not match\n"
           "  -S, --since TIME       2024-03-01 13:04[:05], 13:04, today, -2h, -10min ...\n"
           "  -U, --until TIME       the same, included\n"
           "      --lines A..B       with these numbers; also A.., ..B and A\n"
           "  -A, -B, -C N           with N entries after, before, around each of them\n"
           "how\n"
           "  -o, --output STYLE     full (as in the files), short, json or csv\n"
           "      --utf8             in UTF-8; json always is. The files are in Latin-1.\n"
           "      --color WHEN       always, never or auto, which is on terminals\n"
           "  -q, --quiet            no marks between the application's runs\n"
           "instead of entries\n"
           "      --stats            how many by class, by thread, by minute\n"
           "      --gaps             which numbers are missing; status 6 if some are\n"
           "      --snapshot FILE    all files, untouched, in a tar archive\n"
           "  -h, --help; -V, --version\n"
           "\n"
           "Exit status: 0 done, 1 a log cannot be read, 2 wrong command line, 6 gaps found.\n";
}

} // namespace qvlog

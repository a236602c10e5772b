// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/options.h"
#include "kivsim/server.h"
#include "kivsim/signals.h"
#include "kivsim/tree.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

/** The data file beside an installed program, or else the one in the source tree. */
std::string defaultDataFile()
{
    const QString installed =
        QCoreApplication::applicationDirPath() + QLatin1String("/" KIVSIM_INSTALLED_DATA);
    if (QFile::exists(installed))
        return QFile::encodeName(installed).constData();
    return KIVSIM_SOURCE_DATA;
}

int fail(const std::string &error, int status)
{
    std::fprintf(stderr, "kivsim: %s%s\n", error.c_str(), status == 2 ? " (try --help)" : "");
    return status;
}

/** @return the exit status */
int show(const std::string &text)
{
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0)
        return 0;
    return fail(std::string("cannot write: ") + std::strerror(errno), 1);
}

/** Reads the data file as a start would, and says what it thinks of it. */
int check(const kivsim::Options &options)
{
    kivsim::Tree tree(size_t(options.maxTree));
    std::string error;
    if (!tree.load(options.dataFile, error))
        return fail(error, 1);
    return show(options.dataFile + " is good\n");
}

} // namespace

int main(int argc, char *argv[])
{
    using namespace kivsim;
    Options options;
    std::string error;
    if (!parseOptions(argc, argv, options, error))
        return fail(error, 2);
    if (options.action == Options::ShowHelp)
        return show(helpText());
    if (options.action == Options::ShowVersion)
        return show("kivsim " KIVSIM_VERSION "\n");

    QCoreApplication application(argc, argv);
    if (options.dataFile.empty())
        options.dataFile = defaultDataFile();
    if (!options.scriptFile.empty() && !loadScript(options.scriptFile, options.script, error))
        return fail(error, 1);
    if (options.action == Options::Check)
        return check(options);
    Server server(options);
    Signals signalHandlers(server);
    if (!signalHandlers.install())
        return fail("cannot install the signal handlers", 1);
    if (!server.start(error))
        return fail(error, 1);
    const int status = application.exec();
    return server.save() ? status : 1;
}

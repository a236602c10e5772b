// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/options.h"
#include "kivsim/server.h"
#include "kivsim/signals.h"
#include "kivsim/tree.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
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

/** Reads the data file as a start would, and says what it thinks of it. */
int check(const kivsim::Options &options)
{
    kivsim::Tree tree(size_t(options.maxTree));
    std::string error;
    if (!tree.load(options.dataFile, error))
        return fail(error, 1);
    return std::printf("%s is good\n", options.dataFile.c_str()) < 0;
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
        return std::fputs(helpText().c_str(), stdout) < 0;
    if (options.action == Options::ShowVersion)
        return std::puts("kivsim " KIVSIM_VERSION) < 0;

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

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "journal.h"

#include <QtCore/QFile>

Journal::Journal(const QString &fileName)
    : file(std::fopen(QFile::encodeName(fileName).constData(), "we"))
{
    if (!file)
        qFatal("cannot write %s", qPrintable(fileName));
    clock.start();
}

Journal::~Journal()
{
    if (std::fclose(file) != 0)
        qFatal("cannot write the journal");
}

void Journal::add(const char *what, const QString &first, const QString &second,
                  const QString &third)
{
    std::fprintf(file, "%lld\t%s\t%s\t%s\t%s\n", static_cast<long long>(clock.elapsed()), what,
                 qPrintable(first), qPrintable(second), qPrintable(third));
}

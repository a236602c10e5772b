// SPDX-License-Identifier: LGPL-2.1-or-later
#include "temporaryfolder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>
#include <ftw.h>
#include <stdlib.h>

static int removeEntry(const char *path, const struct stat *, int, FTW *)
{
    return std::remove(path);
}

TemporaryFolder::TemporaryFolder(const QString &parent)
{
    const QString place = parent.isEmpty() ? QDir::tempPath() : parent;
    QByteArray name = QFile::encodeName(place + QLatin1String("/qvcommon-test-XXXXXX"));
    if (!mkdtemp(name.data()))
        qFatal("cannot create a temporary folder like %s", name.constData());
    folder = QFile::decodeName(name);
}

TemporaryFolder::~TemporaryFolder()
{
    nftw(QFile::encodeName(folder).constData(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

QString TemporaryFolder::filePath(const QString &name) const
{
    return folder + QLatin1Char('/') + name;
}

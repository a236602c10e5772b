// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_PRIVATEMOUNTS_H
#define TESTS_PRIVATEMOUNTS_H

#include <QtCore/QString>

/**
 * Gives this process mounts of its own, so that it can mount what the rest of the machine does not
 * see. Call it first in main(), while there is one thread.
 */
void enterPrivateMounts();

/** An empty text if there are private mounts, or why there are none. */
QString privateMountsProblem();

/** A small file system in memory, mounted over @a folder while the object lives. */
class MemoryFolder
{
public:
    MemoryFolder(const QString &folder, int bytes);
    ~MemoryFolder();

    bool isMounted() const { return mounted; }

private:
    Q_DISABLE_COPY(MemoryFolder)

    QByteArray folder;
    bool mounted;
};

/** A file that stands in the place of another one while the object lives. */
class MountedFile
{
public:
    MountedFile(const char *file, const char *place);
    ~MountedFile();

    bool isMounted() const { return mounted; }

private:
    Q_DISABLE_COPY(MountedFile)

    const char *place;
    bool mounted;
};

#endif

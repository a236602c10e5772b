// SPDX-License-Identifier: LGPL-2.1-or-later
#include "privatemounts.h"

#include <QtCore/QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace
{

const char *problem = "enterPrivateMounts() was not called";
int problemErrno = 0;

bool writeFile(const char *path, const char *text)
{
    std::FILE *const file = std::fopen(path, "w");
    if (!file)
        return false;
    const bool written = std::fputs(text, file) >= 0;
    return std::fclose(file) == 0 && written;
}

/** Without rights of its own a process gets them in a user namespace. */
bool unshareMounts()
{
    if (unshare(CLONE_NEWNS) == 0)
        return true;
    char users[64];
    char groups[64];
    std::snprintf(users, sizeof users, "0 %d 1", int(getuid()));
    std::snprintf(groups, sizeof groups, "0 %d 1", int(getgid()));
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeFile("/proc/self/setgroups", "deny") &&
           writeFile("/proc/self/uid_map", users) && writeFile("/proc/self/gid_map", groups);
}

} // namespace

void enterPrivateMounts()
{
    problem = nullptr;
    if (!unshareMounts())
        problem = "no private mount namespace";
    else if (mount("none", "/", "none", MS_REC | MS_PRIVATE, "") != 0)
        problem = "mounts cannot be made private";
    problemErrno = errno;
}

QString privateMountsProblem()
{
    if (!problem)
        return QString();
    return QString::fromLatin1(
               "%1 (%2); run as root, or \"sysctl kernel.unprivileged_userns_clone=1\"")
        .arg(QLatin1String(problem), QLatin1String(std::strerror(problemErrno)));
}

MemoryFolder::MemoryFolder(const QString &folder, int bytes)
    : folder(QFile::encodeName(folder))
{
    char options[64];
    std::snprintf(options, sizeof options, "size=%d,mode=755", bytes);
    mounted = mount("tmpfs", this->folder.constData(), "tmpfs", 0, options) == 0;
}

MemoryFolder::~MemoryFolder()
{
    if (mounted)
        umount2(folder.constData(), MNT_DETACH);
}

MountedFile::MountedFile(const char *file, const char *place)
    : place(place)
    , mounted(mount(file, place, nullptr, MS_BIND, nullptr) == 0)
{
}

MountedFile::~MountedFile()
{
    if (mounted)
        umount2(place, MNT_DETACH);
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "files/textfile.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace files
{

namespace
{

/** @return whether it is a device, a pipe or a link: a file in its place would not be the same */
bool isSpecial(const std::string &fileName)
{
    struct stat status;
    return lstat(fileName.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

std::string cannotRead(const std::string &name)
{
    return "cannot read " + name + ": " + std::strerror(errno);
}

} // namespace

bool readTextFile(const std::string &fileName, std::string &text, std::string &error)
{
    std::FILE *const file = std::fopen(fileName.c_str(), "re");
    if (!file) {
        error = cannotRead(fileName);
        return false;
    }
    const bool complete = readStream(file, fileName, text, error);
    std::fclose(file);
    return complete;
}

bool readStream(std::FILE *stream, const std::string &name, std::string &text, std::string &error)
{
    char buffer[16 * 1024];
    std::size_t length = 0;
    while ((length = std::fread(buffer, 1, sizeof buffer, stream)) > 0)
        text.append(buffer, length);
    if (!std::ferror(stream))
        return true;
    error = cannotRead(name);
    return false;
}

bool writeTextFile(const std::string &fileName, const std::string &text, std::string &error)
{
    const bool inPlace = isSpecial(fileName);
    const std::string written = inPlace ? fileName : fileName + ".new";
    std::FILE *const file = std::fopen(written.c_str(), "we");
    bool done = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file)
        done = std::fclose(file) == 0 && done;
    done = done && (inPlace || std::rename(written.c_str(), fileName.c_str()) == 0);
    if (done)
        return true;
    error = "cannot write " + fileName + ": " + std::strerror(errno);
    if (file && !inPlace)
        std::remove(written.c_str());
    return false;
}

} // namespace files

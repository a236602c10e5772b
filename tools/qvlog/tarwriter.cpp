// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/tarwriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace qvlog
{

namespace
{

const std::size_t blockSize = 512;
const char noBytes[2 * blockSize] = {};

/** The head of a file in the archive. All numbers are octal digits. */
struct Header {
    char name[100];
    char mode[8];
    char user[8];
    char group[8];
    char size[12];
    char time[12];
    char checksum[8];
    char type;
    char linkName[100];
    char magic[6];
    char version[2];
    char userName[32];
    char groupName[32];
    char deviceMajor[8];
    char deviceMinor[8];
    char prefix[155];
    char padding[12];
};
static_assert(sizeof(Header) == blockSize, "a header is one block");

template <std::size_t size>
void setOctal(char (&field)[size], unsigned long long number)
{
    for (std::size_t i = size - 1; i-- > 0; number /= 8)
        field[i] = static_cast<char>('0' + number % 8);
}

unsigned int sumOf(const Header &header)
{
    const unsigned char *const bytes = reinterpret_cast<const unsigned char *>(&header);
    unsigned int sum = 0;
    for (std::size_t i = 0; i < sizeof header; ++i)
        sum += bytes[i];
    return sum;
}

} // namespace

TarWriter::TarWriter(int target)
    : descriptor(target)
    , written(0)
{
}

bool TarWriter::begin(const std::string &name, unsigned long long size, std::time_t time)
{
    Header header;
    std::memset(&header, 0, sizeof header);
    if (name.size() >= sizeof header.name) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(header.name, name.data(), name.size());
    setOctal(header.mode, 0644);
    setOctal(header.user, 0);
    setOctal(header.group, 0);
    setOctal(header.size, size);
    setOctal(header.time, static_cast<unsigned long long>(time));
    header.type = '0';
    std::memcpy(header.magic, "ustar", 6);
    std::memcpy(header.version, "00", 2);
    std::memset(header.checksum, ' ', sizeof header.checksum);
    setOctal(header.checksum, sumOf(header));
    const bool done = write(reinterpret_cast<const char *>(&header), sizeof header);
    written = 0;
    return done;
}

bool TarWriter::write(const char *bytes, std::size_t length)
{
    written += length;
    while (length > 0) {
        const ssize_t count = ::write(descriptor, bytes, length);
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0) {
            bytes += count;
            length -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

bool TarWriter::end()
{
    return write(noBytes, (blockSize - written % blockSize) % blockSize);
}

bool TarWriter::finish()
{
    return write(noBytes, sizeof noBytes);
}

} // namespace qvlog

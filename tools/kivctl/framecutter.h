// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_FRAMECUTTER_H
#define KIVCTL_FRAMECUTTER_H

#include <cstddef>
#include <string>

namespace kivctl
{

/** Cuts the bytes of one direction into frames. */
class FrameCutter
{
public:
    /** @param limit longest frame in bytes */
    explicit FrameCutter(std::size_t limit);

    void feed(const char *bytes, std::size_t length);
    /** @return whether there is a whole frame; it comes without its separator, and as it came */
    bool next(std::string &frame);
    /** @return whether what there is of the next frame is longer than allowed */
    bool isTooLong() const { return buffer.size() - begin > limit; }
    /** Takes what there is of the next frame. */
    std::string takeRest();

private:
    const std::size_t limit;
    std::string buffer;
    std::size_t begin;
    std::size_t scanned;
};

} // namespace kivctl

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_FRAMESPLITTER_H
#define KIVSIM_FRAMESPLITTER_H

#include <cstddef>
#include <string>

namespace kivsim
{

/** Cuts a stream of bytes at the frame separators, wherever the reads were cut. */
class FrameSplitter
{
public:
    enum Result {
        Incomplete, ///< there is no whole frame
        Complete,   ///< there is one
        TooLong     ///< there is one beyond the limit; it has been or will be thrown away
    };

    /** @param limit the longest frame in bytes */
    explicit FrameSplitter(size_t limit);

    void append(const char *bytes, size_t length);

    /**
     * Takes the next frame.
     * @param frame the bytes of the frame without the separator, or its beginning if it is too
     * long; valid until the next call of append()
     */
    Result next(const char *&frame, size_t &length);

    /** @return how much there is of a frame whose separator has not come */
    size_t pendingBytes() const { return buffer.size() - frameBegin; }

private:
    void compact();

    std::string buffer;
    size_t frameBegin = 0; ///< where the next frame begins
    size_t scanned = 0;    ///< up to where there is no separator
    size_t limit;
    bool discarding = false; ///< whether the end of a frame that is too long is still to come
};

} // namespace kivsim

#endif

// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_MISBEHAVIOUR_H
#define KIVSIM_MISBEHAVIOUR_H

#include <cstddef>
#include <string>

namespace kivsim
{

/** How the frames of one connection are sent. The default is to behave. */
struct Misbehaviour {
    size_t pieceSize = 0;        ///< bytes of each write; 0 for whole frames
    bool splitSeparator = false; ///< whether each separator is cut between its two bytes
    int gap = 0;                 ///< milliseconds between two pieces
    int delay = 0;               ///< milliseconds before each frame
    bool cut = false;            ///< whether the connection is closed within the next frame
    bool cutHalfway = false;     ///< if so, in the middle, else behind cutAfter bytes
    size_t cutAfter = 0;
    size_t garbage = 0; ///< bytes of garbage in a frame of its own before each frame
};

/** What a misbehave request or option asks for. */
struct MisbehaviourOrder {
    Misbehaviour misbehaviour;
    bool restart = false;
    int restartDelay = 500; ///< milliseconds without a daemon
};

/**
 * Reads an order: one or more words, separated by commas.
 * @return whether it was understood; if not, error says why in one line
 */
bool parseMisbehaviour(const std::string &text, MisbehaviourOrder &order, std::string &error);

/** @return the length of the piece that follows after sent bytes of a frame */
size_t pieceLength(const Misbehaviour &misbehaviour, size_t sent, size_t total);

/** @return the number of bytes of a frame that are sent before the connection is cut */
size_t cutPosition(const Misbehaviour &misbehaviour, size_t total);

/** @return a frame of bytes without meaning, the same each time */
std::string garbageFrame(size_t size);

} // namespace kivsim

#endif

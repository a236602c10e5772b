// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LOCALCODEC_H
#define TESTS_LOCALCODEC_H

/**
 * Chooses the local 8-bit encoding, on those versions of Qt that let an application do so.
 * @param name a codec of Qt, "rot" for one that replaces each letter by the next, or null for the
 *        system's encoding
 */
void setLocalCodec(const char *name);

/**
 * Chooses what C strings are taken for, on those versions of Qt that let an application do so.
 * @param name a codec of Qt, or null for Latin-1
 * @return whether this version does
 */
bool setCodecForCStrings(const char *name);

#endif

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
 * Chooses the codec in which a C string becomes a QString, or none; only Qt 4 lets an application do
 * so.
 * @return whether it could be chosen
 */
bool setCodecForCStrings(const char *name);

#endif

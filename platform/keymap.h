// SPDX-License-Identifier: Zlib
// Raw key codes for the host's keys.
#pragma once

#include <optional>

#include <SDL.h>
#include <exec/types.h>

namespace host {

// The raw code of a key's place on the keyboard; empty for keys that the platform does not have.
// @param xKeycodes whether `key.scancode` is a keycode of the X Window System
std::optional<uint16> rawKeyCode(const SDL_keysym& key, bool xKeycodes);

// The qualifier bits for the modifiers held.
uint16 qualifiers(int modifiers);

} // namespace host

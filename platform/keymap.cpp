// SPDX-License-Identifier: Zlib
#include "keymap.h"

#include <algorithm>
#include <iterator>

#include <intuition/intuition.h>

namespace host {

namespace {

struct SymbolKey {
    SDLKey symbol;
    uint8 code;
};

// Keys that bear no letter: their symbol is the same in every layout.
constexpr SymbolKey kLayoutFree[] = {
    {SDLK_ESCAPE, 0x45},    {SDLK_F1, 0x50},        {SDLK_F2, 0x51},          {SDLK_F3, 0x52},
    {SDLK_F4, 0x53},        {SDLK_F5, 0x54},        {SDLK_F6, 0x55},          {SDLK_F7, 0x56},
    {SDLK_F8, 0x57},        {SDLK_F9, 0x58},        {SDLK_F10, 0x59},         {SDLK_F11, 0x4B},
    {SDLK_F12, 0x6F},       {SDLK_BACKSPACE, 0x41}, {SDLK_TAB, 0x42},         {SDLK_RETURN, 0x44},
    {SDLK_SPACE, 0x40},     {SDLK_LSHIFT, 0x60},    {SDLK_RSHIFT, 0x61},      {SDLK_CAPSLOCK, 0x62},
    {SDLK_LCTRL, 0x63},     {SDLK_RCTRL, 0x67},     {SDLK_LALT, 0x64},        {SDLK_RALT, 0x65},
    {SDLK_MODE, 0x65},      {SDLK_LSUPER, 0x66},    {SDLK_RSUPER, 0x67},      {SDLK_LMETA, 0x66},
    {SDLK_RMETA, 0x67},     {SDLK_MENU, 0x6B},      {SDLK_UP, 0x4C},          {SDLK_DOWN, 0x4D},
    {SDLK_RIGHT, 0x4E},     {SDLK_LEFT, 0x4F},      {SDLK_INSERT, 0x47},      {SDLK_DELETE, 0x46},
    {SDLK_HOME, 0x70},      {SDLK_END, 0x71},       {SDLK_PAGEUP, 0x48},      {SDLK_PAGEDOWN, 0x49},
    {SDLK_HELP, 0x5F},      {SDLK_PRINT, 0x6D},     {SDLK_PAUSE, 0x6E},       {SDLK_BREAK, 0x6E},
    {SDLK_NUMLOCK, 0x79},   {SDLK_SCROLLOCK, 0x6C}, {SDLK_KP0, 0x0F},         {SDLK_KP1, 0x1D},
    {SDLK_KP2, 0x1E},       {SDLK_KP3, 0x1F},       {SDLK_KP4, 0x2D},         {SDLK_KP5, 0x2E},
    {SDLK_KP6, 0x2F},       {SDLK_KP7, 0x3D},       {SDLK_KP8, 0x3E},         {SDLK_KP9, 0x3F},
    {SDLK_KP_PERIOD, 0x3C}, {SDLK_KP_DIVIDE, 0x5C}, {SDLK_KP_MULTIPLY, 0x5D}, {SDLK_KP_MINUS, 0x4A},
    {SDLK_KP_PLUS, 0x5E},   {SDLK_KP_ENTER, 0x43},
};

// Keys that bear letters, by the symbol they have in the US layout; for displays without X keycodes.
constexpr SymbolKey kUsLayout[] = {
    {SDLK_BACKQUOTE, 0x00},   {SDLK_1, 0x01},
    {SDLK_2, 0x02},           {SDLK_3, 0x03},
    {SDLK_4, 0x04},           {SDLK_5, 0x05},
    {SDLK_6, 0x06},           {SDLK_7, 0x07},
    {SDLK_8, 0x08},           {SDLK_9, 0x09},
    {SDLK_0, 0x0A},           {SDLK_MINUS, 0x0B},
    {SDLK_EQUALS, 0x0C},      {SDLK_BACKSLASH, 0x0D},
    {SDLK_q, 0x10},           {SDLK_w, 0x11},
    {SDLK_e, 0x12},           {SDLK_r, 0x13},
    {SDLK_t, 0x14},           {SDLK_y, 0x15},
    {SDLK_u, 0x16},           {SDLK_i, 0x17},
    {SDLK_o, 0x18},           {SDLK_p, 0x19},
    {SDLK_LEFTBRACKET, 0x1A}, {SDLK_RIGHTBRACKET, 0x1B},
    {SDLK_a, 0x20},           {SDLK_s, 0x21},
    {SDLK_d, 0x22},           {SDLK_f, 0x23},
    {SDLK_g, 0x24},           {SDLK_h, 0x25},
    {SDLK_j, 0x26},           {SDLK_k, 0x27},
    {SDLK_l, 0x28},           {SDLK_SEMICOLON, 0x29},
    {SDLK_QUOTE, 0x2A},       {SDLK_HASH, 0x2B},
    {SDLK_LESS, 0x30},        {SDLK_z, 0x31},
    {SDLK_x, 0x32},           {SDLK_c, 0x33},
    {SDLK_v, 0x34},           {SDLK_b, 0x35},
    {SDLK_n, 0x36},           {SDLK_m, 0x37},
    {SDLK_COMMA, 0x38},       {SDLK_PERIOD, 0x39},
    {SDLK_SLASH, 0x3A},
};

// X keycodes of keys that bear letters: runs of neighbours. They are the same in all of its keycode sets.
struct KeycodeRun {
    uint8 first, last, code;
};
constexpr KeycodeRun kXRuns[] = {
    {10, 21, 0x01}, // 1 to =
    {24, 35, 0x10}, // Q to ]
    {38, 48, 0x20}, // A to '
    {49, 49, 0x00}, // `
    {51, 51, 0x0D}, // backslash; on some keyboards right of the quote
    {52, 61, 0x31}, // Z to /
    {94, 94, 0x30}, // beside the left shift
};

template <typename Table>
std::optional<uint16> find(const Table& table, SDLKey symbol) {
    const auto found = std::find_if(std::begin(table), std::end(table),
                                    [=](const SymbolKey& k) { return k.symbol == symbol; });
    return found == std::end(table) ? std::nullopt : std::optional<uint16>(found->code);
}

std::optional<uint16> findKeycode(unsigned keycode) {
    for (const KeycodeRun& run : kXRuns)
        if (keycode >= run.first && keycode <= run.last)
            return static_cast<uint16>(run.code + (keycode - run.first));
    return std::nullopt;
}

} // namespace

std::optional<uint16> rawKeyCode(const SDL_keysym& key, bool xKeycodes) {
    if (const auto code = find(kLayoutFree, key.sym))
        return code;
    if (xKeycodes)
        if (const auto code = findKeycode(key.scancode))
            return code;
    return find(kUsLayout, key.sym);
}

uint16 qualifiers(int modifiers) {
    constexpr struct {
        int modifier;
        unsigned qualifier;
    } kMap[] = {{KMOD_LSHIFT, IEQUALIFIER_LSHIFT},  {KMOD_RSHIFT, IEQUALIFIER_RSHIFT},
                {KMOD_CAPS, IEQUALIFIER_CAPSLOCK},  {KMOD_CTRL, IEQUALIFIER_CONTROL},
                {KMOD_LALT, IEQUALIFIER_LALT},      {KMOD_RALT, IEQUALIFIER_RALT},
                {KMOD_LMETA, IEQUALIFIER_LCOMMAND}, {KMOD_RMETA, IEQUALIFIER_RCOMMAND}};
    unsigned result = 0;
    for (const auto& entry : kMap)
        if (modifiers & entry.modifier)
            result |= entry.qualifier;
    return static_cast<uint16>(result);
}

} // namespace host

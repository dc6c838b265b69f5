// SPDX-License-Identifier: Zlib
//
// Everything that can draw a row: Ormsel on each processor target, other libraries, and the memory's limit.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/images.h"

namespace bench {

enum class Kind {
    kOurs,
    kStraight,      // does the same work: straight alpha in, or no alpha at all
    kPremultiplied, // gets its source premultiplied for nothing
    kLimit,
    kControl, // the case's reference a second time: how far equal things differ
};

struct Participant {
    std::string name;
    Kind kind;
    const char* note; // nullptr, or what its figures leave out
    // Draws the next images, one after the other; the seconds it took if it measures itself.
    std::function<double(size_t blits)> blit;
    bool measuresItself = false;
};

// SDL 2 in a process of its own. Its images lie in the shared memory.
class Sdl2Process {
public:
    Sdl2Process(const std::string& program, const SharedMemory& memory);
    ~Sdl2Process();
    Sdl2Process(const Sdl2Process&) = delete;
    Sdl2Process& operator=(const Sdl2Process&) = delete;

    const std::string& version() const { return version_; }
    void load(const Case& c);
    double blit(size_t blits); // seconds
    const SharedMemory& memory;

private:
    int pid_, to_, from_;
    std::string version_;
};

// sdl2 may be nullptr. The first one is what the others are compared with: the limit, or SDL 1.2 for a call.
std::vector<Participant> participantsOf(const Case& c, Sdl2Process* sdl2);

void addLibyuv(std::vector<Participant>& list, const Case& c);

// Versions of the linked libraries, for the report.
std::string libraryVersions();

// A participant's function from one that draws one image of a list.
template <class Image, class Blit>
std::function<double(size_t)> inTurn(std::vector<Image> images, Blit blit) {
    return [images = std::move(images), blit, next = size_t{0}](size_t blits) mutable {
        for (; blits; --blits) {
            blit(images[next]);
            if (++next == images.size())
                next = 0;
        }
        return 0.0;
    };
}

} // namespace bench

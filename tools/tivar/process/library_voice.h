// What the library prints. Its only word about an exhausted heap goes to standard output, which may
// be where the picture is to go, and the export itself then reports success with wrong pixels.
#pragma once

#include <string>

#include "process/system.h"

namespace tool {

// While it lives, standard output goes into a memory file; the real one waits in `standardOutput`.
struct LibraryVoice {
    Descriptor standardOutput;
    Descriptor spoken;

    LibraryVoice();
    ~LibraryVoice();
    LibraryVoice(const LibraryVoice&) = delete;
    LibraryVoice& operator=(const LibraryVoice&) = delete;

    // The first line printed so far; "" = silence.
    std::string firstLine() const;
};

}  // namespace tool

// A picture on its way through steps that each make a new image of it.
#pragma once

#include <tivar/memory.h>

namespace tivar {

// The caller's image until a step has made one. What was made last is freed by whoever takes it.
struct WorkingImage {
    MemHandle given;
    MemHandle made;

    MemHandle current() const { return made != 0 ? made : given; }
    void replace(MemHandle next) {
        GlobalFree(made);
        made = next;
    }
};

}  // namespace tivar

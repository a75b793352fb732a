// The common block of a host, in which the library believes while it is attached.
#pragma once

#include <tivar/driver.h>

namespace support {

struct AttachedCommon {
    AttachedCommon() {
        hCommon = 1;
        lpCommon = &block;
    }
    ~AttachedCommon() {
        hCommon = 0;
        lpCommon = nullptr;
    }
    AttachedCommon(const AttachedCommon&) = delete;
    AttachedCommon& operator=(const AttachedCommon&) = delete;

    CommonBlock block = {};
};

}  // namespace support

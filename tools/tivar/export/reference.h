// A BMP file whose form an export takes over.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bmp/bmp_file.h"
#include "export/request.h"

namespace tool {

struct Reference {
    std::string name;           // as messages have it
    BmpFile file;               // without its bytes
    std::vector<uint8_t> head;  // to stand before other pixels of that form
    std::vector<Notice> notices;
    bool ownMasks{};       // that pixels cannot be written with; the head has others
    bool ownColorSpace{};  // which the head has not
};

// Damaged files are Failures.
Reference readReference(const std::string& name);
Reference referenceFrom(std::vector<uint8_t> bytes, const std::string& name);

// What the request leaves open becomes as the reference has it. Forms that cannot be written are
// Failures unless the request has another one in their place; lesser differences are notices.
void follow(const Reference& reference, ExportRequest& request);

}  // namespace tool

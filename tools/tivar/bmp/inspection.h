// What is in a BMP file, and what is wrong with it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bmp/bmp_file.h"
#include "bmp/bmp_flaw.h"
#include "picture/image.h"
#include "process/failure.h"

namespace tool {

struct Inspection {
    std::string name;  // as messages have it
    BmpFile file;
    size_t pixelsEnd{};
    BmpFlaws flaws;          // in the order of the file
    std::string notDecoded;  // why the pixels are not looked at; "" = they are
};

Inspection inspect(const std::string& input);

// The same of bytes; pictures of more pixels than reading allows are not searched for colours that
// they have not.
Inspection inspect(std::vector<uint8_t> bytes, const std::string& name, const ReadRequest& reading);

const char* nameOfForm(BmpForm form);
const char* nameOfCompression(const BmpFile& file);

// "consistent", "not decoded" or "inconsistent"
const char* verdictOf(const Inspection& inspection);

// Each prints to standard output: everything in words, a line, and a line of JSON.
void printWhole(const Inspection& inspection);
void printBrief(const Inspection& inspection);
void printBriefHeading();
void printJson(const Inspection& inspection);

// In the place of a file that cannot be read: its name and why.
void printJsonOf(const Failure& failure);

}  // namespace tool

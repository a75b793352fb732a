// What is in a BMP file, and what is wrong with it.

#ifndef TIVAR_TOOL_INSPECTION_H
#define TIVAR_TOOL_INSPECTION_H

#include <string>

#include "bmp/bmp_file.h"
#include "bmp/bmp_flaw.h"

namespace tool {

struct Inspection {
    std::string name;  // as messages have it
    BmpFile file;
    size_t pixelsEnd{};
    BmpFlaws flaws;          // in the order of the file
    std::string notDecoded;  // why the pixels are not looked at; "" = they are
};

Inspection inspect(const std::string& input);

const char* nameOfForm(BmpForm form);
const char* nameOfCompression(const BmpFile& file);

// "consistent", "not decoded" or "inconsistent"
const char* verdictOf(const Inspection& inspection);

// Each prints to standard output: everything in words, a line, and a line of JSON.
void printWhole(const Inspection& inspection);
void printBrief(const Inspection& inspection);
void printBriefHeading();
void printJson(const Inspection& inspection);

}  // namespace tool

#endif

// Numbers as a page has them.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

std::string fixed(double number, int digits);

// 308278 as 308 278, with a narrow space that no line ends at.
std::string grouped(uint64_t number);

// For people, and for programs. No error at all is "identical", unless the colours are not and
// only their greys were compared.
std::string decibelText(double decibels, bool sameColors);
std::string decibelValue(double decibels);

std::string timeText(double seconds);

}  // namespace tool

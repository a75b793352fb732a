// Profiles as texts: reading and rewriting them as plainly as it can be said, a line at a time.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "harness/input.h"

namespace fuzz {

// What a query answers: the result and the whole buffer.
struct PlainAnswer {
    std::int32_t result;
    Bytes buffer;
};

// No key lists the keys; no file is a profile that is not there.
PlainAnswer plainProfileString(const std::optional<std::string>& file, const std::string& section,
                               const std::optional<std::string>& key,
                               const std::string& defaultText, std::int32_t size);
std::int32_t plainProfileInt(const std::optional<std::string>& file, const std::string& section,
                             const std::string& key, std::int32_t defaultValue);

// The file after a change: no value removes the entry, no key the section.
std::string plainProfileWrite(const std::optional<std::string>& file, const std::string& section,
                              const std::optional<std::string>& key,
                              const std::optional<std::string>& value);

}  // namespace fuzz

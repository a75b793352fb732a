// The library's settings record, and the mode of a profile that it comes from.
#pragma once

#include <string>

#include "process/library.h"

namespace tool {

struct Settings {
    const Library& library;
    std::string profile;  // as the user named it; "" = the built-in defaults
    MemHandle handle;
    SetupRecord* record;

    // mode "" = the one that the profile's ~Mode names. A profile that cannot be read is a Failure.
    Settings(const Library& loaded, const std::string& profileName, const std::string& mode);
    ~Settings();
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;
};

// Whether the mode's section has the key Driver, without which nothing is read from it.
bool hasMode(const Settings& settings);

// The same as a Failure, for settings that come from a profile.
void requireMode(const Settings& settings);

// Whether the mode's section has the key, with or without a value.
bool hasKey(const Settings& settings, const char* key);

// The key's value as the library reads it; "" when there is none.
std::string profileText(const Settings& settings, const char* key);

}  // namespace tool

// The commands about profiles.
#pragma once

#include <string>
#include <vector>

#include "process/library.h"

namespace tool {

// What the user asks of a profile's settings.
struct SettingsRequest {
    std::string profile;
    std::string mode;
    std::vector<std::string> assignments;  // KEY=VALUE
    bool force = false;
};

// Every setting in words and code, with where it comes from, on standard output.
void showSettings(const Library& library, const SettingsRequest& request);

// Checks all assignments, then writes them into the mode's section one by one.
void setSettings(const Library& library, const SettingsRequest& request);

// Writes a commented profile that holds every key.
void initSettings(const SettingsRequest& request);

}  // namespace tool

#include "settings/settings.h"

#include <array>
#include <new>

#include "process/failure.h"
#include "settings/profile_file.h"

namespace tool {
namespace {

void checkProfile(const SetupRecord& record, const std::string& profile) {
    if (profile.size() >= sizeof record.profilePath) {
        failAt(profile, "a profile's path may have at most 143 characters", "use a shorter path");
    }
    if (record.profilePath[0] == '\0') {
        failAt(profile, "the profile cannot be read",
               "check the path, or make it with \"tivar settings init\"");
    }
}

std::string textIn(const Settings& settings, const char* section, const char* key,
                   const char* otherwise) {
    std::array<char, 257> value{};  // longer than any line, so that it is always terminated
    const SetupRecord& record = *settings.record;
    settings.library.profileString(section, key, otherwise, value.data(),
                                   static_cast<int32_t>(value.size()), record.profilePath);
    return value.data();
}

std::string profileTextOr(const Settings& settings, const char* key, const char* otherwise) {
    return textIn(settings, settings.record->modeName, key, otherwise);
}

// The profile's modes, a comma between them.
std::string listModes(const Settings& settings) {
    std::string list;
    for (const std::string& section : sectionsOf(settings.record->profilePath)) {
        const bool isMode = !textIn(settings, section.c_str(), "Driver", "").empty();
        if (isMode) list += (list.empty() ? "" : ", ") + section;
    }
    return list;
}

// Before the library reads it.
const char* checkedName(const std::string& profile) {
    if (!profile.empty()) requireReadable(profile);
    return profile.c_str();
}

}  // namespace

Settings::Settings(const Library& loaded, const std::string& profileName, const std::string& mode)
    : library(loaded),
      profile(profileName),
      handle(loaded.createSetup(0, checkedName(profileName), mode.c_str(), nullptr)),
      record(static_cast<SetupRecord*>(loaded.globalLock(handle))) {
    if (record == nullptr) throw std::bad_alloc();
    if (profile.empty()) {
        // Without a name the library would take a file called ".ini" for its profile.
        library.useDefaultSettings(record);
        record->lineMode = 0;  // the one setting that the defaults leave as it is
        return;
    }
    try {
        checkProfile(*record, profile);
    } catch (...) {
        library.destroySetup(handle);
        throw;
    }
}

Settings::~Settings() {
    library.destroySetup(handle);
}

bool hasMode(const Settings& settings) {
    return settings.record->driverName[0] != '\0';
}

void requireMode(const Settings& settings) {
    if (settings.profile.empty() || hasMode(settings)) return;
    const std::string mode = settings.record->modeName;
    const std::string modes = listModes(settings);
    if (modes.empty()) {
        failAt(settings.profile, "no section of the profile has a key Driver, so it has no mode",
               "start a profile with \"tivar settings init\"");
    }
    const std::string remedy = "name one of its modes with --mode: " + modes;
    if (mode.empty()) {
        failAt(settings.profile, "no mode is named, neither by --mode nor by the profile's ~Mode",
               remedy);
    }
    failAt(settings.profile, "the profile has no section " + mode + " with a key Driver", remedy);
}

bool hasKey(const Settings& settings, const char* key) {
    constexpr char kMissing[] = "\n";  // no value of a profile
    return profileTextOr(settings, key, kMissing) != kMissing;
}

std::string profileText(const Settings& settings, const char* key) {
    return profileTextOr(settings, key, "");
}

}  // namespace tool

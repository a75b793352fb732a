#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "process/printable.h"
#include "settings/display_page.h"
#include "settings/setting_keys.h"
#include "settings/settings.h"
#include "settings/settings_commands.h"

namespace tool {
namespace {

bool followsDisplay(const SetupRecord& record, std::string_view key) {
    if (key == "X Resolution" || key == "Y Resolution") {
        return record.resolutionMode == RESOLUTION_OF_DISPLAY;
    }
    return (key == "Width" || key == "Height") && record.sizeMode == SIZE_OF_DISPLAY;
}

// What the library makes of the profile's text; false when it takes its default instead.
bool readNumber(const Settings& settings, const SettingKey& key, double& value) {
    if (key.kind == SettingKind::Inches) {
        value = std::strtod(profileText(settings, key.name).c_str(), nullptr);
        return hasKey(settings, key.name);
    }
    const SetupRecord& record = *settings.record;
    const auto read = [&](int32_t otherwise) {
        return settings.library.profileInt(record.modeName, key.name, otherwise,
                                           record.profilePath);
    };
    value = read(0);
    return read(0) == read(1);
}

std::string displayOrigin(double value) {
    const bool usable = std::isfinite(value) && value > 0;
    return usable ? "display" : "display (" + displayVariable() + ")";
}

// A mode of the printer falls back to the display, a value out of range to the default.
std::string originOf(const Settings& settings, const SettingKey& key) {
    if (settings.profile.empty()) return "default";
    if (key.kind == SettingKind::Text) return "profile";
    const SetupRecord& record = *settings.record;
    if (followsDisplay(record, key.name)) return displayOrigin(key.value(record));
    double read = 0;
    if (!readNumber(settings, key, read)) return "default";
    if (read == key.value(record)) return "profile";
    return std::string(key.kind == SettingKind::Code ? "display" : "default") +
           " (the profile has " + profileText(settings, key.name) + ")";
}

std::string valueOf(const SetupRecord& record, const SettingKey& key) {
    if (key.kind == SettingKind::Text) return record.driverName;
    const double value = key.value(record);
    return std::isfinite(value) ? formatNumber(value) : "none";
}

const char* wordsOf(const SetupRecord& record, const SettingKey& key) {
    const bool measured = key.kind != SettingKind::Text && std::isfinite(key.value(record));
    return measured ? meaningOf(key, key.value(record)) : "";
}

void printSettings(const Settings& settings) {
    const SetupRecord& record = *settings.record;
    size_t width = 0;
    for (const SettingKey& key : settingKeys()) {
        width = std::max(width, valueOf(record, key).size());
    }
    for (const SettingKey& key : settingKeys()) {
        std::printf("%-16s  %-*s  %-34s  %s\n", key.name, static_cast<int>(width),
                    printable(valueOf(record, key)).c_str(), wordsOf(record, key),
                    printable(originOf(settings, key)).c_str());
    }
}

}  // namespace

void showSettings(const Library& library, const SettingsRequest& request) {
    const Settings settings(library, request.profile, request.mode);
    requireMode(settings);
    const SetupRecord& record = *settings.record;
    if (request.profile.empty()) {
        std::printf("no profile, built-in settings\n\n");
    } else {
        std::printf("profile %s, mode %s\n\n", printable(record.profilePath).c_str(),
                    printable(record.modeName).c_str());
    }
    printSettings(settings);
}

}  // namespace tool

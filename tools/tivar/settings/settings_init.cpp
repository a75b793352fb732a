#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "process/failure.h"
#include "process/inherited.h"
#include "process/output.h"
#include "settings/setting_keys.h"
#include "settings/settings_commands.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr char kFilterSection[] = "TIVAR";
constexpr char kDefaultProfile[] = "OXL.INI";
constexpr size_t kLongestPath = sizeof SetupRecord{}.profilePath - 1;
constexpr size_t kLongestMode = sizeof SetupRecord{}.modeName - 1;

std::string iniDirectory() {
    const char* directory = std::getenv("INIDIR");
    return directory == nullptr ? "" : directory;
}

// The file that the library would take for name, if it is not the one that name says.
std::string shadowOf(const std::string& name) {
    std::error_code error;
    const std::string directory = iniDirectory();
    const fs::path other = directory + "/" + name;
    const bool hides =
        !directory.empty() && fs::exists(other, error) && !fs::equivalent(other, name, error);
    return hides ? other.string() : "";
}

std::string targetOf(const SettingsRequest& request) {
    if (!request.profile.empty()) return request.profile;
    const std::string directory = iniDirectory();
    return directory.empty() ? kDefaultProfile : (fs::path(directory) / kDefaultProfile).string();
}

void checkMode(const std::string& mode) {
    const auto isPlain = [](char c) {
        return static_cast<unsigned char>(c) >= ' ' &&
               std::string("[]\";").find(c) == std::string::npos;
    };
    const bool usable = mode.size() <= kLongestMode && mode.front() != ' ' && mode.back() != ' ' &&
                        std::all_of(mode.begin(), mode.end(), isPlain) &&
                        !equalBlind(mode, kFilterSection);
    if (usable) return;
    failUsage("--mode " + mode + " cannot name a section",
              "leave out brackets, quotes, semicolons and the name TIVAR");
}

void checkTarget(const std::string& target, bool force) {
    std::error_code error;
    if (target.size() > kLongestPath) {
        failAt(target, "a profile's path may have at most 143 characters", "use a shorter path");
    }
    const std::string shadow = shadowOf(target);
    if (!shadow.empty()) {
        failAt(target, shadow + " would be read in its place", "name that one or unset INIDIR");
    }
    if (!force && fs::exists(fs::symlink_status(target, error))) {
        failAt(target, "is there already", "replace it with --force or name another file");
    }
}

std::string describe(const SettingKey& key) {
    std::string text = "; " + std::string(key.about);
    if (key.kind == SettingKind::Whole || key.kind == SettingKind::Inches) {
        text += ", " + rangeOf(key);
    }
    text += ".\n";
    for (const SettingWord& word : key.words) {
        text += ";   " + std::to_string(word.code) + "  " + word.meaning + "\n";
    }
    return text;
}

std::string starter(const std::string& mode) {
    std::string text =
        "; Settings for exports. A line that starts with a semicolon is a comment;\n"
        "; keys have no blanks around their \"=\", and every line is ended.\n\n[" +
        std::string(kFilterSection) +
        "]\n; The section whose settings count when the host names none.\n~Mode=" + mode + "\n\n[" +
        mode + "]\n";
    for (const SettingKey& key : settingKeys()) {
        text += describe(key) + key.name + "=" + key.initial + "\n\n";
    }
    text +=
        "; Without Size Mode, Width and Height the command-line host keeps each picture's size.\n";
    return text;
}

}  // namespace

void initSettings(const SettingsRequest& request) {
    const std::string mode = request.mode.empty() ? "Default" : request.mode;
    const std::string target = targetOf(request);
    checkMode(mode);
    if (!isStandardOutput(target)) checkTarget(target, request.force);
    Output output(target, duplicate(STDOUT_FILENO));
    const std::string text = starter(mode);
    const int error = writeAll(output.file.number, text.data(), text.size());
    if (error != 0) failErrno(output.name, error);
    commit(output);
}

}  // namespace tool

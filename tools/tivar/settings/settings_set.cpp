#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "process/failure.h"
#include "process/interrupt.h"
#include "settings/profile_file.h"
#include "settings/setting_keys.h"
#include "settings/settings.h"
#include "settings/settings_commands.h"

namespace tool {
namespace {

// One entry of the mode's section as it is to be.
struct Change {
    const SettingKey* key;
    double value;
    std::string text;
};

bool isDriverName(const std::string& text) {
    constexpr size_t kLongest = 12;
    const auto plain = [](char c) { return c > ' ' && c < 127 && c != ';' && c != '"'; };
    return !text.empty() && text.size() <= kLongest && std::all_of(text.begin(), text.end(), plain);
}

Change parseChange(const std::string& assignment) {
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
        failUsage(assignment + " is no KEY=VALUE", "write it as \"X Resolution=96\" or bits=4");
    }
    const std::string name = assignment.substr(0, equals);
    Change change{findSetting(name), 0, assignment.substr(equals + 1)};
    if (change.key == nullptr) {
        failUsage(name + " is no setting", "see tivar settings show for their names");
    }
    if (change.key->kind == SettingKind::Text) {
        if (isDriverName(change.text)) return change;
        failUsage(assignment + " is no name of 1 to 12 characters",
                  "leave out blanks, quotes and semicolons");
    }
    if (!parseSetting(*change.key, change.text, change.value)) {
        const bool code = change.key->kind == SettingKind::Code;
        failUsage(
            assignment + (code ? " is none of " : " is not in the range ") + rangeOf(*change.key),
            code ? "choose one of these values" : "choose a value in this range");
    }
    change.text = formatNumber(change.value);
    return change;
}

std::vector<Change> parseChanges(const std::vector<std::string>& assignments) {
    std::vector<Change> changes;
    for (const std::string& assignment : assignments) {
        const Change change = parseChange(assignment);
        for (const Change& other : changes) {
            if (other.key != change.key) continue;
            failUsage(std::string(change.key->name) + " is given twice", "choose one value");
        }
        changes.push_back(change);
    }
    return changes;
}

bool nameDriver(const std::vector<Change>& changes) {
    return std::any_of(changes.begin(), changes.end(),
                       [](const Change& c) { return c.key->kind == SettingKind::Text; });
}

// A section becomes a mode by its key Driver.
void requireTarget(const Settings& settings, const std::vector<Change>& changes) {
    if (settings.record->modeName[0] == '\0' || hasMode(settings)) return requireMode(settings);
    if (nameDriver(changes)) return;
    failAt(settings.profile,
           std::string("mode ") + settings.record->modeName + " has no key Driver",
           "set Driver=TIVAR.1, too, to make it a mode");
}

// Sets and saves through the library's escape, which checks the range once more.
void saveByEscape(const Settings& settings, const Change& change) {
    const SettingKey& key = *change.key;
    double inches = change.value;
    auto number = static_cast<int32_t>(change.value) + key.escapeOffset;
    const bool takesInches = key.kind == SettingKind::Inches;
    const int32_t result = settings.library.escapeSetup(
        settings.handle, key.escape, takesInches ? int32_t{sizeof inches} : int32_t{sizeof number},
        takesInches ? static_cast<void*>(&inches) : &number, nullptr, 1);
    if (result != 1) {
        failAt(settings.profile, "the library refused " + std::string(key.name) + "=" + change.text,
               "choose a value in the range " + rangeOf(key));
    }
    endLastLine(settings.record->profilePath);
}

void saveByText(const Settings& settings, const Change& change) {
    const SetupRecord& record = *settings.record;
    settings.library.writeProfileString(record.modeName, change.key->name, change.text.c_str(),
                                        record.profilePath);
    endLastLine(record.profilePath);
}

bool readsBack(const Settings& settings, const Change& change) {
    const std::string text = profileText(settings, change.key->name);
    if (change.key->kind == SettingKind::Text) return text == change.text;
    double value = 0;
    return parseSetting(*change.key, text, value) && value == change.value;
}

// The escapes save a width with other text in front of it and a height of three digits, so what is
// in the profile counts, and the library tells of no write that fails.
void save(const Settings& settings, const Change& change) {
    endLastLine(settings.record->profilePath);
    if (change.key->escape != 0) saveByEscape(settings, change);
    if (!readsBack(settings, change)) saveByText(settings, change);
    if (!readsBack(settings, change)) {
        failAt(settings.profile, std::string(change.key->name) + " could not be written",
               "check the free space and the profile's section");
    }
}

}  // namespace

void setSettings(const Library& library, const SettingsRequest& request) {
    const std::vector<Change> changes = parseChanges(request.assignments);
    const Settings settings(library, request.profile, request.mode);
    requireTarget(settings, changes);
    requireWritable(settings.record->profilePath);
    for (const Change& change : changes) {
        {
            const DeferSignals deferred;
            save(settings, change);
        }
        throwIfInterrupted();
    }
}

}  // namespace tool

// The settings that a mode of a profile can hold: keys, codes, words and ranges.
#pragma once

#include <tivar/filter.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tool {

enum class SettingKind { Text, Code, Whole, Inches };

struct SettingWord {
    int32_t code;
    const char* word;     // as the user may type it
    const char* meaning;  // as the user reads it
};

struct SettingKey {
    const char* name = "";   // in the profile
    const char* alias = "";  // shorter, on the command line; "" = none
    SettingKind kind = SettingKind::Text;
    std::span<const SettingWord> words{};  // of Code
    double lowest = 0;                     // of Whole and Inches
    double highest = 0;
    int32_t escape = 0;        // sets it through the library; 0 = none does
    int32_t escapeOffset = 0;  // added to the code for the escape
    const char* initial = "";  // in a fresh profile
    const char* about = "";    // codes and ranges follow it
    double (*value)(const SetupRecord& record) = nullptr;  // not of Text
};

std::span<const SettingKey> settingKeys();

// The key of that name or alias, case-blind, with - or _ for a blank; null when there is none.
const SettingKey* findSetting(std::string_view name);

// "1 (215), 4 (219), 8 (221), 24 (222)" or "32 to 400"
std::string rangeOf(const SettingKey& key);

// The number that text stands for: the code of a word, or the number itself. False when it is none
// that the key takes.
bool parseSetting(const SettingKey& key, const std::string& text, double& value);

// The word's meaning, or the unit.
const char* meaningOf(const SettingKey& key, double value);

// As the profile holds it, and reads it back to the same number.
std::string formatNumber(double value);

bool equalBlind(std::string_view a, std::string_view b);

}  // namespace tool

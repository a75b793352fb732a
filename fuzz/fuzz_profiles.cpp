// Profiles of any bytes: queries and changes against the plain reading of the same text, and what
// every user of a profile relies on: what was written is read, and the rest stays.
#include <stdlib.h>
#include <tivar/filter.h>
#include <tivar/memory.h>

#include <cstdio>
#include <memory>

#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/plain_profile.h"
#include "harness/scratch.h"
#include "harness/target.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;
using Text = std::string;
using MaybeText = std::optional<Text>;

Bytes bytesOf(const Text& text) {
    return Bytes(text.begin(), text.end());
}

// Few names, so that they meet.
Text makeName(Input& input) {
    const char* names[] = {"TIVAR",
                           "tivar",
                           "Mode",
                           "Width",
                           "Height",
                           "Driver",
                           "a",
                           "b",
                           "File Type",
                           "A",
                           "x y",
                           "~Mode",
                           " a ",
                           "[a]",
                           "\"a\"",
                           "a;b",
                           "a=b",
                           "c",
                           "",
                           "\"\"",
                           "Color Format",
                           "Compression Mode",
                           "Resolution Mode",
                           "XRes",
                           "YRes",
                           "Size Mode"};
    return input.oneIn(8) ? input.text(40) : input.pick(names);
}

Text makeValue(Input& input) {
    const char* values[] = {"1",   "0x1F",  "222",        "-5",    "12abc",   "6.67", "\"quoted\"",
                            "a b", "text",  "",           "331",   "TIVAR.1", "0x",   "99999999999",
                            "nan", "1e999", "; comment",  "a ; b", "\"\"",    "\"",   "332",
                            "228", "602",   "0xFFFFFFFF5"};
    return input.oneIn(4) ? input.text(60) : input.pick(values);
}

Text makeEnding(Input& input) {
    const char* endings[] = {"\n", "\n", "\r\n", "\r\n", "\r", "\n\n", " \n", ""};
    return input.pick(endings);
}

// A line of any kind. What the input gives is taken a statement at a time: compilers differ in the
// order within one.
Text makeLine(Input& input) {
    const std::uint32_t kind = input.below(8);
    if (kind == 7) {
        const Text key(input.u8(), 'k');
        const Text value(input.u8(), 'v');
        return key + (input.oneIn(2) ? "=" : "") + value;
    }
    const Text name = makeName(input);
    if (kind < 2) return "[" + name + "]";
    if (kind == 6) return (input.oneIn(2) ? ";" : "") + name;
    const Text value = makeValue(input);
    if (kind < 5) return name + "=" + value;
    return name + (input.oneIn(2) ? " = " : ";=") + value;
}

MaybeText makeProfile(Input& input) {
    if (input.oneIn(16)) return {};
    if (input.oneIn(4)) {
        const Bytes bytes = input.bytes(input.u8());
        return Text(bytes.begin(), bytes.end());
    }
    Text profile;
    const bool mixed = input.oneIn(4);
    const Text ending = makeEnding(input);
    for (std::uint32_t left = input.below(14); left > 0; --left) {
        profile += makeLine(input);
        profile += mixed ? makeEnding(input) : ending;
    }
    return profile;
}

struct Profile {
    explicit Profile(Input& input)
        : path(fuzz::scratchPath("tivar-fuzz.ini")), text(makeProfile(input)) {
        fuzz::removeFile(path);
        if (text) fuzz::writeFile(path, bytesOf(*text));
        // By its name alone the profile is found in the directory of profiles.
        if (input.oneIn(4)) {
            setenv("INIDIR", fuzz::scratchPath("").c_str(), 1);
            name = "tivar-fuzz.ini";
        } else {
            name = path;
        }
    }
    ~Profile() {
        unsetenv("INIDIR");
        fuzz::removeFile(path);
    }
    Profile(const Profile&) = delete;
    Profile& operator=(const Profile&) = delete;

    // A profile found nowhere is made under its name in the current directory, which is no place
    // for it.
    bool isWritable() const { return text.has_value() || name == path; }
    // Made there beside one that was there all the time, it would hide that one.
    void requireUnhidden() const {
        if (name == path || !fuzz::fileExists(name)) return;
        fuzz::removeFile(name);
        fuzz::fail("a profile in the directory of profiles is hidden by a new one");
    }

    Text path;
    Text name;
    MaybeText text;
};

const char* orNull(const MaybeText& text) {
    return text ? text->c_str() : nullptr;
}

void query(Input& input, const Profile& profile) {
    const Text section = makeName(input);
    const MaybeText key = input.oneIn(4) ? MaybeText() : makeName(input);
    const Text fallback = makeValue(input);
    const std::int32_t size =
        1 + (input.oneIn(4) ? input.u8() : static_cast<std::int32_t>(input.below(24)));
    const std::unique_ptr<char[]> buffer(new char[static_cast<std::size_t>(size)]);
    std::memset(buffer.get(), 0x5A, static_cast<std::size_t>(size));
    const std::int32_t result = GetPrivateProfileString(
        section.c_str(), orNull(key), fallback.c_str(), buffer.get(), size, profile.name.c_str());
    fuzz::PlainAnswer expected = {0, Bytes(static_cast<std::size_t>(size), 0x5A)};
    if (!section.empty())
        expected = fuzz::plainProfileString(profile.text, section, key, fallback, size);
    requireEqual(result, expected.result, "the characters found");
    requireSame(Bytes(buffer.get(), buffer.get() + size), expected.buffer, "the text found");
    if (!key || section.empty()) return;
    const std::int32_t defaultValue = input.wildSigned();
    requireEqual(
        GetPrivateProfileInt(section.c_str(), key->c_str(), defaultValue, profile.name.c_str()),
        fuzz::plainProfileInt(profile.text, section, *key, defaultValue), "the number found");
}

bool isPlain(const Text& text) {
    for (const char c : text)
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '.') return false;
    return !text.empty();
}

// What was written is what is read, in a profile where nothing else passes for the header.
void requireReadable(const Profile& profile, const Text& section, const Text& key,
                     const Text& value) {
    if (!isPlain(section) || !isPlain(key) || !isPlain(value) || profile.text) return;
    char buffer[300] = {};
    GetPrivateProfileString(section.c_str(), key.c_str(), "", buffer, sizeof buffer,
                            profile.name.c_str());
    require(value == buffer, "what was written is read");
}

void change(Input& input, Profile& profile) {
    const Text section = makeName(input);
    const MaybeText key = input.oneIn(8) ? MaybeText() : makeName(input);
    const MaybeText value = input.oneIn(4) ? MaybeText() : makeValue(input);
    const std::uint32_t failing = input.oneIn(8) ? input.below(6) : 0;
    if (!profile.isWritable()) return;
    {
        const fuzz::FailingAllocation failure(failing);
        WritePrivateProfileString(section.c_str(), orNull(key), orNull(value),
                                  profile.name.c_str());
    }
    profile.requireUnhidden();
    const Text expected = fuzz::plainProfileWrite(profile.text, section, key, value);
    const Bytes after = fuzz::readFile(profile.path);
    const Text found(after.begin(), after.end());
    if (fuzz::HeapWatch::refused()) {
        require(found == profile.text.value_or("") || found == expected,
                "the old or the complete new profile is there");
    } else {
        requireSame(after, bytesOf(expected), "the new profile");
        if (key && value) requireReadable(profile, section, *key, *value);
    }
    if (fuzz::fileExists(profile.path)) profile.text = found;
}

// Settings from the profile, and escapes that save to it: whatever it holds, nothing breaks.
void useSettings(Input& input, Profile& profile) {
    const Text mode = makeName(input);
    const std::uint32_t failing = input.oneIn(8) ? input.below(12) : 0;
    const bool saves = input.oneIn(2) && profile.isWritable();
    {
        const fuzz::FailingAllocation failure(failing);
        const MemHandle setup =
            CreateSetup(0, profile.name.c_str(), mode.c_str(), makeName(input).c_str());
        constexpr std::int32_t escapes[] = {1, 11, 12, 13, 14, 18, 19, 57, 16, 17};
        for (int i = 0; setup != 0 && i < 4; ++i) {
            const std::int32_t escape = input.pick(escapes);
            const bool isSize = escape == 13 || escape == 14;
            std::int32_t number[2] = {input.wildSigned(), 0};
            double size[2] = {input.number(), 0};
            void* data = isSize || escape == 17 ? static_cast<void*>(size) : number;
            std::int32_t out[4] = {};
            const std::int32_t result =
                xEscapeSetup(setup, escape, isSize ? 8 : 4, data,
                             escape == 17 ? static_cast<void*>(size) : out, saves ? 1 : 0);
            require(result == 1 || result == -1, "an escape is done or refused");
        }
        LimitCheck();
        DestroySetup(setup);
    }
    profile.requireUnhidden();
    const Bytes after = fuzz::readFile(profile.path);
    if (!saves && profile.text) requireSame(after, bytesOf(*profile.text), "the profile stays");
    if (fuzz::fileExists(profile.path)) profile.text = Text(after.begin(), after.end());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    fuzz::scratchPath("");
    const fuzz::HeapWatch watch;
    Profile profile(input);
    for (int i = 0; i < 6 && (i == 0 || !input.empty()); ++i) {
        switch (input.below(8)) {
            case 0:
            case 1:
            case 2:
                query(input, profile);
                break;
            case 7:
                useSettings(input, profile);
                break;
            default:
                change(input, profile);
                break;
        }
    }
    return 0;
}

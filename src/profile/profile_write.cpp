// Rewriting profiles. The new text goes to a file beside the profile, which is renamed over it when
// it is complete: whatever fails, the old or the complete new profile is there.
#include <tivar/filter.h>
#include <tivar/stream.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "base/beside.h"
#include "base/files.h"
#include "base/memory.h"
#include "base/text.h"
#include "base/turn.h"
#include "io/stream_record.h"
#include "profile/profile_path.h"
#include "profile/profile_text.h"

namespace tivar {
namespace {

// What to change: key and value given sets an entry, value null removes it, key null the section.
struct Change {
    const SectionName& section;
    const char* key;
    const char* value;
};

struct Output {
    OxlStream stream;
    bool complete;  // false once anything could not be written
};

void put(Output& output, const char* text, size_t length) {
    const auto wanted = static_cast<int32_t>(length);
    if (oxlWrite(output.stream, text, wanted) != wanted) output.complete = false;
}

void putLine(Output& output, const char* text, size_t length) {
    const auto wanted = static_cast<int32_t>(length);
    if (oxlWriteLine(output.stream, text, wanted) != wanted) output.complete = false;
}

void putLine(Output& output, const ProfileLine& line) {
    putLine(output, line.text, static_cast<size_t>(line.length));
}

void putEntry(Output& output, const Change& change) {
    put(output, change.key, std::strlen(change.key));
    put(output, "=", 1);
    putLine(output, change.value, std::strlen(change.value));
}

bool isEntryOf(const ProfileLine& line, const char* key) {
    char name[kProfileLine + 1];
    std::memcpy(name, line.text, sizeof name);
    char* equals = std::strchr(name, '=');
    if (equals == nullptr || CleanLine(line, kCleanEntry).isEmpty()) return false;
    *equals = '\0';
    trimText(name);
    return stricmp(name, key) == 0;
}

// The three section rewrites take the lines behind the header up to the next section's, which they
// leave in line; false at the end of the file.

bool setEntry(OxlStream source, Output& output, const Change& change, ProfileLine& line) {
    putLine(output, line);
    bool found = false;
    bool more = false;
    while ((more = readProfileLine(source, line)) && !startsSection(line)) {
        if (isEntryOf(line, change.key)) {
            putEntry(output, change);
            found = true;
        } else {
            putLine(output, line);
        }
    }
    if (!found) putEntry(output, change);
    return more;
}

bool removeEntry(OxlStream source, Output& output, const Change& change, ProfileLine& line) {
    const ProfileLine header = line;
    bool headerWritten = false;
    bool more = false;
    while ((more = readProfileLine(source, line)) && !startsSection(line)) {
        if (isEntryOf(line, change.key)) continue;
        // A section that holds nothing else goes with its header.
        if (!headerWritten) putLine(output, header);
        headerWritten = true;
        putLine(output, line);
    }
    return more;
}

bool removeSection(OxlStream source, ProfileLine& line) {
    bool more = false;
    while ((more = readProfileLine(source, line)) && !startsSection(line)) {
    }
    return more;
}

bool rewriteSection(OxlStream source, Output& output, const Change& change, ProfileLine& line) {
    if (change.key == nullptr) return removeSection(source, line);
    return change.value == nullptr ? removeEntry(source, output, change, line)
                                   : setEntry(source, output, change, line);
}

// Copies the profile with the change; true when its section was there.
bool copyProfile(OxlStream source, Output& output, const Change& change) {
    bool found = false;
    ProfileLine line;
    while (readProfileLine(source, line)) {
        if (startsSection(line) && namesSection(line, change.section)) {
            found = true;
            if (!rewriteSection(source, output, change, line)) break;
        }
        // Kept: the header that ended the section is copied unchecked.
        putLine(output, line);
    }
    return found;
}

void appendSection(Output& output, const Change& change) {
    putLine(output, "", 0);
    put(output, "[", 1);
    put(output, change.section.text(), std::strlen(change.section.text()));
    putLine(output, "]", 1);
    putEntry(output, change);
}

bool readFailed(OxlStream stream) {
    return Locked<StreamRecord>(stream)->error != 0;
}

// The profile that is read; or 0.
struct OpenProfile {
    explicit OpenProfile(OxlStream opened) : stream(opened) {}
    ~OpenProfile() { close(); }
    OpenProfile(const OpenProfile&) = delete;
    OpenProfile& operator=(const OpenProfile&) = delete;
    void close() { INIclose(std::exchange(stream, OxlStream{0})); }

    OxlStream stream;
};

// Writes the changed profile to file; source is the old one, or 0.
bool writeChanged(OxlStream source, FILE* file, const Change& change) {
    OxlStreamDesc lent = {};
    lent.lentFile = reinterpret_cast<HostWord>(file);
    Output output{oxlOpen(nullptr, &lent, OXL_LENT), true};
    if (output.stream == 0) return false;
    if (source != 0)
        oxlSetLineFormat(output.stream, static_cast<int16_t>(oxlGetLineFormat(source)));
    const bool found = source != 0 && copyProfile(source, output, change);
    const bool setting = change.key != nullptr && change.value != nullptr;
    if (!found && setting) appendSection(output, change);
    if (source != 0 && readFailed(source)) output.complete = false;
    const bool closed = oxlClose(output.stream) == 0;
    return closed && output.complete;
}

// Completes the new file and puts it in the profile's place.
bool install(FILE* file, bool written, const char* name, const char* path, const FileStatus* old) {
    bool complete = written && std::fflush(file) == 0;
    complete = complete && (old == nullptr || setMode(descriptorOf(file), *old));
    complete = complete && syncFile(descriptorOf(file));
    complete = std::fclose(file) == 0 && complete;
    complete = complete && replaceFile(name, path);
    if (!complete) removeFile(name);
    return complete;
}

// Closes source, always: what is open cannot be replaced everywhere.
void rewriteProfile(OxlStream source, const char* path, const Change& change) {
    OpenProfile old{source};
    FileStatus status = {};
    const bool exists = readStatus(path, status);
    // A profile that is there but cannot be read must not be replaced, nor hidden by a new one.
    if (source == 0 && (exists || isInIniDir(path))) return;
    char target[kPathBytes];
    if (!exists) copyBounded(target, sizeof target, path);
    if (exists && !resolvePath(path, target)) return;
    char name[kPathBytes];
    const int descriptor = createBeside(target, !exists, name, sizeof name);
    if (descriptor < 0) return;
    FILE* file = streamOf(descriptor);
    if (file == nullptr) {
        closeFile(descriptor);
        removeFile(name);
        return;
    }
    const bool written = writeChanged(source, file, change);
    old.close();
    install(file, written, name, target, exists ? &status : nullptr);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t WritePrivateProfileString(const char* section, const char* key, const char* value,
                                  const char* file) {
    char path[kPathBytes];
    if (section == nullptr || isEmpty(file) || std::strlen(file) >= sizeof path) return 0;
    const SectionName name(section);
    if (!name) return 0;
    // Two threads that change one profile both find their entry in it.
    const Turn turn;
    copyBounded(path, sizeof path, file);
    const OxlStream source = INIopen(path, sizeof path, OXL_READ);
    rewriteProfile(source, path, {name, key, value});
    return 0;
}

int32_t WriteProfileString(const char* section, const char* key, const char* value) {
    return WritePrivateProfileString(section, key, value, "OXL.INI");
}

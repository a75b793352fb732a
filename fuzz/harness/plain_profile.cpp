#include "harness/plain_profile.h"

#include <cctype>
#include <cstdlib>

namespace fuzz {
namespace {

using Text = std::string;
using Lines = std::vector<Text>;

constexpr std::size_t kLongestLine = 256;

// The lines of a file, without their endings; what the end leaves without one is none.
Lines linesOf(const Text& file) {
    Lines lines;
    Text line;
    for (std::size_t i = 0; i < file.size();) {
        const char c = file[i++];
        if (c == '\r') {
            // A CR is an ending once the byte behind it is known.
            if (i == file.size()) break;
            if (file[i] == '\n') ++i;
        } else if (c != '\n') {
            line += c;
            if (line.size() < kLongestLine) continue;
        }
        lines.push_back(line);
        line.clear();
    }
    return lines;
}

// Texts end at a zero, wherever they came from.
Text upToZero(const Text& text) {
    return text.substr(0, text.find('\0'));
}

Text trimmed(Text text) {
    text = text.substr(0, text.find(';'));
    while (!text.empty() && text.back() == ' ') text.pop_back();
    while (!text.empty() && text.front() == ' ') text.erase(0, 1);
    return text;
}

// A header or a section name loses quotes and brackets, an entry keeps them.
Text cleaned(const Text& line, bool isEntry) {
    const Text text = upToZero(line);
    Text kept;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
            kept += '"';
            ++i;
            continue;
        }
        if (c == '\r' || c == '\n') continue;
        const bool isMark = c == '"' || c == '[' || c == ']';
        if (!isMark || isEntry) kept += c;
    }
    return trimmed(kept);
}

Text upper(Text text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

bool isSame(const Text& a, const Text& b) {
    return upper(a) == upper(b);
}

bool startsSection(const Text& line) {
    return !line.empty() && line[0] == '[';
}

// A line that says nothing names no section.
bool isHeaderOf(const Text& line, const Text& section) {
    const Text name = cleaned(line, false);
    return !name.empty() && isSame(name, section);
}

struct Entry {
    Text key;
    Text value;
};

std::optional<Entry> entryOf(const Text& line) {
    if (!line.empty() && line[0] == ';') return {};
    const Text text = cleaned(line, true);
    const std::size_t equals = text.find('=');
    if (equals == Text::npos) return {};
    return Entry{text.substr(0, equals), text.substr(equals + 1)};
}

Text withoutQuotes(Text value) {
    if (!value.empty() && value.front() == '"') value.erase(0, 1);
    if (!value.empty() && value.back() == '"') value.pop_back();
    return value;
}

void put(Bytes& buffer, std::size_t at, const Text& text) {
    for (std::size_t i = 0; i < text.size() && at + i < buffer.size(); ++i)
        buffer[at + i] = static_cast<std::uint8_t>(text[i]);
}

// The keys of the entries from line i on, into the buffer.
PlainAnswer listKeys(const Lines& lines, std::size_t i, std::int32_t result, std::size_t size) {
    PlainAnswer answer = {result, Bytes(size)};
    std::size_t at = 0;
    for (; i < lines.size() && !startsSection(lines[i]); ++i) {
        const std::optional<Entry> entry = entryOf(lines[i]);
        if (!entry) continue;
        put(answer.buffer, at, entry->key);
        if (at + entry->key.size() + 2 > size) {
            for (std::size_t last = size - std::min<std::size_t>(size, 2); last < size; ++last)
                answer.buffer[last] = 0;
            answer.result = static_cast<std::int32_t>(size) - 1;
            return answer;
        }
        at += entry->key.size() + 1;
        answer.result += static_cast<std::int32_t>(entry->key.size());
    }
    return answer;
}

// The ending of a file's first line.
Text endingOf(const Text& file) {
    const std::size_t first = file.find_first_of("\r\n");
    if (first == Text::npos) return "\r\n";
    if (file[first] == '\n') return "\n";
    return file.substr(first, 2) == "\r\n" ? "\r\n" : "\r";
}

bool isEntryOf(const Text& line, const Text& key) {
    const Text text = upToZero(line);
    const std::size_t equals = text.find('=');
    const bool isEntry = equals != Text::npos && !cleaned(line, true).empty();
    return isEntry && isSame(trimmed(text.substr(0, equals)), key);
}

}  // namespace

PlainAnswer plainProfileString(const std::optional<Text>& file, const Text& section,
                               const std::optional<Text>& key, const Text& defaultText,
                               std::int32_t size) {
    const auto room = static_cast<std::size_t>(size);
    const Text fallback = defaultText.substr(0, room - 1);
    PlainAnswer answer = {static_cast<std::int32_t>(fallback.size()), Bytes(room)};
    put(answer.buffer, 0, fallback);
    const Text wanted = cleaned(section, false);
    const Lines lines = linesOf(file.value_or(""));
    for (std::size_t i = 0; i < lines.size();) {
        if (!isHeaderOf(lines[i++], wanted)) continue;
        if (!key) return listKeys(lines, i, answer.result, room);
        for (; i < lines.size() && !startsSection(lines[i]); ++i) {
            const std::optional<Entry> entry = entryOf(lines[i]);
            if (!entry || !isSame(entry->key, *key)) continue;
            const Text value = withoutQuotes(entry->value);
            answer.buffer.assign(room, 0);
            put(answer.buffer, 0, value);
            answer.result = static_cast<std::int32_t>(std::min(value.size(), room));
            return answer;
        }
        // The header that ended the section is not looked at.
        ++i;
    }
    return answer;
}

std::int32_t plainProfileInt(const std::optional<Text>& file, const Text& section, const Text& key,
                             std::int32_t defaultValue) {
    const PlainAnswer answer = plainProfileString(file, section, key, "", 32);
    if (answer.result == 0) return defaultValue;
    const Text text = upToZero(Text(answer.buffer.begin(), answer.buffer.end()));
    if (text[0] == '0' && text.size() > 1 && std::toupper(text[1]) == 'X') {
        std::uint32_t value = 0;
        for (std::size_t i = 2;
             i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i])) != 0; ++i)
            value =
                value * 16 + static_cast<std::uint32_t>(std::stoi(text.substr(i, 1), nullptr, 16));
        return static_cast<std::int32_t>(value);
    }
    std::int64_t value = 0;
    for (std::size_t i = 0; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        value = std::min<std::int64_t>(value * 10 + (text[i] - '0'), INT32_MAX);
    return static_cast<std::int32_t>(value);
}

Text plainProfileWrite(const std::optional<Text>& file, const Text& section,
                       const std::optional<Text>& key, const std::optional<Text>& value) {
    const Text ending = file ? endingOf(*file) : "\n";
    const Text wanted = cleaned(section, false);
    const Lines lines = linesOf(file.value_or(""));
    Text out;
    bool found = false;
    for (std::size_t i = 0; i < lines.size();) {
        const Text header = lines[i++];
        if (!startsSection(header) || !isHeaderOf(header, wanted)) {
            out += header + ending;
            continue;
        }
        found = true;
        Text body;
        bool replaced = false;
        for (; i < lines.size() && !startsSection(lines[i]); ++i) {
            const bool matches = key && isEntryOf(lines[i], *key);
            if (!matches) body += lines[i] + ending;
            if (matches && value) body += *key + "=" + *value + ending;
            replaced = replaced || matches;
        }
        if (key && value)
            out += header + ending + body + (replaced ? "" : *key + "=" + *value + ending);
        if (key && !value && !body.empty()) out += header + ending + body;
        // The header that ended the section is copied unchecked.
        if (i < lines.size()) out += lines[i++] + ending;
    }
    if (!found && key && value)
        out += ending + "[" + wanted + "]" + ending + *key + "=" + *value + ending;
    return out;
}

}  // namespace fuzz

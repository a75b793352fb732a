#include "settings/profile_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

#include "process/failure.h"
#include "process/system.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) failErrno(path, errno);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The file that the library takes for the name: one in the directory that INIDIR names comes first.
std::string pathOf(const std::string& profile) {
    const char* directory = std::getenv("INIDIR");
    if (directory == nullptr || *directory == '\0') return profile;
    const std::string candidate = std::string(directory) + "/" + profile;
    return ::access(candidate.c_str(), R_OK) == 0 ? candidate : profile;
}

// What is missing behind the last line. Lines are ended as the first one is.
std::string missingEnding(const std::string& text) {
    if (text.empty() || text.back() == '\n' || text.ends_with("\r\r")) return "";
    const size_t first = text.find_first_of("\r\n");
    if (first == std::string::npos || text[first] == '\n') return "\n";
    const bool pairs = text.compare(first, 2, "\r\n") == 0;
    if (!pairs) return text.back() == '\r' ? "\r" : "\r\r";
    return text.back() == '\r' ? "\n" : "\r\n";
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The name in a section's header; "" = the line is none.
std::string sectionIn(std::string_view line) {
    line = trimmed(line.substr(0, line.find(';')));
    if (!line.starts_with('[') || !line.ends_with(']')) return "";
    return std::string(trimmed(line.substr(1, line.size() - 2)));
}

}  // namespace

void requireReadable(const std::string& profile) {
    constexpr off_t kLongest = 1 << 20;
    const std::string path = pathOf(profile);
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return;
    if (S_ISDIR(status.st_mode)) failErrno(path, EISDIR);
    if (!S_ISREG(status.st_mode)) {
        failAt(path, "is no regular file, which a profile is", "copy it into a file first");
    }
    if (status.st_size > kLongest) {
        failAt(path, "has more than 1 megabyte, too much for a profile", "check the file");
    }
}

std::vector<std::string> sectionsOf(const std::string& path) {
    const std::string text = contents(path);
    const std::string_view all = text;
    std::vector<std::string> sections;
    for (size_t begin = 0; begin < all.size();) {
        const size_t end = std::min(all.find_first_of("\r\n", begin), all.size());
        const std::string section = sectionIn(all.substr(begin, end - begin));
        if (!section.empty()) sections.push_back(section);
        begin = end + 1;
    }
    return sections;
}

void requireWritable(const std::string& path) {
    std::error_code error;
    const fs::path place = fs::canonical(path, error).parent_path();
    if (::access(path.c_str(), W_OK) != 0) failErrno(path, errno);
    if (::access(place.string().c_str(), W_OK) != 0) failErrno(place.string(), errno);
}

void endLastLine(const std::string& path) {
    const std::string ending = missingEnding(contents(path));
    if (ending.empty()) return;
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (file.number < 0) failErrno(path, errno);
    const int error = writeAll(file.number, ending.data(), ending.size());
    if (error != 0) failErrno(path, error);
}

}  // namespace tool

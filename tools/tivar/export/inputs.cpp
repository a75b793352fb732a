#include "export/inputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "export/read_picture.h"
#include "process/failure.h"
#include "process/input_file.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

// Files are told apart by their numbers, whatever leads to them.
struct FileNumber {
    bool exists = false;
    uint64_t device{};
    uint64_t number{};
};

FileNumber numberOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return {};
    return {true, status.st_dev, status.st_ino};
}

bool isSame(const FileNumber& a, const FileNumber& b) {
    return a.exists && b.exists && a.device == b.device && a.number == b.number;
}

Input settledInput(const std::string& name, Outcome outcome) {
    Input input{name, "", true, std::move(outcome)};
    return input;
}

// Hidden entries are left out, unfinished files of exports among them.
std::vector<std::string> namesIn(const std::string& directory, std::error_code& error) {
    std::vector<std::string> names;
    fs::directory_iterator entries(directory, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::string name = entries->path().filename().string();
        if (!name.starts_with('.')) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A walk through a folder. Folders behind links are left alone, so that no circle is walked, and so
// is the one that the files go to.
struct Walk {
    FileNumber avoided;
    std::vector<Input>& inputs;

    void enter(const std::string& directory, const std::string& folder) const {
        std::error_code error;
        for (const std::string& name : namesIn(directory, error)) {
            const std::string path = (fs::path(directory) / name).string();
            meet(path, name, folder);
        }
        if (error) {
            const Failure failure = errnoFailure(directory, error.value());
            inputs.push_back(settledInput(directory, failed({directory, ""}, failure)));
        }
    }

    void meet(const std::string& path, const std::string& name, const std::string& folder) const {
        struct stat own {};
        struct stat status {};
        const bool linked = ::lstat(path.c_str(), &own) == 0 && S_ISLNK(own.st_mode);
        const bool there = ::stat(path.c_str(), &status) == 0;
        if (there && S_ISDIR(status.st_mode)) {
            if (isSame(avoided, {true, status.st_dev, status.st_ino})) return;
            if (linked) return inputs.push_back(settledInput(path, skipped(Skip::LinkedFolder)));
            return enter(path, (fs::path(folder) / name).string());
        }
        const bool file = !there || S_ISREG(status.st_mode);
        if (file && isMeantAsPicture(path)) {
            inputs.push_back({path, folder, true, {}});
        } else {
            inputs.push_back(settledInput(path, skipped(Skip::NoPicture)));
        }
    }
};

// A folder that is walked through is not avoided itself, also if the files go there, too.
void addNamed(const JobsRequest& request, const std::string& name, std::vector<Input>& inputs) {
    std::error_code error;
    if (name == "-" || !fs::is_directory(name, error))
        return inputs.push_back({name, "", false, {}});
    if (!request.recursive) {
        const Failure failure{name, "is a directory", "add -r for the pictures in it"};
        return inputs.push_back({name, "", false, failed({name, ""}, failure)});
    }
    Walk{request.out.empty() ? FileNumber{} : numberOf(request.out), inputs}.enter(name, "");
}

// A pipe that a search has found would be waited for.
void addListed(const JobsRequest& request, const std::string& name, std::vector<Input>& inputs) {
    std::error_code error;
    const fs::file_type type = fs::status(name, error).type();
    const bool readable = type == fs::file_type::regular || type == fs::file_type::directory;
    if (readable || error || type == fs::file_type::not_found) {
        return addNamed(request, name, inputs);
    }
    const Failure failure{name, "is a pipe or a device", "name it as an input, not in a list"};
    inputs.push_back(settledInput(name, failed({name, ""}, failure)));
}

std::vector<std::string> namesOfList(const JobsRequest& request) {
    std::vector<std::string> names;
    if (request.filesFrom.empty()) return names;
    const std::vector<uint8_t> bytes = [&request] {
        try {
            return readAll(openInput(request.filesFrom).get());
        } catch (...) {
            throw currentFailure(nameOfInput(request.filesFrom));
        }
    }();
    if (!request.endsWithNul && std::find(bytes.begin(), bytes.end(), 0) != bytes.end()) {
        failAt(nameOfInput(request.filesFrom), "has zero bytes in it",
               "add -0 if they end the names");
    }
    const uint8_t end = request.endsWithNul ? '\0' : '\n';
    for (auto next = bytes.begin(); next != bytes.end();) {
        const auto stop = std::find(next, bytes.end(), end);
        std::string name(next, stop);
        if (!request.endsWithNul && name.ends_with('\r')) name.pop_back();  // as Windows ends lines
        if (!name.empty()) names.push_back(std::move(name));
        next = stop == bytes.end() ? stop : stop + 1;
    }
    return names;
}

}  // namespace

// A list names files only, so that a name of one dash is a file's, too.
std::vector<Input> gatherInputs(const JobsRequest& request) {
    std::vector<Input> inputs;
    for (const std::string& name : request.inputs) addNamed(request, name, inputs);
    for (const std::string& name : namesOfList(request)) {
        addListed(request, name == "-" ? "./-" : name, inputs);
    }
    return inputs;
}

}  // namespace tool

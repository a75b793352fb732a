#include "harness/scratch.h"

#include <dirent.h>
#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "harness/check.h"

namespace fuzz {
namespace {

// Memory, where the machine has such a place: no disk is as fast.
std::filesystem::path parentDirectory() {
    const char* const memory = "/dev/shm";
    if (access(memory, W_OK | X_OK) == 0) return memory;
    return std::filesystem::temp_directory_path();
}

struct Directory {
    Directory() : path((parentDirectory() / "tivar-fuzz-XXXXXX").string()) {
        require(mkdtemp(path.data()) != nullptr, "no temporary directory");
    }
    ~Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string path;
};

}  // namespace

std::string scratchPath(const char* name) {
    static const Directory directory;
    return directory.path + "/" + name;
}

std::string deviceLink(const char* device) {
    std::string link = scratchPath(device + sizeof "/dev/" - 1);
    require(symlink(device, link.c_str()) == 0 || errno == EEXIST, "no link to a device");
    return link;
}

void writeFile(const std::string& path, const Bytes& bytes) {
    FILE* file = std::fopen(path.c_str(), "wb");
    require(file != nullptr, "no scratch file");
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

Bytes readFile(const std::string& path) {
    Bytes bytes;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return bytes;
    std::uint8_t part[4096];
    for (std::size_t count; (count = std::fread(part, 1, sizeof part, file)) > 0;)
        bytes.insert(bytes.end(), part, part + count);
    std::fclose(file);
    return bytes;
}

bool fileExists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

void removeFile(const std::string& path) {
    unlink(path.c_str());
}

void removeFiles() {
    DIR* const directory = opendir(scratchPath("").c_str());
    require(directory != nullptr, "the directory is there");
    while (const dirent* entry = readdir(directory))
        if (entry->d_type != DT_LNK) unlinkat(dirfd(directory), entry->d_name, 0);
    closedir(directory);
}

}  // namespace fuzz

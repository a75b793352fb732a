// A directory of the test's own under the system's temporary directory; it goes with the guard.
#pragma once

#include <stdlib.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace support {

struct TempDir {
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "tivar-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path = name;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string file(const std::string& name) const { return (path / name).string(); }

    std::filesystem::path path;
};

// All bytes of a file; none when it does not exist.
inline std::vector<std::uint8_t> readFile(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace support

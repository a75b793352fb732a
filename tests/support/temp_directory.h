// A directory of a test's own, removed with all that it holds.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace support {

inline std::string readFile(const std::string& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

class TempDirectory {
  public:
    TempDirectory() {
        const auto base = std::filesystem::temp_directory_path() / "tivar-test-";
        std::random_device any;
        path_ = base.string() + std::to_string(any());
        if (!std::filesystem::create_directory(path_))
            throw std::runtime_error("no temporary directory");
    }
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }

    // Creates or replaces a file and returns its path.
    std::string write(std::string_view name, std::string_view bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    std::string read(std::string_view name) const { return readFile(path(name)); }

    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            found.insert(entry.path().filename().string());
        return found;
    }

  private:
    std::string path_;
};

}  // namespace support

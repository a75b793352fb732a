// Settings of the process that a test changes and the guard's end puts back.
#pragma once

#include <locale.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "support/temp_directory.h"

namespace support {

// An environment variable: set to value, or unset without one.
class EnvironmentVariable {
  public:
    explicit EnvironmentVariable(const char* name, const std::optional<std::string>& value = {})
        : name_(name) {
        if (const char* old = getenv(name)) old_ = old;
        assign(value);
    }
    ~EnvironmentVariable() { assign(old_); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

  private:
    void assign(const std::optional<std::string>& value) const {
#if defined(_WIN32)
        _putenv_s(name_.c_str(), value.value_or("").c_str());
#else
        if (value)
            setenv(name_.c_str(), value->c_str(), 1);
        else
            unsetenv(name_.c_str());
#endif
    }

    std::string name_;
    std::optional<std::string> old_;
};

// The current directory.
class WorkingDirectory {
  public:
    explicit WorkingDirectory(const std::string& path) : old_(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() { std::filesystem::current_path(old_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

  private:
    std::filesystem::path old_;
};

#if defined(_WIN32)
// A locale whose decimal point is a comma.
class CommaLocale {
  public:
    CommaLocale() : active_(setlocale(LC_NUMERIC, "German") != nullptr) {}
    ~CommaLocale() { setlocale(LC_NUMERIC, "C"); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    bool active() const { return active_; }

  private:
    bool active_;
};
#else
// The same, made on the spot: the machine may have none.
class CommaLocale {
  public:
    CommaLocale() : path_("LOCPATH", directory_.path()) {
        directory_.write("source",
                         "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\n"
                         "grouping -1\nEND LC_NUMERIC\n");
        const std::string command = "cd '" + directory_.path() +
                                    "' && localedef -c -i ./source -f ANSI_X3.4-1968 ./comma "
                                    ">/dev/null 2>&1";
        // Its result tells of the categories that are missing, not of the one that counts.
        [[maybe_unused]] const int result = system(command.c_str());
        active_ = setlocale(LC_NUMERIC, "comma") != nullptr;
    }
    ~CommaLocale() { setlocale(LC_NUMERIC, "C"); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    bool active() const { return active_; }

  private:
    TempDirectory directory_;
    EnvironmentVariable path_;
    bool active_ = false;
};
#endif

}  // namespace support

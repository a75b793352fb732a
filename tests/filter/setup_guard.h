// A settings record for the life of a test, and surroundings in which only the test's own profile
// and display are found.
#pragma once

#include <gtest/gtest.h>
#include <tivar/tivar.h>

#include <string>

#include "support/environment.h"
#include "support/temp_directory.h"

struct SetupGuard {
    explicit SetupGuard(const char* profile = nullptr, const char* mode = nullptr,
                        const char* filter = nullptr)
        : handle(CreateSetup(0, profile, mode, filter)),
          record(static_cast<SetupRecord*>(GlobalLock(handle))) {}
    ~SetupGuard() { DestroySetup(handle); }
    SetupGuard(const SetupGuard&) = delete;
    SetupGuard& operator=(const SetupGuard&) = delete;

    SetupRecord* operator->() const { return record; }

    MemHandle handle;
    SetupRecord* record;
};

// An empty directory, no INIDIR, no DISPLAYINFO, no module name, nothing recorded.
struct Surroundings : testing::Test {
    Surroundings() { forget(); }
    ~Surroundings() override { forget(); }

    support::TempDirectory directory;
    support::WorkingDirectory current{directory.path()};
    support::EnvironmentVariable iniDir{"INIDIR"};
    support::EnvironmentVariable displayInfo{"DISPLAYINFO"};

  private:
    static void forget() {
        export_szDLLName[0] = '\0';
        SetDisplayInfo(0, 0, 0, 0);
        SetPrinterInfo(0, 0, 0, 0);
    }
};

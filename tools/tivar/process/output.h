// Where the bytes go. A regular file is written beside its place and renamed when complete, so that
// the old one stays until then; pipes and devices get the complete bytes at the end.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "process/system.h"

namespace tool {

struct Output {
    std::string name;    // as the user knows it
    std::string target;  // the file to be replaced, symbolic links followed
    std::string part;    // the unfinished file beside it; "" = bytes go straight to the target
    Descriptor file;
    Descriptor lock;  // keeps the unfinished file locked until it is in its place
    std::optional<struct stat> replaced;  // none = a fresh file
    bool mayReplace;                      // else a file that is there already is a Failure

    // Names that lead to standard output are standardOutput, whatever stands in its place now.
    Output(const std::string& targetName, const Descriptor& standardOutput,
           bool mayReplaceFile = true);
    ~Output();  // removes an unfinished file
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
};

// The file that a chain of symbolic links ends at, which need not exist.
std::string followLinks(const std::string& path);

// Puts the finished file into its place.
void commit(Output& output);

// Fails when the file that is read would be overwritten.
void refuseOwnInput(const std::string& input, const std::string& target, const std::string& remedy);

// Refuses a picture on a terminal, as wrong usage.
void refuseTerminal(const std::string& target);

// Why an unfinished file cannot grow by count bytes: an errno value, 0 when it seems to be able
// to. The file may grow meanwhile.
int probeGrowth(const Output& output, uint64_t count);

}  // namespace tool

#include "process/failure.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>

#include "process/interrupt.h"
#include "process/printable.h"
#include "process/system.h"

namespace tool {
namespace {

std::string* g_collected = nullptr;

const char* remedyFor(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return "free some space and try again";
        case EFBIG:
            return "raise the limit on file sizes or write elsewhere";
        case ENOENT:
        case ENOTDIR:
            return "check the path";
        case EISDIR:
            return "name a file in it";
        case EACCES:
        case EPERM:
        case EROFS:
            return "check the permissions or choose another place";
        case EMFILE:
        case ENFILE:
            return "raise the limit on open files (ulimit -n) or close other programs";
        case EBADF:
            return "redirect it or name a file";
        case EPIPE:
            return "the reader went away before the end";
        default:
            return "choose another place or try again";
    }
}

}  // namespace

void fail(const std::string& what, const std::string& remedy) {
    failAt("", what, remedy);
}

void failAt(const std::string& file, const std::string& what, const std::string& remedy) {
    throw Failure{file, what, remedy};
}

void failUsage(const std::string& what, const std::string& remedy) {
    throw Failure{"", what, remedy, kWrongUsage};
}

void failErrno(const std::string& file, int error) {
    throw errnoFailure(file, error);
}

Failure errnoFailure(const std::string& file, int error) {
    return {file, std::strerror(error), remedyFor(error)};
}

void failWithoutDescriptors() {
    const Descriptor another = duplicate(STDERR_FILENO);
    if (another.number < 0 && (errno == EMFILE || errno == ENFILE)) failErrno("", errno);
}

std::string lineOf(const std::string& file, const std::string& what, const std::string& remedy) {
    std::string line = "tivar: ";
    if (!file.empty()) line += file + ": ";
    line += what + "; " + remedy;
    return printable(line) + "\n";
}

void report(const std::string& file, const std::string& what, const std::string& remedy) {
    const std::string line = lineOf(file, what, remedy);
    if (g_collected != nullptr) {
        *g_collected += line;
    } else {
        (void)writeAll(STDERR_FILENO, line.data(), line.size());
    }
}

void collectReports(std::string* lines) {
    g_collected = lines;
}

Failure currentFailure(const std::string& file) {
    try {
        throw;
    } catch (Failure& failure) {
        if (failure.file.empty()) failure.file = file;
        return failure;
    } catch (const std::bad_alloc&) {
        return {file, "not enough memory", "close other programs or use a smaller picture"};
    } catch (const std::exception& unforeseen) {
        return {file, unforeseen.what(), "try it on its own and report it if it stays"};
    }
}

int reportCurrentException(const std::string& file) {
    try {
        throw;
    } catch (const Interrupted& interrupted) {
        reportInterruption();
        return kSignalBase + interrupted.signal;
    } catch (...) {
        const Failure failure = currentFailure(file);
        report(failure.file, failure.what, failure.remedy);
        return failure.exitCode;
    }
}

}  // namespace tool

#include "process/place.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace tool {

// In a directory whose files belong to their owners each, as in /tmp, somebody else's file cannot
// be replaced, which shows only when all the work is done.
int whyNotReplaceable(const std::string& target, const struct stat& status) {
    const fs::path parent = fs::path(target).parent_path();
    struct stat directory {};
    if (::stat(parent.empty() ? "." : parent.c_str(), &directory) != 0) return 0;
    const uid_t self = ::geteuid();
    const bool sticky = (directory.st_mode & S_ISVTX) != 0;
    const bool ours = self == 0 || self == status.st_uid || self == directory.st_uid;
    return sticky && !ours ? EPERM : 0;
}

// A group that it cannot get has been given no more than everybody.
bool inheritAccess(int file, const struct stat& replaced) {
    struct stat now {};
    if (::fstat(file, &now) != 0) return false;
    const bool sameGroup =
        now.st_gid == replaced.st_gid || ::fchown(file, uid_t(-1), replaced.st_gid) == 0;
    if (now.st_uid != replaced.st_uid) (void)!::fchown(file, replaced.st_uid, gid_t(-1));
    const mode_t mode = replaced.st_mode & 0777;
    return ::fchmod(file, sameGroup ? mode : mode & (0707 | (mode & 07) << 3)) == 0;
}

// File systems without such a call have a second name instead, and those without either are looked
// at.
bool renameFresh(const std::string& part, const std::string& target) {
    if (::renameat2(AT_FDCWD, part.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno == EEXIST) return false;
    if (::link(part.c_str(), target.c_str()) == 0) return ::unlink(part.c_str()) == 0;
    if (errno == EEXIST) return false;
    if (::access(target.c_str(), F_OK) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(part.c_str(), target.c_str()) == 0;
}

bool renameOver(const std::string& part, const std::string& target) {
    return ::rename(part.c_str(), target.c_str()) == 0;
}

}  // namespace tool

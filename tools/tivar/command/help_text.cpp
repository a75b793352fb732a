#include "command/help_text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

namespace tool {
namespace {

constexpr size_t kFewestColumns = 40;

// Where descriptions of options begin.
constexpr size_t kDescription = 30;

// Where the line's last part begins: a description that has one blank before it, or what is behind
// the last gap of two.
size_t hangOf(std::string_view line) {
    const bool described = line.size() > kDescription && line.starts_with("  ") &&
                           line[kDescription - 1] == ' ' && line[kDescription] != ' ';
    if (described) return kDescription;
    const size_t gap = line.rfind("  ");
    return gap == std::string_view::npos ? 0 : gap + 2;
}

std::string wrappedLine(std::string_view line, size_t columns) {
    const size_t hang = std::min(hangOf(line), columns / 2);
    std::string text;
    size_t least = hang;  // no break within the first part of the line
    size_t room = columns;
    while (line.size() > room) {
        const size_t blank = line.substr(0, room + 1).rfind(' ');
        if (blank == std::string_view::npos || blank < least) break;
        text += std::string(line.substr(0, blank)) + "\n" + std::string(hang, ' ');
        line.remove_prefix(blank + 1);
        least = 1;
        room = columns - hang;
    }
    return text + std::string(line);
}

}  // namespace

size_t terminalColumns() {
    winsize size{};
    if (::isatty(STDOUT_FILENO) == 0 || ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    return std::max<size_t>(size.ws_col, kFewestColumns);
}

std::string wrapped(const std::string& text, size_t columns) {
    if (columns == 0) return text;
    std::string result;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        result += wrappedLine(std::string_view(text).substr(at, end - at), columns) + "\n";
        at = end + 1;
    }
    return result;
}

}  // namespace tool

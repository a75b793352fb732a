#include "progress.h"

#include <unistd.h>

#include "system.h"

namespace tool {
namespace {

constexpr char kClearLine[] = "\r\x1b[K";

void show(const std::string& text) {
    (void)writeAll(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Progress(const std::string& inputName, bool quiet, bool onlyOne)
    : input(inputName), visible(!quiet && ::isatty(STDERR_FILENO) != 0), live(visible && onlyOne) {}

Progress::~Progress() {
    if (open) show(kClearLine);
}

void showStep(Progress& progress, const std::string& step) {
    if (!progress.live) return;
    progress.open = true;
    show(kClearLine + progress.input + ": " + step);
}

void showResult(Progress& progress, const std::string& result) {
    if (!progress.visible) return;
    show((progress.open ? kClearLine : "") + result + "\n");
    progress.open = false;
}

}  // namespace tool

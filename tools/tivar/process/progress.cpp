#include "process/progress.h"

#include <unistd.h>

#include <utility>

#include "process/failure.h"
#include "process/input_file.h"
#include "process/printable.h"
#include "process/system.h"

namespace tool {
namespace {

constexpr char kClearLine[] = "\r\x1b[K";

void show(const std::string& text) {
    (void)writeAll(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Progress(const std::string& inputName, bool isQuiet, bool onlyOne)
    : input(nameOfInput(inputName)),
      quiet(isQuiet),
      visible(!isQuiet && onlyOne && ::isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
    if (open) show(kClearLine);
}

void showStep(Progress& progress, const std::string& step) {
    if (!progress.visible) return;
    progress.open = true;
    show(kClearLine + printable(progress.input + ": " + step));
}

void showResult(Progress& progress, const std::string& result) {
    if (!progress.visible) return;
    show((progress.open ? kClearLine : "") + printable(result) + "\n");
    progress.open = false;
}

void showNotice(Progress& progress, const std::string& what, const std::string& remedy) {
    if (progress.quiet) return;
    if (std::exchange(progress.open, false)) show(kClearLine);
    report(progress.input, what, remedy);
}

}  // namespace tool

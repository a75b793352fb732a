// Palette files of drawing programs, as the command-line host reads them: 1 to 256 colours, or a
// failure that says what to do. The first byte chooses the suffix.
#include <string>
#include <vector>

#include "export/read_palette.h"
#include "harness/check.h"
#include "harness/target.h"
#include "process/failure.h"

namespace {

using fuzz::Input;
using fuzz::require;

constexpr const char* kSuffixes[] = {".act", ".gpl", ".hex", ".pal"};

// The colours as a drawing program's text has them.
std::string textOf(const std::vector<tool::Color>& colors) {
    std::string text = "GIMP Palette\nName: again\n#\n";
    for (const tool::Color color : colors) {
        text += std::to_string(color.red) + " " + std::to_string(color.green) + "\t" +
                std::to_string(color.blue) + " a name\n";
    }
    return text;
}

bool areEqual(const std::vector<tool::Color>& some, const std::vector<tool::Color>& others) {
    return some.size() == others.size() && textOf(some) == textOf(others);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string suffix = input.pick(kSuffixes);
    const fuzz::Bytes bytes = input.bytes(input.left());
    try {
        const std::string text(bytes.begin(), bytes.end());
        const std::vector<tool::Color> colors = tool::paletteIn(text, suffix);
        require(!colors.empty() && colors.size() <= 256, "1 to 256 colours");
        require(areEqual(tool::paletteIn(textOf(colors), ".gpl"), colors), "the same as a text");
    } catch (const tool::Failure& failure) {
        require(!failure.what.empty() && !failure.remedy.empty(), "a failure says what to do");
    }
    return 0;
}

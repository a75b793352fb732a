// Runs a target on the files named, and on all files of the directories named, in place of the
// fuzzer: every compiler and word size replays the inputs that once mattered.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "harness/target.h"

namespace {

using Path = std::filesystem::path;

std::vector<Path> inputsOf(const Path& given) {
    std::vector<Path> inputs;
    if (!std::filesystem::is_directory(given)) return {given};
    for (const auto& entry : std::filesystem::directory_iterator(given)) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

bool run(const Path& path) {
    // Told before the run, which may not come back.
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    if (LLVMFuzzerInitialize(&count, &arguments) != 0) return 1;
    int replayed = 0;
    for (int i = 1; i < count; ++i) {
        if (!std::filesystem::exists(arguments[i])) continue;
        for (const Path& input : inputsOf(arguments[i])) {
            if (!run(input)) return 1;
            ++replayed;
        }
    }
    std::fprintf(stderr, "%d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}

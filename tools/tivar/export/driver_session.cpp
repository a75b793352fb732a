#include "export/driver_session.h"

#include <utility>

#include "process/failure.h"

namespace tool {
namespace {

// No operation of the tool is answered through the reply buffer.
constexpr HostWord kReplySize = 64;

}  // namespace

DriverSession::DriverSession(const Settings& settings, const std::string& fileName,
                             StatusBlock& status)
    : library(settings.library) {
    library.rasterEntry(DRV_GETENTRY32, &entry, 0);
    if (entry == nullptr) {
        fail("the driver did not name its 32-bit entry", "name another library with --library");
    }
    std::array<HostWord, DRIVER_INIT_WORDS> init{};
    init[DRIVER_INIT_NAME] = wordOf(fileName.c_str());
    init[DRIVER_INIT_REPLY_SIZE] = kReplySize;
    init[DRIVER_INIT_SETUP] = settings.handle;
    init[DRIVER_INIT_HOOK] = wordOf(status.words.data());
    init[DRIVER_INIT_CAPABILITIES] = wordOf(capabilities.data());
    const int32_t result = entry(0, DRV_INIT, init.data(), 0);
    if (result != TIVAR_OK) failDriver("be initialised", result);
}

DriverSession::~DriverSession() {
    dispatch(*this, plainBlock(OP_CLOSE));  // ignored by a closed device
    takeMemory(*this);
    entry(0, DRV_TERM, nullptr, 0);
}

int32_t dispatch(const DriverSession& session, DriverBlock block) {
    return session.entry(0, DRV_DISPATCH, block.bytes.data(), 0);
}

void perform(const DriverSession& session, const DriverBlock& block, const char* what) {
    const int32_t code = dispatch(session, block);
    if (code != TIVAR_OK) failDriver(what, code);
}

void failDriver(const char* what, int32_t code) {
    failWithoutDescriptors();
    const bool memory = code == TIVAR_ERR_NO_MEMORY;
    fail(std::string("the driver could not ") + what + (memory ? ", not enough memory" : "") +
             " (code " + std::to_string(code) + ")",
         memory ? "close other programs or use a smaller picture"
                : "check the target and the free space");
}

Block takeMemory(const DriverSession& session) {
    EMData* state = *session.library.deviceState;
    void* memory = state == nullptr ? nullptr : std::exchange(state->memoryBlock, nullptr);
    return {session.library, session.library.globalHandle(memory)};
}

}  // namespace tool

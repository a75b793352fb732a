// The host's call-backs: each acts first, and then answers, at times otherwise than it should.
#include <algorithm>
#include <cstring>

#include "host/world.h"

namespace host {
namespace {

// Mostly what a sound host answers.
std::int32_t answer(std::int32_t sound) {
    if (g_world == nullptr || g_world->isQuiet() || !g_world->input.oneIn(16)) return sound;
    return g_world->input.wildSigned();
}

}  // namespace

std::int32_t onStatus(intptr_t, std::int32_t operation, std::int32_t value, std::int32_t,
                      std::int32_t, std::int32_t, intptr_t) {
    if (g_world == nullptr) return 0;
    const CallBack kind = operation == 2 ? CallBack::kQuestion
                          : value == -2  ? CallBack::kStart
                                         : CallBack::kReport;
    g_world->interrupt(kind);
    // One report in a few leads to the question, and is taken back.
    if (kind == CallBack::kReport)
        return g_world->calls[static_cast<int>(kind)] % 3 == 1 ? 1 : answer(0);
    return answer(0);
}

intptr_t onDocument(intptr_t, std::int32_t operation, intptr_t a, intptr_t b) {
    if (g_world == nullptr) return operation == 3 ? b : operation == 1 ? 1 : 0;
    constexpr CallBack kKinds[] = {CallBack::kDocumentOpen,  CallBack::kDocumentRead,
                                   CallBack::kDocumentWrite, CallBack::kDocumentSeek,
                                   CallBack::kDocumentClose, CallBack::kDocumentExists,
                                   CallBack::kDocumentDelete};
    if (operation < 1 || operation > 7) return 0;
    const bool hasBytes = operation == 2 && b > 0;
    g_world->interrupt(kKinds[operation - 1]);
    if (hasBytes) std::memset(reinterpret_cast<void*>(a), '\n', static_cast<std::size_t>(b));
    switch (operation) {
        case 1:
            return answer(1);
        case 2:
        case 3: {
            // Never more than there is room for.
            const std::int32_t most = static_cast<std::int32_t>(b);
            return std::min(answer(most), std::max(most, 0));
        }
        default:
            return answer(0);
    }
}

HostWord onDraw(std::int32_t message, void* input, HostWord output, HostWord extra) {
    if (g_world == nullptr) return DrawExportCellData(message, input, output, extra);
    World& world = *g_world;
    constexpr CallBack kKinds[] = {CallBack::kDrawQuery, CallBack::kDrawInitialise,
                                   CallBack::kDrawTerminate, CallBack::kDrawRows};
    if (message < 0 || message > 3) return 0;
    const Owned outerRequest = world.request;
    HostWord* const outerWords = world.fiveWords;
    const Owned request = message == DRAW_QUERY ? Owned{} : Owned::of(GlobalHandle(input));
    world.request = request;
    world.fiveWords = message == DRAW_INITIALISE ? reinterpret_cast<HostWord*>(output) : nullptr;
    const bool isFirst = !world.input.oneIn(2);
    if (isFirst) world.interrupt(kKinds[message]);
    HostWord result = 0;
    // What the host ended itself it does not draw any more.
    if (message == DRAW_QUERY || request.isAlive())
        result = DrawExportCellData(message, input, output, extra);
    world.request = request;
    if (!isFirst) world.interrupt(kKinds[message]);
    world.request = outerRequest;
    world.fiveWords = outerWords;
    // Two bands, each of them the whole picture, or none.
    if (message == DRAW_INITIALISE && world.input.oneIn(8)) return result - result / 2;
    if (message == DRAW_INITIALISE && world.input.oneIn(32)) return 0;
    return result;
}

std::int32_t onReadRow(void*, std::uint32_t y, void* row) {
    if (g_world == nullptr) return 0;
    g_world->interrupt(CallBack::kReadRow);
    // Another row each time it is asked for.
    std::memset(row, static_cast<int>(y * 37 + g_world->input.u8()), g_world->rowBytes);
    return answer(0);
}

std::int32_t onProgress(void*, std::int32_t) {
    if (g_world == nullptr) return 0;
    g_world->interrupt(CallBack::kProgress);
    return answer(0);
}

std::int32_t onCancel(void*) {
    if (g_world == nullptr) return 0;
    g_world->interrupt(CallBack::kCancel);
    return answer(0);
}

std::size_t onSink(void*, const void* bytes, std::size_t length) {
    if (g_world == nullptr) return length;
    // All of them are read.
    const auto* from = static_cast<const std::uint8_t*>(bytes);
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < length; ++i) sum = static_cast<std::uint8_t>(sum + from[i]);
    g_world->scratch[0] = sum;
    g_world->interrupt(CallBack::kSink);
    return g_world->input.oneIn(32) ? length / 2 : length;
}

}  // namespace host

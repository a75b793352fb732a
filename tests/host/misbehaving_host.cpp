// misbehaving_host                     each exported routine, and each change of a record, once from
//                                      each call-back of each call that has some
// misbehaving_host SEED COUNT [FIRST]  as many random sequences, the first one by its number, else 0
//
// Fails at the first access outside of a block (the sanitizers judge), lost or doubly freed block,
// open file or broken promise; a call that does not come back ends it after a while.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include "hardening/export_list.h"
#include "harness/target.h"
#include "host/sequence.h"
#include "host/world.h"
#include "support/random_numbers.h"

namespace {

constexpr unsigned kSecondsForOne = 60;

fuzz::Bytes randomBytes(std::uint32_t seed, std::size_t count) {
    support::Random random(seed);
    fuzz::Bytes bytes(count);
    for (std::uint8_t& byte : bytes) byte = random.byte();
    return bytes;
}

// Each exported symbol is in the table, and nothing else.
bool knowsAllSymbols() {
    std::set<std::string> unknown = hardening::exportedSymbols();
    bool isRight = !unknown.empty();
    for (const host::NamedAct& symbol : host::symbols()) {
        if (unknown.erase(symbol.name) == 1) continue;
        std::fprintf(stderr, "%s is not exported, or in the table twice\n", symbol.name);
        isRight = false;
    }
    for (const std::string& name : unknown) {
        std::fprintf(stderr, "%s is exported and not in the table\n", name.c_str());
        isRight = false;
    }
    return isRight;
}

// The acts at the first call-back of the kind, and at a later one where there are several.
long obeyAll(const host::NamedAct& scenario, host::CallBack kind, int times, std::uint32_t& seed) {
    long acts = 0;
    for (const auto* table : {&host::symbols(), &host::edits()}) {
        for (const host::NamedAct& act : *table) {
            alarm(kSecondsForOne);
            host::g_doing = {scenario.name, act.name, static_cast<int>(kind)};
            const int count = times > 1 ? 1 + static_cast<int>(seed % 2) * (times / 2) : 1;
            acts += host::obeyOnce(scenario.act, {kind, act.act, count}, randomBytes(++seed, 600));
        }
    }
    return acts;
}

bool runEverythingOnce() {
    std::uint32_t seed = 1;
    long acts = 0;
    bool isReached[host::kCallBacks] = {};
    for (const host::NamedAct& scenario : host::scenarios()) {
        const std::vector<int> calls = host::watchOnce(scenario.act);
        for (int kind = 0; kind < host::kCallBacks; ++kind) {
            if (calls[static_cast<std::size_t>(kind)] == 0) continue;
            isReached[kind] = true;
            acts += obeyAll(scenario, static_cast<host::CallBack>(kind),
                            calls[static_cast<std::size_t>(kind)], seed);
        }
    }
    std::fprintf(stderr, "%zu symbols and %zu changes, %ld of %u acts in call-backs\n",
                 host::symbols().size(), host::edits().size(), acts, seed - 1);
    for (int kind = 0; kind < host::kCallBacks; ++kind) {
        if (isReached[kind]) continue;
        std::fprintf(stderr, "call-back %d never came\n", kind);
        return false;
    }
    return true;
}

void runSequences(std::uint32_t seed, std::uint32_t count, std::uint32_t first) {
    long acts = 0;
    for (std::uint32_t i = first; i < first + count; ++i) {
        alarm(kSecondsForOne);
        host::g_doing = {"sequence", "", static_cast<int>(i)};
        const std::uint32_t own = seed * 2654435761u + i;
        acts += host::playOnce(randomBytes(own, 100 + own % 900));
    }
    std::fprintf(stderr, "%u sequences from seed %u, %ld acts in call-backs\n", count, seed, acts);
}

std::uint32_t numberIn(const char* text) {
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

}  // namespace

int main(int count, char** arguments) {
    if (!knowsAllSymbols() || LLVMFuzzerInitialize(&count, &arguments) != 0) return 1;
    host::settleDown();
    if (count >= 3) {
        runSequences(numberIn(arguments[1]), numberIn(arguments[2]),
                     count > 3 ? numberIn(arguments[3]) : 0);
        return 0;
    }
    return runEverythingOnce() ? 0 : 1;
}

// misbehaving_host                     each exported routine and each change of a record, once in
//                                      each call-back of each call that has some
// misbehaving_host SEED COUNT [FIRST]  as many random sequences, from the first one's number on
//
// Fails at the first access outside of a block (the sanitizers judge), lost or doubly freed block,
// open file or broken promise; a call that does not come back ends it after a while.
#include <signal.h>
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

// What runs, for the message when it does not come back.
struct Doing {
    const char* what;
    const char* act;
    int number;
};
Doing g_doing = {"", "", 0};

void tell(int signal) {
    char text[200];
    const int length = std::snprintf(text, sizeof text, "%s: %s, %s, %d\n",
                                     signal == SIGALRM ? "does not come back" : "ended",
                                     g_doing.what, g_doing.act, g_doing.number);
    if (write(STDERR_FILENO, text, static_cast<std::size_t>(length)) < 0) _exit(2);
    _exit(1);
}

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

// Which acts were done in which kind of call-back.
struct Reach {
    std::set<std::string> acts[host::kCallBacks];
    std::uint32_t runs = 0;
};

// The act at the first call-back of the kind, or at a later one where there are several. What the
// scenario is about comes from the seed, and may be without that call-back.
void obey(const host::NamedAct& scenario, int kind, int times, const host::NamedAct& act,
          Reach& reach) {
    constexpr int kAttempts = 100;
    for (int i = 0; i < kAttempts; ++i) {
        alarm(kSecondsForOne);
        g_doing = {scenario.name, act.name, kind};
        const std::uint32_t seed = ++reach.runs;
        const int count = times > 1 && i == 0 ? 1 + static_cast<int>(seed % 2) * (times / 2) : 1;
        const host::Order order = {static_cast<host::CallBack>(kind), act.act, count};
        if (host::obeyOnce(scenario.act, order, randomBytes(seed, 600)) == 0) continue;
        reach.acts[kind].insert(act.name);
        return;
    }
}

bool runEverythingOnce() {
    Reach reach;
    for (const host::NamedAct& scenario : host::scenarios()) {
        const std::vector<int> calls = host::watchOnce(scenario.act);
        for (int kind = 0; kind < host::kCallBacks; ++kind) {
            const int times = calls[static_cast<std::size_t>(kind)];
            if (times == 0) continue;
            for (const auto* table : {&host::symbols(), &host::edits()})
                for (const host::NamedAct& act : *table) obey(scenario, kind, times, act, reach);
        }
    }
    const std::size_t acts = host::symbols().size() + host::edits().size();
    std::fprintf(stderr, "%zu symbols and %zu changes in %d call-backs, %u runs\n",
                 host::symbols().size(), host::edits().size(), host::kCallBacks, reach.runs);
    for (int kind = 0; kind < host::kCallBacks; ++kind) {
        if (reach.acts[kind].size() == acts) continue;
        std::fprintf(stderr, "call-back %d: only %zu of %zu\n", kind, reach.acts[kind].size(),
                     acts);
        return false;
    }
    return true;
}

void runSequences(std::uint32_t seed, std::uint32_t count, std::uint32_t first) {
    long acts = 0;
    for (std::uint32_t i = first; i < first + count; ++i) {
        alarm(kSecondsForOne);
        g_doing = {"sequence", "", static_cast<int>(i)};
        const std::uint32_t own = seed * 2654435761u + i;
        const fuzz::Bytes bytes = randomBytes(own, 100 + own % 900);
        acts += host::playOnce(host::Input(bytes.data(), bytes.size()));
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
    signal(SIGALRM, tell);
    signal(SIGABRT, tell);
    if (count >= 3) {
        runSequences(numberIn(arguments[1]), numberIn(arguments[2]),
                     count > 3 ? numberIn(arguments[3]) : 0);
        return 0;
    }
    return runEverythingOnce() ? 0 : 1;
}

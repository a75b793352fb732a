// The filter route: a picture, settings and a target through the export call. What the plain model
// describes must come out byte for byte; whatever else the host hands over, the library answers,
// leaves the host's blocks alone and frees what it took.
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/memory.h>

#include <string>
#include <utility>

#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/scratch.h"
#include "harness/target.h"
#include "host/sequence.h"
#include "support/taken_settings.h"

namespace {

using fuzz::Bytes;
using fuzz::Document;
using fuzz::Extent;
using fuzz::Input;
using fuzz::Picture;
using fuzz::require;
using fuzz::requireSame;
using fuzz::Status;

enum Target { kMemory, kFile, kDocument, kNull, kFull, kUnopenable, kMissing, kTargets };

// What is not a picture, settings and a target at all.
enum Lack { kNothing, kPicture, kDescription, kParameters, kSettings, kStatusBlock, kLacks };

struct Plan {
    model::Settings settings;
    Picture picture;
    model::Description description;
    Target target;
    Lack lack;
    std::uint32_t failingAllocation;
    std::uint32_t cancelFrom;
    std::int32_t confirmation;
    bool served;
    std::size_t room;
};

Plan makePlan(Input& input) {
    constexpr Target targets[] = {kMemory, kFile, kDocument, kMemory,
                                  kNull,   kFull, kMissing,  kUnopenable};
    Plan plan = {};
    plan.target = input.pick(targets);
    plan.lack = input.oneIn(64) ? static_cast<Lack>(input.below(kLacks)) : kNothing;
    plan.failingAllocation = input.oneIn(4) ? input.u8() : 0;
    plan.cancelFrom = input.oneIn(8) ? 0 : 0xFFFFFFFF;
    plan.confirmation = input.oneIn(4) ? 0 : 1;
    plan.served = !input.oneIn(16);
    plan.room = input.oneIn(8) ? input.u16() : std::size_t{1} << 22;
    plan.settings = fuzz::makeSettings(input, false);
    plan.picture = fuzz::makePicture(input);
    plan.description = fuzz::makeDescription(input, plan.picture, false);
    return plan;
}

std::string nameOf(Target target) {
    switch (target) {
        case kFile:
        case kDocument:
            return fuzz::scratchPath("picture.bmp");
        case kNull:
            return fuzz::deviceLink("/dev/null");
        case kFull:
            return fuzz::deviceLink("/dev/full");
        case kUnopenable:
            return fuzz::scratchPath("missing/picture.bmp");
        default:
            return "";
    }
}

// Red and blue of 24-bit rows that are written as they are change places in the host's block; rows
// that could not be converted are written as they are.
bool mayChangePixels(const Plan& plan, const Extent& extent) {
    const bool converted = !fuzz::HeapWatch::refused() && fuzz::isAffordable(plan.picture, extent);
    return extent.bits == 24 && (plan.picture.bits == 24 || !converted);
}

struct Export {
    explicit Export(const Plan& wanted)
        : plan(wanted),
          settings(plan.settings),
          blocks(plan.picture, plan.description),
          name(nameOf(plan.target)) {
        progress.cancelFrom = plan.cancelFrom;
        progress.confirmation = plan.confirmation;
        status[STATUS_CONTEXT] = reinterpret_cast<HostWord>(&progress);
        status[STATUS_PROC] = reinterpret_cast<HostWord>(&Status::answer);
        document.served = plan.served;
        document.room = plan.room;
        if (plan.target == kDocument) {
            settings.record->documentStream = reinterpret_cast<HostWord>(&Document::serve);
            status[STATUS_DOCUMENT] = reinterpret_cast<HostWord>(&document);
        }
        parameters[EXPORT_SETUP] = plan.lack == kSettings ? 0 : settings.handle;
        parameters[EXPORT_STATUS] =
            plan.lack == kStatusBlock ? 0 : reinterpret_cast<HostWord>(status);
    }
    ~Export() {
        GlobalFree(status[STATUS_MEMORY]);
        fuzz::removeFile(fuzz::scratchPath("picture.bmp"));
    }
    Export(const Export&) = delete;
    Export& operator=(const Export&) = delete;

    std::int32_t run() {
        const fuzz::FailingAllocation failing(plan.failingAllocation);
        return ExportCellData(plan.target == kMissing ? nullptr : name.c_str(),
                              plan.lack == kPicture ? nullptr : &blocks.picture,
                              plan.lack == kDescription ? nullptr : &blocks.description,
                              plan.lack == kParameters ? nullptr : parameters);
    }

    Bytes file() const {
        if (plan.target == kDocument && plan.served) return document.bytes;
        if (plan.target == kMemory) return fuzz::fileInBlock(status[STATUS_MEMORY]);
        return fuzz::readFile(name);
    }

    const Plan& plan;
    fuzz::SettingsBlock settings;
    fuzz::PictureBlocks blocks;
    std::string name;
    Status progress;
    Document document;
    HostWord status[13] = {};
    HostWord parameters[7] = {};
};

bool writesKnownFormat(const Plan& plan) {
    const int format = plan.settings.colorFormat;
    return format == 215 || format == 219 || format == 221 || format == 222;
}

// Whether the file is the one that the model describes.
bool isComparable(const Export& host, const Extent& extent) {
    const Plan& plan = host.plan;
    const bool readable =
        plan.target == kMemory || plan.target == kFile || (plan.target == kDocument && plan.served);
    // An export cut off lacks the size of its encoded rows.
    const bool whole = !host.document.cut && !fuzz::HeapWatch::refused() &&
                       (!host.progress.cancelled || plan.settings.compressionMode != 228);
    return readable && whole && writesKnownFormat(plan) && plan.picture.hasPixels &&
           fuzz::isAffordable(plan.picture, extent);
}

bool opens(const Plan& plan) {
    if (plan.lack == kStatusBlock && (plan.target == kMemory || plan.target == kDocument))
        return false;
    return plan.target != kMissing && plan.target != kUnopenable &&
           (plan.lack == kNothing || plan.lack == kStatusBlock);
}

// The world frees the block when it ends.
void handOver(host::World& world, support::Block& block) {
    world.blocks.add(std::exchange(block.handle, 0));
}

// The same export by a host that misbehaves in its call-backs, as the choices say. What becomes of
// it is not known; but it comes back with a code of the contract, and nothing is lost.
void exportDisturbed(const Plan& plan, const Input& choices) {
    constexpr int kMostActs = 12;
    const host::Surroundings surroundings;
    host::World world(choices, kMostActs);
    const MemHandle setup = world.settings.at(0);
    support::takeSettings(*static_cast<SetupRecord*>(GlobalLock(setup)), plan.settings);
    host::serve(setup, plan.target == kDocument);
    fuzz::PictureBlocks blocks(plan.picture, plan.description);
    handOver(world, blocks.pixels);
    handOver(world, blocks.table);
    world.pictures[0] = blocks.picture;
    world.description = blocks.description;
    const std::string name = nameOf(plan.target);
    const std::int32_t result = host::exportPicture(
        world, setup, &world.pictures[0], plan.target == kMissing ? nullptr : name.c_str());
    require(result == TIVAR_ERR_STREAM || (result == TIVAR_OK && opens(plan)),
            "a code of the contract");
}

void exportUndisturbed(const Plan& plan) {
    const Extent extent = fuzz::negotiatedExtent(plan.settings, plan.description);
    const fuzz::HeapWatch watch;
    Export host(plan);
    const std::int32_t result = host.run();
    if (!opens(plan))
        require(result == TIVAR_ERR_STREAM, "without a target the export is refused");
    else
        require(result == TIVAR_OK || fuzz::HeapWatch::refused(),
                "the export says that it is done");
    require(host.document.closes <= host.document.opens, "a document is closed once");
    require(host.settings.record->lpRLEBuffer == nullptr, "the work buffer is gone");
    requireSame(host.blocks.table.contents(), plan.picture.hasTable ? plan.picture.table : Bytes{},
                "the host's table stays");
    if (!mayChangePixels(plan, extent))
        requireSame(host.blocks.pixels.contents(),
                    plan.picture.hasPixels ? plan.picture.pixels : Bytes{},
                    "the host's pixels stay");
    if (opens(plan) && isComparable(host, extent))
        requireSame(
            host.file(),
            model::exportPicture(fuzz::toModel(plan.picture), plan.description, plan.settings),
            "the file is the model's");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Plan plan = makePlan(input);
    // The undisturbed one after it is right.
    if (input.oneIn(4) && plan.lack == kNothing) exportDisturbed(plan, input);
    exportUndisturbed(plan);
    return 0;
}

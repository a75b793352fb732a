// The calls of the direct interface.
#include <tivar/write.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "write/file_target.h"
#include "write/memory_target.h"
#include "write/record.h"
#include "write/report.h"
#include "write/session.h"

namespace tivar {
namespace {

// ---- The caller's sink ----

constexpr size_t kFirstSinkBytes = offsetof(TivarSink, context) + sizeof(TivarSink::context);

int32_t writeToSink(void* context, const void* bytes, size_t length) {
    const auto& sink = *static_cast<const TivarSink*>(context);
    const bool taken = sink.write(sink.context, bytes, length) == length;
    return taken ? TIVAR_RESULT_OK : TIVAR_RESULT_SINK_FAILED;
}

Target sinkTarget(TivarSink& sink) {
    return {&sink, writeToSink, nullptr, nullptr};
}

Refusal checkSink(const TivarSink* sink, TivarSink& own) {
    if (sink == nullptr) return {TIVAR_RESULT_BAD_CALL, "sink", "it is null"};
    if (!readRecord(sink, kFirstSinkBytes, own))
        return {TIVAR_RESULT_BAD_CALL, "sink.size", "it is not that of the record"};
    if (own.write == nullptr) return {TIVAR_RESULT_BAD_CALL, "sink.write", "it is null"};
    return kAccepted;
}

// ---- One call ----

struct Call {
    Session session;
    TivarReport report;
};

// Checks what all calls are handed; also says why.
bool accept(Call& call, const TivarPicture* picture, const TivarOptions* options,
            const Refusal& ownRefusal) {
    Refusal refusal = ownRefusal;
    if (refusal.result == TIVAR_RESULT_OK) refusal = checkJob(picture, options, call.session.job);
    if (refusal.result != TIVAR_RESULT_OK) {
        refuse(call.report, refusal.result, refusal.field, refusal.why);
        return false;
    }
    const TivarOptions& asked = call.session.job.options;
    call.session.watch = {asked.progress, asked.cancel, asked.context, 0, 0, -1, false};
    return true;
}

// What the file is, told whether it came to be or not.
void describe(Call& call) {
    const Session& session = call.session;
    call.report.bits = session.job.options.bits;
    call.report.colors = session.form.entries;
    if (call.report.result != TIVAR_RESULT_OK) return;
    call.report.exact = session.differs ? 0 : 1;
    call.report.bytes = fileBytes(session.form);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t tivar_write_bmp(const TivarPicture* picture, const TivarOptions* options,
                        const TivarSink* sink, TivarReport* report) {
    Call call = {};
    if (!beginReport(call.report, report)) return TIVAR_RESULT_BAD_CALL;
    TivarSink own = {};
    if (!accept(call, picture, options, checkSink(sink, own))) return tell(report, call.report);
    fail(call.report, writeFile(call.session, sinkTarget(own)), 0);
    describe(call);
    return tell(report, call.report);
}

int32_t tivar_write_bmp_file(const TivarPicture* picture, const TivarOptions* options,
                             const char* name, uint32_t flags, TivarReport* report) {
    Call call = {};
    if (!beginReport(call.report, report)) return TIVAR_RESULT_BAD_CALL;
    Refusal refusal = kAccepted;
    if (name == nullptr || *name == '\0') refusal = {TIVAR_RESULT_BAD_CALL, "name", "it is empty"};
    if ((flags & ~uint32_t{TIVAR_FILE_SYNC | TIVAR_FILE_NEW}) != 0)
        refusal = {TIVAR_RESULT_BAD_CALL, "flags", "there is an unknown one"};
    if (!accept(call, picture, options, refusal)) return tell(report, call.report);
    FileTarget file;
    int32_t result = openFile(file, name, flags);
    if (result == TIVAR_RESULT_OK) result = writeFile(call.session, fileTarget(file));
    if (result == TIVAR_RESULT_OK) result = completeFile(file, flags);
    fail(call.report, result, file.error);
    describe(call);
    return tell(report, call.report);
}

int32_t tivar_write_bmp_memory(const TivarPicture* picture, const TivarOptions* options,
                               void** bytes, size_t* length, TivarReport* report) {
    if (bytes != nullptr) *bytes = nullptr;
    if (length != nullptr) *length = 0;
    Call call = {};
    if (!beginReport(call.report, report)) return TIVAR_RESULT_BAD_CALL;
    Refusal refusal = kAccepted;
    if (bytes == nullptr) refusal = {TIVAR_RESULT_BAD_CALL, "bytes", "it is null"};
    if (length == nullptr) refusal = {TIVAR_RESULT_BAD_CALL, "length", "it is null"};
    if (!accept(call, picture, options, refusal)) return tell(report, call.report);
    MemoryTarget file = {};
    fail(call.report, writeFile(call.session, memoryTarget(file)), 0);
    describe(call);
    if (call.report.result == TIVAR_RESULT_OK) {
        *length = file.length;
        *bytes = file.block.give();
    }
    return tell(report, call.report);
}

void tivar_free(void* bytes) {
    std::free(bytes);
}

const char* tivar_version(void) {
    return TIVAR_RELEASE;
}

const char* tivar_result_text(int32_t result) {
    static constexpr const char* kTexts[] = {
        "done",
        "cancelled",
        "there is not enough memory",
        "the call is missing something, or a record has the wrong size",
        "the picture's description is wrong",
        "an option is wrong",
        "two options, or the picture and an option, contradict each other",
        "the picture is too large for the file",
        "the call-back for rows failed",
        "the sink failed, or took less than it was given",
        "the file could not be written",
    };
    static_assert(sizeof kTexts / sizeof *kTexts == TIVAR_RESULT_LIST_END);
    if (result < 0 || result >= TIVAR_RESULT_LIST_END) return "not a result";
    return kTexts[result];
}

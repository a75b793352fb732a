// A document of the host that notes every call and answers as told.
#pragma once

#include <tivar/stream.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <string>

namespace support {

// Operations of the document procedure.
enum DocumentOperation {
    kDocOpen = 1,
    kDocRead,
    kDocWrite,
    kDocSeek,
    kDocClose,
    kDocExists,
    kDocDelete
};

// One at a time. Serves a document with the handle 5 whose bytes are contents.
class RecordingDocument {
  public:
    explicit RecordingDocument(std::string bytes = {}) : contents(std::move(bytes)) {
        current() = this;
    }
    ~RecordingDocument() { current() = nullptr; }
    RecordingDocument(const RecordingDocument&) = delete;
    RecordingDocument& operator=(const RecordingDocument&) = delete;

    static HostWord procedure() { return reinterpret_cast<HostWord>(&serve); }

    OxlStreamDesc descriptor(HostWord target = 7) const {
        OxlStreamDesc desc = {};
        desc.target = target;
        desc.documentProc = procedure();
        return desc;
    }

    // What was called since the last time, a call a line.
    std::string takeLog() {
        std::string taken;
        taken.swap(log);
        return taken;
    }

    std::string contents;
    std::size_t position = 0;
    std::string log;
    // What the next calls of an operation answer, and then do nothing else.
    std::map<int, std::deque<std::intptr_t>> answers;

  private:
    static RecordingDocument*& current() {
        static RecordingDocument* instance = nullptr;
        return instance;
    }

    static std::intptr_t serve(std::intptr_t first, std::int32_t operation, std::intptr_t a,
                               std::intptr_t b) {
        return current()->answer(first, operation, a, b);
    }

    void note(const char* operation, std::intptr_t first, const std::string& a, std::intptr_t b) {
        log += std::string(operation) + " " + std::to_string(first) + " " + a + " " +
               std::to_string(b) + "\n";
    }

    std::intptr_t answer(std::intptr_t first, std::int32_t operation, std::intptr_t a,
                         std::intptr_t b) {
        const auto* name = reinterpret_cast<const char*>(a);
        const auto shownName = [&] { return std::string(name == nullptr ? "(none)" : name); };
        std::int32_t offset = 0;
        switch (operation) {
            case kDocOpen:
                note("open", first, shownName(), b);
                break;
            case kDocRead:
                note("read", first, a == 0 ? "(none)" : "buffer", b);
                break;
            case kDocWrite:
                note("write", first, std::string(name, name + std::max<std::intptr_t>(b, 0)), b);
                break;
            case kDocSeek:
                std::memcpy(&offset, name, sizeof offset);
                note("seek", first, std::to_string(offset), b);
                break;
            case kDocClose:
                note("close", first, std::to_string(a), b);
                break;
            case kDocExists:
                note("exists", first, shownName(), b);
                break;
            case kDocDelete:
                note("delete", first, shownName(), b);
                break;
            default:
                note("unknown", first, std::to_string(operation), b);
        }
        if (auto& told = answers[operation]; !told.empty()) {
            const std::intptr_t result = told.front();
            told.pop_front();
            return result;
        }
        return perform(operation, a, b, offset);
    }

    std::intptr_t perform(std::int32_t operation, std::intptr_t a, std::intptr_t b,
                          std::int32_t offset) {
        const auto count = static_cast<std::size_t>(std::max<std::intptr_t>(b, 0));
        if (operation == kDocOpen) return 5;
        if (operation == kDocRead) {
            const std::string part = contents.substr(std::min(position, contents.size()), count);
            std::memcpy(reinterpret_cast<char*>(a), part.data(), part.size());
            position += part.size();
            return static_cast<std::intptr_t>(part.size());
        }
        if (operation == kDocWrite) {
            contents.resize(std::max(contents.size(), position + count));
            contents.replace(position, count, reinterpret_cast<const char*>(a), count);
            position += count;
            return b;
        }
        if (operation == kDocSeek) {
            const std::size_t origin = b == SEEK_SET   ? 0
                                       : b == SEEK_CUR ? position
                                                       : contents.size();
            position = static_cast<std::size_t>(static_cast<std::intptr_t>(origin) + offset);
            return static_cast<std::intptr_t>(position);
        }
        return 1;
    }
};

}  // namespace support

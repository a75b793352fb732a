// What the code under test writes to a standard stream, caught by turning its descriptor aside.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

namespace support {

class CapturedText {
  public:
    explicit CapturedText(FILE* stream) : stream_(stream), file_(std::tmpfile()) {
        std::fflush(stream_);
        saved_ = dup(fileno(stream_));
        dup2(fileno(file_), fileno(stream_));
    }
    ~CapturedText() {
        restore();
        std::fclose(file_);
    }
    CapturedText(const CapturedText&) = delete;
    CapturedText& operator=(const CapturedText&) = delete;

    // Ends the capture.
    std::string text() {
        restore();
        std::rewind(file_);
        std::string all;
        for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_))
            all += static_cast<char>(c);
        return all;
    }

  private:
    void restore() {
        if (saved_ < 0) return;
        std::fflush(stream_);
        dup2(saved_, fileno(stream_));
        close(saved_);
        saved_ = -1;
    }

    FILE* stream_;
    FILE* file_;
    int saved_;
};

}  // namespace support

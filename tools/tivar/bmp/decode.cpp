#include "bmp/decode.h"

#include <unistd.h>

#include <cerrno>

#include "bmp/bmp_rows.h"
#include "bmp/read_bytes.h"
#include "picture/write_picture.h"
#include "process/failure.h"
#include "process/inherited.h"
#include "process/input_file.h"
#include "process/output.h"

namespace tool {
namespace {

using WritePicture = int (*)(const PixelRows&, std::FILE*);

WritePicture writerFor(const std::string& target) {
    if (target.ends_with(".ppm")) return writePpm;
    if (target.ends_with(".png") || isStandardOutput(target)) return writePng;
    failUsage(target + " has neither the suffix .png nor .ppm", "name the kind of picture by it");
}

// A stream of its own into the output's file.
OpenFile streamInto(const Output& output) {
    Descriptor copy = duplicate(output.file.number);
    OpenFile file(copy.number < 0 ? nullptr : ::fdopen(copy.number, "wb"));
    if (file == nullptr) failErrno(output.name, errno);
    copy.number = -1;
    return file;
}

}  // namespace

void decodeFile(const DecodeRequest& request) {
    const std::string& target = request.target;
    const WritePicture write = writerFor(target);
    refuseTerminal(target);
    refuseOwnInput(request.input, target, "name another file");
    const BmpFile file = parseBmp(readBmpBytes(request.input));
    const PixelRows rows = rowsOf(file, request.reading);
    Output output(target, duplicate(STDOUT_FILENO));
    const int error = write(rows, streamInto(output).get());
    if (error != 0) failErrno(output.name, error);
    commit(output);
    for (const Notice& notice : rows.notices) {
        report(nameOfInput(request.input), notice.what, notice.remedy);
    }
}

}  // namespace tool

// One call: the steps from the picture to the bytes of the file.
#pragma once

#include <atomic>

#include "write/header.h"
#include "write/high_rows.h"
#include "write/index_rows.h"
#include "write/job.h"
#include "write/output.h"
#include "write/palette_rows.h"
#include "write/rle_encoder.h"
#include "write/row_colors.h"
#include "write/rows.h"
#include "write/source.h"
#include "write/watch.h"

namespace tivar {

struct Session {
    Job job;
    Watch watch;
    Source source;
    RowColors colors;
    ColorTable table;
    bool exact;                 // the palette has every colour of the picture
    std::atomic<bool> differs;  // a pixel has got another colour
    FileForm form;
    KeptIndices kept;
    PaletteRows reduced;
    HighRows high;
    RleEncoder encoder;
    // Room for a row of colours and one of indices for every thread or every row of a group, and
    // for rows on their way to the target.
    int threads;
    uint32_t groupRows;
    Block<uint8_t> colorRows;
    Block<uint8_t> indexRows;
    Block<uint8_t> block;
    uint32_t blockRows;
};

// Writes the file of a session whose job is checked: enum TivarResult.
int32_t writeFile(Session& session, const Target& target);

}  // namespace tivar

// OutputPicture for routines that hold their settings.
#pragma once

#include <tivar/export.h>

#include "filter/settings_use.h"

namespace tivar {

// The handles of a picture in memory, which call-backs may free; null for none.
struct PictureUse {
    explicit PictureUse(const CellPicture* picture)
        : pixels(picture == nullptr ? 0 : picture->pixels),
          table(picture == nullptr ? 0 : picture->colorTable) {}

    Pinned<uint8_t> pixels;
    Pinned<uint8_t> table;
};

// status is the block to which progress is reported, or null. A call-back that ends the settings,
// the stream or the offscreen record makes it stop: 27 before the first band, -1 from there on.
int32_t outputPicture(const SettingsUse& settings, const HostWord* status, OxlStream stream,
                      CellPicture* picture, DrawProc draw);

}  // namespace tivar

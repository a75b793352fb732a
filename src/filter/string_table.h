// The library's own texts: profile keys and section labels, by number.
#pragma once

namespace tivar {

enum TextId {
    kTextMode = 1,
    kTextDriver = 4,
    kTextColorMode = 11,
    kTextColorFormat = 17,
    kTextResolutionMode = 18,
    kTextXResolution = 19,
    kTextYResolution = 20,
    kTextWidth = 21,
    kTextHeight = 22,
    kTextFileType = 23,
    kTextSizeMode = 24,
    kTextCompressionMode = 25,
    kTextLineMode = 26
};

// A text of the table in a buffer of its own.
struct TableText {
    explicit TableText(TextId id);
    char text[144];
};

}  // namespace tivar

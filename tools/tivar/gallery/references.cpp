#include "gallery/references.h"

#include <memory>

#include "export/scaling.h"
#include "gallery/over.h"

namespace tool {

References::References(const Library& library, const Image& source, Color background)
    : own_(over(rowsOf(std::make_shared<const Image>(copyOf(source))), background)), even_(own_) {
    const uint32_t height = evenHeight(source.height);
    if (height == source.height) return;
    stretched_ = pictureOf(library, copyOf(source), background);
    scaleTo(library, stretched_, {source.width, height});
    even_ = rowsOf(stretched_);
}

}  // namespace tool

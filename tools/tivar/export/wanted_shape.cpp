#include "export/wanted_shape.h"

#include <utility>

#include "export/picture.h"
#include "export/plan.h"
#include "picture/upright.h"

namespace tool {
namespace {

bool hasShape(const ExportRequest& request) {
    const ShapeRequest& shape = request.shape;
    const bool named = shape.fit || shape.pad || shape.scaling;
    return request.size && (named || request.route == Route::Direct);
}

Shape shapeOf(const ExportRequest& request) {
    const Color background = request.background.value_or(Color{});
    Shape shape;
    const bool direct = request.route == Route::Direct;
    shape.size = direct ? *request.size : sizeOfFile(request, *request.size);
    shape.fit = request.shape.fit.value_or(Fit::Contain);
    shape.scaling = request.shape.scaling.value_or(Scaling::Automatic);
    shape.pad = request.shape.pad.value_or(background);
    // Beside a picture that keeps its alpha there is nothing, unless a colour is asked for.
    shape.padAlpha = request.shape.pad ? 255 : 0;
    return shape;
}

}  // namespace

bool keepsAlpha(const ExportRequest& request, const Image& image) {
    const bool room = request.like.alpha.value_or(request.bits == 32);
    return room && !request.background && hasAlpha(image);
}

bool keepsShape(const ExportRequest& request) {
    return !hasShape(request) && request.reading.quarters == 0;
}

ReadRequest readingFor(const ExportRequest& request) {
    ReadRequest reading = request.reading;
    if (!hasShape(request)) return reading;
    const int quarters = reading.quarters;
    reading.enough = [shape = shapeOf(request), orient = reading.orient, quarters](
                         PixelSize stored, int orientation) {
        return enoughFor(shape, stored, turnedFurther(orient ? orientation : 1, quarters));
    };
    return reading;
}

Image inWantedShape(Image image, const ExportRequest& request) {
    if (!hasShape(request)) {
        makeUpright(image);
        return image;
    }
    if (!keepsAlpha(request, image)) {
        image = opaque(std::move(image), request.background.value_or(Color{}));
    }
    return reshaped(std::move(image), shapeOf(request));
}

}  // namespace tool

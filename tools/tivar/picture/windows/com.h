// Windows's own codecs of pictures, loaded with the first picture that needs them.
#pragma once

#include <wincodec.h>
#include <windows.h>

#include <memory>

namespace tool {

struct ReleaseObject {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using ComObject = std::unique_ptr<Interface, ReleaseObject>;

// What make(address) made; none where it failed.
template <class Interface, class Make>
ComObject<Interface> made(Make make) {
    Interface* object = nullptr;
    const bool done = SUCCEEDED(make(&object));
    return ComObject<Interface>(done ? object : nullptr);
}

// Failing is a Failure: Windows has the codecs since its version 7.
ComObject<IWICImagingFactory> imagingFactory();

}  // namespace tool

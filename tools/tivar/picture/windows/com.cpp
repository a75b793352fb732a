#include "picture/windows/com.h"

#include "process/failure.h"

namespace tool {

ComObject<IWICImagingFactory> imagingFactory() {
    static const HRESULT started = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    auto factory = made<IWICImagingFactory>([](IWICImagingFactory** address) {
        return CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IWICImagingFactory, reinterpret_cast<void**>(address));
    });
    if (FAILED(started) || factory == nullptr) {
        fail("needs the system's picture codecs (windowscodecs.dll)",
             "install them or convert the picture to BMP or PNM first");
    }
    return factory;
}

}  // namespace tool

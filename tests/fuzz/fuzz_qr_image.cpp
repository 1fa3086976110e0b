// Pictures that a person picks or pastes to read an invite QR: any bytes must
// give a text or nothing, never a crash.
#include "net/QRCode.h"

#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static int argc = 1;
    static char name[] = "fuzz_qr_image";
    static char* argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv); // image plugins need an application
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const auto text = decodeQR(bytes);
    if (text && text->isEmpty()) std::abort(); // an empty reading is reported as none
    return 0;
}

// Image bytes from files, the clipboard and other people: sized, decoded and
// re-encoded as JPEG. Any input must give a result or nothing, never a crash,
// and a result must itself be a readable JPEG within the asked size.
#include "conversations/ImageEncoding.h"

#include <QCoreApplication>
#include <QImageReader>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static int argc = 1;
    static char name[] = "fuzz_images";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    // Decoders allocate by the sizes a header claims: keep those small here.
    QImageReader::setAllocationLimit(64);
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    imagePixelSize(bytes);
    decodedImage(bytes);
    if (const auto jpeg = makeAvatarJPEG(bytes, 32, 0.5)) {
        const auto fitted = imagePixelSize(*jpeg);
        if (!fitted || fitted->width() > 32 || fitted->height() > 32) abort();
    }
    return 0;
}

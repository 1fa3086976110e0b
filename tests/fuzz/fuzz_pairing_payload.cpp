// A pairing text comes from a scanned or pasted QR: any bytes must give a
// payload or nothing, and a payload must survive its own text form.
#include "federation/Pairing.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const auto payload = PairingPayload::parse(text);
    if (!payload) return 0;
    if (!text.trimmed().startsWith(QLatin1Char('{'))) std::abort();
    const auto again = PairingPayload::parse(payload->qrString());
    if (!again || !(*again == *payload)) std::abort();
    return 0;
}

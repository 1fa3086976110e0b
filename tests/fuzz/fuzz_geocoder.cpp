// Replies of the address geocoding service, which is outside the service we
// control: any bytes give a coordinate within range or nothing.
#include "conversations/Geocoder.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray body(reinterpret_cast<const char*>(data), qsizetype(size));
    if (const auto point = parseNominatimReply(body)) {
        if (!std::isfinite(point->lat) || !std::isfinite(point->lon) || std::abs(point->lat) > 90 ||
            std::abs(point->lon) > 180)
            abort();
    }
    return 0;
}

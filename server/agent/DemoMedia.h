#pragma once

#include <QString>

// Pictures for the demo's album, drawn here so the demo needs no files.
namespace demomedia {

struct Picture {
    QString url; // where the server serves it
    int width = 0;
    int height = 0;
};

// Draws landscape number `index` and stores it as JPEG under the data
// directory; throws std::runtime_error when it cannot be written.
Picture landscape(const QString& dataDir, int index);

// Stores spoken demo voice message `index` (0 or 1, made at build time) as a
// media file and gives its address; throws std::runtime_error when it cannot.
QString voice(const QString& dataDir, int index);

} // namespace demomedia

#pragma once

// Images as they leave the client: resized with their orientation applied
// and written as JPEG. Pure functions that run on any thread; the batch form
// spreads the work over the thread pool and gathers the results in order.

#include <QByteArray>
#include <QCoroTask>
#include <QImage>
#include <QList>
#include <QSize>
#include <optional>

// The image with its longest side at most `maxPixel`, turned upright as its
// file says, as JPEG at `quality` (0 to 1). None when the bytes are no image.
std::optional<QByteArray> makeAvatarJPEG(const QByteArray& data, int maxPixel = 256,
                                         double quality = 0.8);

// Width and height as shown, orientation applied; none for no image.
std::optional<QSize> imagePixelSize(const QByteArray& data);

// The image for display, upright; none for bad data.
std::optional<QImage> decodedImage(const QByteArray& data);

// makeAvatarJPEG for every image at once, off the main thread. Results keep
// the order of `images`; an image that cannot be converted is left out.
QCoro::Task<QList<QByteArray>> encodeImagesConcurrently(QList<QByteArray> images, int maxPixel,
                                                        double quality);

#pragma once
// A fast PNG encoder for screenshots. Qt's encoder tries every row filter on every row, which
// costs more than drawing the screen; user interfaces compress almost as well with one cheap
// filter chosen per row between "sub" and "up", at a fraction of the time.

class QImage;
class QIODevice;

namespace app {

// Writes `image` as an 8-bit RGB (or RGBA, when it has an alpha channel) PNG. False when the
// image is empty or the device refuses the bytes.
bool writePng(const QImage &image, QIODevice *device);

} // namespace app

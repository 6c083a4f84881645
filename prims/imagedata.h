#pragma once
// Decoding of the pictures that screen descriptions embed as text: plain base64 or a data URL.
// The "image" primitive and the canvas "image" shape read pictures the same way through this.

#include <QImage>
#include <QString>

namespace prims {

// The picture held in `text`: when it begins with "data:", only what follows its first comma is
// read. The rest must be strict base64 (any stray character, even a space, gives no picture);
// the bytes may be any image format Qt reads. A null image when anything is wrong.
QImage decodeImageData(const QString &text);

} // namespace prims

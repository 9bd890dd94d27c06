/// PictureFile: writes a canvas to a file. Private to Preview.
#pragma once

#include <filesystem>

#include <io/preview/Canvas.h>

namespace Tilewright::Io {

/// Whether the extension is that of a PNG or JPEG.
bool isPictureName(const std::filesystem::path& picture);

/// Writes a PNG of 8-bit RGBA or a JPEG, depending on the extension. Throws OutputError with the name of
/// `place`, the file that the user knows.
void savePicture(const Canvas& canvas, const std::filesystem::path& path, const std::filesystem::path& place);

} // namespace Tilewright::Io

/// Preview: a picture of a raster for people.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include <io/outputs/OutputGuard.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct PreviewOptions {
    std::size_t band = 0; ///< from 0; ignored for a raster of red, green and blue
    bool relief = true;   ///< for heights: shaded relief in the colours of a landscape
    bool classes = false; ///< for numbers of point classes: a colour and a name for each instead of a ramp
    std::string title;    ///< of the legend; empty for the name of the band and its unit
};

/// Whether a picture can have this name: it must end in .png, .jpg or .jpeg.
TILEWRIGHT_API bool isPreviewName(const std::filesystem::path& picture);

class HiddenFolder;

/// A finished picture that has not appeared yet, and disappears with the object unless it does. For pictures
/// that belong to other files (finishAll()).
class TILEWRIGHT_API PendingPreview {
public:
    /// Paints like makePreview(), but does not publish.
    PendingPreview(const std::filesystem::path& raster, const PreviewOptions& options,
                   const std::filesystem::path& picture, const OutputGuard& guard);
    PendingPreview(PendingPreview&&) noexcept;
    PendingPreview& operator=(PendingPreview&&) noexcept;
    ~PendingPreview();

    /// Makes the picture appear. Throws OutputError like makePreview().
    void publish();

    /// Where it waits.
    HiddenFolder* folder() const { return hidden.get(); }

private:
    std::unique_ptr<HiddenFolder> hidden;
};

/// Paints `raster`, any that GDAL reads, as a PNG or JPEG depending on the extension of `picture`: the band
/// in colours with a legend, or red, green and blue unchanged, on a white margin with a scale bar. Larger
/// rasters are reduced to 1600 pixels on the longer side, by the average or for classes by the most frequent
/// value. Smaller ones are enlarged by whole factors.
///
/// The light comes from the north-west. Heights are exaggerated as the data require, so shadows of different
/// pictures cannot be compared. Gaps are light grey, except that single pixels get the mean of their
/// neighbours. The colours cover all but the outermost few values in a thousand; where some are left out the
/// legend says "≥" or "≤". For whole numbers the colours end at whole numbers. Classes that are not whole
/// numbers below 256 count as gaps.
///
/// The picture appears by one rename, complete, or not at all; an older one is replaced. Throws InputError if
/// the raster cannot be read, UsageError for another extension, and OutputError if the picture cannot be
/// written. Several threads may call it at once.
TILEWRIGHT_API void makePreview(const std::filesystem::path& raster, const PreviewOptions& options,
                                const std::filesystem::path& picture);

} // namespace Tilewright::Io

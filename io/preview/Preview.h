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
    std::size_t band = 0; ///< from 0; of no account for a raster of red, green and blue
    bool relief = true;   ///< for heights: shaded, in the colours of a landscape
    bool classes = false; ///< for numbers of point classes: a colour and a name for each, in place of a ramp
    std::string title;    ///< of the legend; empty for the name of the band and its unit
};

/// Whether a picture can have this name: it has to end in .png, .jpg or .jpeg.
TILEWRIGHT_API bool isPreviewName(const std::filesystem::path& picture);

class HiddenFolder;

/// A finished picture that has not appeared yet, and goes away with the object unless it does: for one that
/// belongs to other files (finishAll()).
class TILEWRIGHT_API PendingPreview {
public:
    /// As makePreview(), but for the appearing.
    PendingPreview(const std::filesystem::path& raster, const PreviewOptions& options,
                   const std::filesystem::path& picture, const OutputGuard& guard);
    PendingPreview(PendingPreview&&) noexcept;
    PendingPreview& operator=(PendingPreview&&) noexcept;
    ~PendingPreview();

    /// Lets the picture appear. Throws OutputError as makePreview() does.
    void publish();

    /// Where it waits.
    HiddenFolder* folder() const { return hidden.get(); }

private:
    std::unique_ptr<HiddenFolder> hidden;
};

/// Paints `raster`, any that GDAL reads, as a PNG or JPEG, by the name of `picture`: the band in colours with
/// a legend, or red, green and blue as they are, on a white margin with a scale bar. Larger rasters are
/// reduced to 1600 pixels on the longer side by averaging (of classes the most frequent one stays), smaller
/// ones enlarged by whole factors.
///
/// The light comes from the north-west. Heights are exaggerated as the data need it, so the depth of shadows
/// says nothing in two different pictures. What has no data is light grey, but single pixels of that kind are
/// painted with the mean of those around them. The colours reach over all but the outermost values, a few in
/// a thousand; where some are left out the legend says "≥" or "≤". Whole numbers have an end of the colours
/// at a whole number. Classes that are no whole numbers below 256 count as no data.
///
/// The picture appears by one rename, complete, or not at all; an older one is replaced. Throws InputError if
/// the raster can't be read, UsageError for another kind of name, and OutputError if the picture can't be
/// written. May be called on several threads at once.
TILEWRIGHT_API void makePreview(const std::filesystem::path& raster, const PreviewOptions& options,
                                const std::filesystem::path& picture);

} // namespace Tilewright::Io

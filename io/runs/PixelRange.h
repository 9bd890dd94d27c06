/// PixelRange: what the pixels of a type can be, also where a creation option leaves them fewer bits.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

struct PixelRange {
    double least;
    double greatest;

    bool holds(double value) const { return value >= least && value <= greatest; }
};

PixelRange rangeOf(PixelType type);

/// What the option NBITS leaves; none where it isn't given or takes nothing away. Throws UsageError for a
/// number of bits that the type doesn't come in: such an option would be passed over.
std::optional<PixelRange> rangeOfBits(PixelType type, const std::string& typeName,
                                      const std::vector<std::string>& creationOptions);

bool isFloating(PixelType type);

} // namespace Tilewright::Io

/// NoDataChoice: which value stands for the cells of a file that have no data.
///
/// It has to be one that no cell with data has, which only shows when the raster is made. So a usual value is
/// tried first, and where that clashes with the data the raster is made once more with one that is known to
/// be free.
#pragma once

#include <optional>

#include <io/blocks/RasterJob.h>

#include <io/runs/PixelRange.h>

namespace Tilewright::Io {

class NoDataChoice {
public:
    /// A type that the user chose is kept. `bits` is what a creation option leaves of the type.
    NoDataChoice(PixelType type, bool keepsType, std::optional<PixelRange> bits);

    /// That of the file, which may have to be wider than the one at first.
    PixelType type() const { return Type; }
    /// Whether a creation option leaves it fewer values.
    bool hasBits() const { return Bits.has_value(); }
    /// None if all cells have data, and all values.
    std::optional<NoData> value() const;

    enum class Outcome {
        /// The value stands: floating numbers end with NaN.
        Stands,
        /// There is another one to try.
        Moved,
        /// No value of the type is free.
        Exhausted
    };
    /// Goes on to a value that no cell has.
    Outcome avoid(const NoDataClash& clash, bool allCellsHaveData);

private:
    PixelType Type;
    bool KeepsType;
    std::optional<PixelRange> Bits;
    /// Counted from the largest value of an integer type; of floating numbers, which of three.
    std::uint64_t Next = 0;
    bool IsNeeded = true;
};

double asNumber(const NoData& nodata);

} // namespace Tilewright::Io

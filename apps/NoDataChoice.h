/// NoDataChoice: which value stands for the cells of a file that have no data.
///
/// It has to be one that no cell with data has, which only shows when the raster is made. So a usual value is
/// tried first, and where that clashes with the data the raster is made once more with one that is known to
/// be free.
#pragma once

#include <io/RasterJob.h>

namespace Tilewright::App {

class NoDataChoice {
public:
    explicit NoDataChoice(Io::PixelType type) : Type(type) {}

    /// That of the file, which may have to be wider than the one at first.
    Io::PixelType type() const { return Type; }
    Io::NoData value() const;

    /// Goes on to a value that no cell has. False if there is none better: floating numbers end with NaN.
    bool avoid(const Io::NoDataClash& clash);

private:
    Io::PixelType Type;
    std::size_t Next = 0;
};

double asNumber(const Io::NoData& nodata);

} // namespace Tilewright::App

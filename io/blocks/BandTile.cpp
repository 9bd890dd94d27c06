#include <io/blocks/BandTile.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <io/rasters/PixelTypes.h>
#include <io/statistics/Statistic.h>

namespace Tilewright::Io {

namespace {

/// The nearest pixel to a value, and whether that lies beyond all pixels or is none. (An optional would go
/// through memory.)
template <class P> struct NearestPixel {
    P pixel;
    bool isCut = false;
    bool isNone = false;
};

/// For integers the value must be a number.
template <class P> NearestPixel<P> pixelOf(double value) {
    using Limits = std::numeric_limits<P>;
    if constexpr (std::is_same_v<P, double>) {
        return {value};
    } else if constexpr (std::is_floating_point_v<P>) {
        constexpr double most = Limits::max();
        if (!std::isfinite(value) || std::fabs(value) <= most)
            return {static_cast<P>(value)};
        return {value < 0.0 ? Limits::lowest() : Limits::max(), true};
    } else {
        const double rounded = std::round(value);
        if (!(rounded >= static_cast<double>(Limits::min())))
            return {Limits::min(), true};
        // The largest value itself may be no double.
        if (rounded >= std::ldexp(1.0, Limits::digits))
            return {Limits::max(), true};
        return {static_cast<P>(rounded)};
    }
}

/// Integers keep all their digits where the pixels have them.
template <class P, class O> NearestPixel<P> pixelOf(O value, double scale) {
    if (scale != 1.0)
        return pixelOf<P>(static_cast<double>(value) * scale);
    if constexpr (std::is_integral_v<P> && std::is_integral_v<O>) {
        if (std::in_range<P>(value))
            return {static_cast<P>(value)};
        return {std::cmp_less(value, std::numeric_limits<P>::min()) ? std::numeric_limits<P>::min()
                                                                    : std::numeric_limits<P>::max(),
                true};
    } else {
        return pixelOf<P>(static_cast<double>(value));
    }
}

/// What was found in rows of values that all should have pixels of their own.
struct OrdinaryRows {
    /// Not zero if a cell with data has none.
    unsigned odd = 0;
    /// Not zero if the pixel of a cell with data is `blank`.
    unsigned blank = 0;

    /// Places the values of cells with more than `sparseLimit` points. Nothing jumps, and each pixel is
    /// stored: else the compiler uses no vectors.
    template <class P>
    void place(std::span<const double> values, const std::uint32_t* counts, std::uint32_t sparseLimit,
               P blankPixel, P* pixels) {
        constexpr double most = std::numeric_limits<P>::max();
        unsigned oddHere = 0;
        unsigned blankHere = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const P pixel = static_cast<P>(values[i]);
            const bool hasData = counts[i] > sparseLimit;
            const bool isOrdinary = std::fabs(values[i]) <= most;
            const bool isPlaced = hasData & isOrdinary;
            oddHere |= (hasData & !isOrdinary) ? 1U : 0U;
            blankHere |= (isPlaced & (pixel == blankPixel)) ? 1U : 0U;
            pixels[i] = isPlaced ? pixel : pixels[i];
        }
        odd |= oddHere;
        blank |= blankHere;
    }
};

template <class P> class TypedTile : public BandTile {
public:
    TypedTile(const JobBand& band, const RasterDescription& file, const CellWindow& block)
        : Band(band), Block(block), IsMasked(file.nodata.has_value()),
          Blank(file.nodata ? std::visit([](auto v) { return static_cast<P>(v); }, *file.nodata) : P()),
          Pixels(block.cells(), pixelWithoutData(band.source, Blank)) {}

    void take(const WindowResult& result) override {
        using Source = JobBand::Source;
        switch (Band.source) {
        case Source::Reduction:
            takeValues(result);
            return;
        case Source::Count:
            place(result,
                  [&](std::uint64_t at) { return pixelOf<P>(result.countsOf(Band.subset)[at], 1.0); });
            return;
        case Source::Density:
            // The density of the library has 16 bits.
            place(result, [&](std::uint64_t at) {
                return pixelOf<P>(static_cast<unsigned short>(result.countsOf(Band.subset)[at]), 1.0);
            });
            return;
        case Source::CellType:
            place(result, [&](std::uint64_t) { return pixelOf<P>(cellWithData, 1.0); });
            return;
        case Source::Filled:
            return;
        case Source::Alpha:
            place(result, [&](std::uint64_t) { return pixelOf<P>(255, Band.scale); });
            return;
        }
    }

    std::uint64_t write(BlockSink& sink, std::size_t band, std::uint64_t rasterRows,
                        NoDataClash& clash) const override {
        sink.take(band, {Block.column, rasterRows - Block.row - Block.rows, Block.columns, Block.rows},
                  std::span<const P>(Pixels));
        clash.add(Clash);
        return CutCells;
    }

private:
    /// Of a cell that stays without data.
    static NearestPixel<P> noPixel() { return {P(), false, true}; }

    /// The pixels of the window's cells that have data become `pixel(place)` of their places in the arrays,
    /// and stay blank where that is none.
    template <class Pixel> void place(const WindowResult& result, const Pixel& pixel) {
        const CellWindow& window = result.window;
        const std::uint32_t* const counts = result.countsOf(Band.subset).data();
        // None for a band that has data where there are no points.
        const std::uint64_t least = Band.reachesOut ? 0 : std::uint64_t(result.sparseLimit) + 1;
        std::uint64_t cut = 0;
        bool isBlank = false;
        for (std::uint64_t row = 0; row < window.rows; ++row) {
            P* const out = rowOf(window, row);
            for (std::uint64_t column = 0; column < window.columns; ++column) {
                const std::uint64_t at = result.place(column, row);
                if (counts[at] < least)
                    continue;
                const NearestPixel<P> nearest = pixel(at);
                if (nearest.isNone) {
                    cut += IsMasked ? 0 : 1;
                    continue;
                }
                out[column] = nearest.pixel;
                cut += nearest.isCut ? 1 : 0;
                if constexpr (std::is_floating_point_v<P>)
                    isBlank |= nearest.pixel == Blank;
                else if (IsMasked)
                    Clash.note(nearest.pixel, Blank);
            }
        }
        CutCells += cut;
        Clash.happened |= isBlank && IsMasked;
    }

    /// What place() does, in half the time, where the values of all cells with data have a pixel of their
    /// own. False where some have not; then place() has to follow.
    bool placeOrdinary(const WindowResult& result, const double* values) {
        const CellWindow& window = result.window;
        const std::uint32_t* const counts = result.countsOf(Band.subset).data();
        OrdinaryRows found;
        for (std::uint64_t row = 0; row < window.rows; ++row) {
            const std::uint64_t first = result.place(0, row);
            found.place({values + first, window.columns}, counts + first, result.sparseLimit, Blank,
                        rowOf(window, row));
        }
        if (found.odd != 0)
            return false;
        Clash.happened |= found.blank != 0 && IsMasked;
        return true;
    }

    P* rowOf(const CellWindow& window, std::uint64_t row) {
        // Rows of the file run from north to south.
        return Pixels.data() + (Block.row + Block.rows - 1 - (window.row + row)) * Block.columns +
               (window.column - Block.column);
    }

    void takeValues(const WindowResult& result) {
        Quill::ArrayPtr array = result.values[Band.reduction];
        if (array && Band.component)
            array = array->getComponentArray(*Band.component, {});
        Quill::visitArray<3>(
            Quill::PlainValueTypes(), array, [&]<class O>(const Quill::MemArray<3, O>& values) {
                // A view of a component has gaps between its elements.
                const O* const first = Band.component ? nullptr : values.data;
                const std::uint64_t across = values.sizes[0];
                if constexpr (std::is_same_v<O, double> && std::is_floating_point_v<P>)
                    if (first && Band.scale == 1.0 && !Band.reachesOut && placeOrdinary(result, first))
                        return;
                place(result, [&](std::uint64_t at) {
                    const O value = first ? first[at] : values[{at % across, at / across, 0}];
                    if constexpr (std::is_same_v<O, unsigned long long>)
                        return pixelOfKey(value);
                    else
                        return pixelOfNumber(value);
                });
            });
    }

    /// No integer represents what is not a number.
    template <class O> NearestPixel<P> pixelOfNumber(O value) const {
        if constexpr (std::is_same_v<O, double>)
            if (isNoResult(value))
                return noPixel();
        if constexpr (std::is_floating_point_v<O> && std::is_integral_v<P>)
            if (std::isnan(value))
                return noPixel();
        return pixelOf<P>(value, Band.scale);
    }

    /// Of an unsigned integer, which may be a key.
    NearestPixel<P> pixelOfKey(unsigned long long value) const {
        switch (Band.keys) {
        case OrderKeys::Numbers:
        case OrderKeys::ReversedNumbers:
            return pixelOfNumber(numberOfOrderKey(value, Band.keys == OrderKeys::ReversedNumbers));
        case OrderKeys::ReversedIntegers:
            return pixelOfNumber(~value);
        case OrderKeys::None:
        case OrderKeys::Integers:
            break;
        }
        return pixelOfNumber(value);
    }

    const JobBand& Band;
    CellWindow Block;
    bool IsMasked;
    P Blank;
    std::vector<P> Pixels;
    NoDataClash Clash;
    std::uint64_t CutCells = 0;
};

} // namespace

std::unique_ptr<BandTile> makeBandTile(const JobBand& band, const RasterDescription& file,
                                       const CellWindow& block) {
    return withPixelType(file.type, [&](auto zero) -> std::unique_ptr<BandTile> {
        return std::make_unique<TypedTile<decltype(zero)>>(band, file, block);
    });
}

} // namespace Tilewright::Io

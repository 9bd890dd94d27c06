/// CloudSummary: what a cloud is like, found in one pass over its points.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <unordered_set>
#include <variant>
#include <vector>

#include <io/clouds/PointCloud.h>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// The ground that points cover, as squares with a point in them. The squares grow until they are so few that
/// each should hold a number of points: gaps between points are covered then, and holes in the cloud are not.
class TILEWRIGHT_API Coverage {
public:
    /// Keeps at most so many squares, from 4.
    explicit Coverage(std::size_t mostSquares) : Most(mostSquares) {}

    void add(double x, double y);
    /// It does not matter how the points were dealt out.
    void add(const Coverage& other);

    std::size_t squares() const { return Squares.size(); }
    double area() const { return static_cast<double>(Squares.size()) * Side * Side; }

private:
    void insert(std::uint64_t square);
    /// To squares of twice the side.
    void coarsen();

    std::size_t Most;
    /// A power of two, so that four squares make one of twice the side.
    double Side = 0x1p-30;
    std::unordered_set<std::uint64_t> Squares;
    /// That of the last point, where the next one mostly is too.
    std::optional<std::uint64_t> Last;
};

/// The least and the greatest of some values. NaN is passed over.
template <class T> struct ValueRange {
    T least = std::numeric_limits<T>::max();
    T greatest = std::numeric_limits<T>::lowest();
    bool isEmpty = true;

    void add(T value) {
        if (value != value)
            return;
        least = isEmpty ? value : std::min(least, value);
        greatest = isEmpty ? value : std::max(greatest, value);
        isEmpty = false;
    }
    void add(const ValueRange& other) {
        if (!other.isEmpty) {
            add(other.least);
            add(other.greatest);
        }
    }
};

/// A double has room for the values of all types but one.
using ValuesOfField = std::variant<ValueRange<double>, ValueRange<unsigned long long>>;

struct TILEWRIGHT_API CloudSummary {
    /// Of the points' own coordinates; empty without points.
    PointBounds bounds;
    /// Of the ground that the points cover, seen from above; 0 if they lie on a line along an axis, or in a
    /// spot.
    double area = 0.0;
    /// Points for each unit of the area; none if that is 0.
    std::optional<double> density;
    /// With a few points in each cell on average, 1, 2 or 5 times a power of ten.
    std::optional<double> cell;
    /// One for each field of the cloud.
    std::vector<ValuesOfField> ranges;
};

/// How a compressed file stores its points.
struct TILEWRIGHT_API CompressionSummary {
    /// The levels of a COPC file, and how far apart neighbouring points are in the first and in the last one.
    struct Octree {
        std::uint64_t levels = 0;
        double spacing = 0.0;
        double finestSpacing = 0.0;
    };

    std::uint64_t chunks = 0;
    /// Points of each chunk but the last. Nothing if they vary.
    std::optional<std::uint64_t> chunkSize;
    std::optional<Octree> octree;
};

/// Nothing if the source is not compressed.
TILEWRIGHT_API std::optional<CompressionSummary> compressionOf(const PointSource& source);

/// Reads all points, on several threads. Throws Interruption if `report` gives false, and InputError.
TILEWRIGHT_API CloudSummary summarise(const PointCloud& cloud, unsigned threads, const StepReport& report);

} // namespace Tilewright::Io

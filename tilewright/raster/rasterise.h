/// rasterise: point clouds of your own in, cells out, without the data model in between.
///
///     Tilewright::Cloud cloud(points);
///     cloud.add("Intensity", intensities);
///     const Tilewright::Raster raster = rasterise(cloud, {.requests = {"Positions:Mean:Zdir"}, .cellSize =
///     {1, 1, 0}}); const Tilewright::CellView<const double> heights = raster.cells<double>("Height");
///
/// It is a thin layer over Tilewright::raster (raster.h), which works on grids, in fragments, and with data
/// that are made on demand. Here a cloud is one fragment in memory.
///
/// Thread safety: a cloud may be rasterised by several threads at once while nobody adds to it.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/Grid.h>
#include <tilewright/raster/Lattice.h>

namespace Tilewright {

/// Points and the values that belong to them.
class TILEWRIGHT_API Cloud {
public:
    using Point = Orrery::PhysicalSpace::point;

    /// Takes over the points.
    explicit Cloud(std::vector<Point> points);
    /// Copies the points.
    explicit Cloud(std::span<const Point> points) : Cloud(std::vector<Point>(points.begin(), points.end())) {}

    /// Adds the field `name`, in place of one of that name: one value for each point, of a type of
    /// arrays/ValueTypes.h. A vector is taken over if it is moved here.
    template <class T> Cloud& add(const std::string& name, std::vector<T> values) {
        const Quill::MultiIndex<1> size(values.size());
        const Quill::ChunkPtr chunk = Larder::Ref<Larder::Chunk<T>>(std::move(values));
        return addArray(name, Larder::Ref<Quill::MemArray<1, T>>(chunk, size));
    }
    template <class T> Cloud& add(const std::string& name, std::span<const T> values) {
        return add(name, std::vector<T>(values.begin(), values.end()));
    }

    /// Number of points.
    std::size_t size() const;

    /// The cloud as Tilewright::raster takes it.
    const Quill::Grid& grid() const { return *Data; }

private:
    Cloud& addArray(const std::string& name, const Quill::ArrayPtr& values);

    Larder::Ref<Quill::Grid> Data;
};

/// What to make of a cloud.
struct TILEWRIGHT_API RasterSettings {
    /// "field:filter:direction" for each field that is wanted, as in raster.h; fields without a request are
    /// left out. The heights are asked for as "Positions" and come out as "Height".
    std::vector<std::string> requests;
    /// Spacing of the cells in the units of the points; 0 on an axis makes a single layer, which takes every
    /// point.
    Orrery::PhysicalSpace::vector cellSize{1, 1, 0};
    /// Where the first cell has its centre; the low corner of the points' box if none is given. Points more
    /// than half a cell before it are in no cell.
    std::optional<Orrery::PhysicalSpace::point> firstNode{};
    /// Empty, or the points to take, as in "2,9@Classification".
    std::string selection{};
    /// A cell with at most this many points counts as one without data in "CellType" and "Density".
    unsigned sparseLimit = 0;
    /// Takes warnings; without it they are dropped.
    std::function<void(const std::string&)> warn{};
};

/// The cells of one field, x fastest; y grows to the north. Valid as long as the Raster that gave it.
template <class T> struct CellView {
    std::span<T> values;
    Quill::MultiIndex<3> extents;

    /// False if there is no such field, or one of another type.
    explicit operator bool() const { return values.data() != nullptr; }

    /// Indices are not checked.
    T& operator()(unsigned long long i, unsigned long long j, unsigned long long k = 0) const {
        return values[Quill::MultiIndex<3>(i, j, k).linearIn(extents)];
    }
};

/// What became of a cloud: fields of cells, or the reason why there are none.
class TILEWRIGHT_API Raster {
public:
    /// Empty on success.
    std::string failure;
    /// One fragment.
    Tilewright::Lattice lattice;

    /// The cells of a field: one that was requested, or "CellType" and "Density" (unsigned char, unsigned
    /// short). T is what the request gives: double for a component or a plain number by axis, the field's own
    /// type for whole values, float for a plane of whole values. An empty view for any other.
    template <class T> CellView<const T> cells(const std::string& field) const {
        const Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable> array = arrayOf(field);
        if (!array)
            return {};
        return {{array->data, array->nElements()}, array->Size()};
    }

    /// The raster as Tilewright::raster makes it.
    const Quill::Grid& grid() const { return *Data; }

private:
    friend TILEWRIGHT_API Raster rasterise(const Cloud& cloud, const RasterSettings& settings);

    Quill::ArrayPtr arrayOf(const std::string& field) const;

    Larder::Ref<Quill::Grid> Data;
};

/// Rasterises `cloud`. Nothing is printed and nothing is thrown but what memory allocation throws. Cells are
/// laid out so that every point is in one, unless `settings` say where they begin or a coordinate is not
/// finite.
TILEWRIGHT_API Raster rasterise(const Cloud& cloud, const RasterSettings& settings);

} // namespace Tilewright

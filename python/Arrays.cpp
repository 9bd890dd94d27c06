#include <python/Arrays.h>

#include <cstdint>

namespace py = pybind11;

namespace Tilewright::Python {

namespace {

using Storage = Io::PointField::Storage;

Storage storageOf(const NamedArray& column) {
    const py::array& array = column.second;
    const auto is = [&]<class T>(T) {
        return py::detail::npy_api::get().PyArray_EquivTypes_(array.dtype().ptr(), py::dtype::of<T>().ptr());
    };
    Storage found = Storage::Double;
    const auto isOneOf = [&]<class... T>(T... types) {
        return ((is(types) && (found = Io::ArrayColumn::storageFor<T>(), true)) || ...);
    };
    if (!isOneOf(double(), float(), std::uint8_t(), std::int8_t(), std::uint16_t(), std::int16_t(),
                 std::uint32_t(), std::int32_t(), std::uint64_t(), std::int64_t()))
        throw py::type_error("the column " + column.first + " has values of the type " +
                             py::str(array.dtype()).cast<std::string>() + ", which are no plain numbers");
    return found;
}

Io::ArrayColumn columnOf(const NamedArray& column) {
    const py::array& array = column.second;
    if (array.ndim() != 1)
        throw py::value_error("the column " + column.first + " has " + std::to_string(array.ndim()) +
                              " dimensions, not one");
    return {Io::plainField(column.first, storageOf(column)), static_cast<const std::byte*>(array.data()),
            static_cast<std::size_t>(array.shape(0)), static_cast<std::ptrdiff_t>(array.strides(0))};
}

} // namespace

PointArrays pointArrays(const std::string& name, const std::vector<NamedArray>& coordinates,
                        const std::vector<NamedArray>& attributes, const std::string& system) {
    if (coordinates.size() != 3)
        throw py::value_error("points have three coordinates");
    PointArrays arrays{name, {}, {}, system};
    for (std::size_t axis = 0; axis < 3; ++axis)
        arrays.coordinates[axis] = columnOf(coordinates[axis]);
    for (const NamedArray& attribute : attributes)
        arrays.attributes.push_back(columnOf(attribute));
    return arrays;
}

std::shared_ptr<const Io::PointCloud> openArrays(const std::vector<PointArrays>& clouds, bool ignoreSystems) {
    std::vector<std::unique_ptr<Io::PointSource>> sources;
    sources.reserve(clouds.size());
    for (const PointArrays& arrays : clouds)
        sources.push_back(std::make_unique<Io::ArraySource>(arrays.name, arrays.coordinates,
                                                            arrays.attributes, arrays.system));
    return std::make_shared<const Io::PointCloud>(std::move(sources), ignoreSystems);
}

} // namespace Tilewright::Python

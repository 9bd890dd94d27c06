/// Arrays: arrays of numpy as points, without copying them.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/numpy.h>

#include <io/clouds/PointCloud.h>
#include <io/records/ArraySource.h>

namespace Tilewright::Python {

/// Arrays of one cloud. They have one dimension, the same length, and numbers of a plain type in the byte
/// order of the machine.
struct PointArrays {
    std::string name;
    /// X, Y and Z.
    std::array<Io::ArrayColumn, 3> coordinates;
    std::vector<Io::ArrayColumn> attributes;
    /// WKT; empty for none.
    std::string system;
};

/// An attribute or a coordinate with its name.
using NamedArray = std::pair<std::string, pybind11::array>;

/// The arrays have to outlive the result. Throws TypeError for an array of other numbers, and ValueError for
/// one of another shape.
PointArrays pointArrays(const std::string& name, const std::vector<NamedArray>& coordinates,
                        const std::vector<NamedArray>& attributes, const std::string& system);

/// Looks at all coordinates, so that the GIL should be free. Throws Io::InputError for one that is not
/// finite.
std::shared_ptr<const Io::PointCloud> openArrays(const std::vector<PointArrays>& clouds, bool ignoreSystems);

} // namespace Tilewright::Python

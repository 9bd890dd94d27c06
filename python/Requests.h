/// Requests: keywords of Python as a request.
#pragma once

#include <pybind11/pybind11.h>

#include <io/runs/RasterRequest.h>

namespace Tilewright::Python {

/// Keywords have the names of the members of RasterRequest; what is None or not there stays as it is.
/// Throws TypeError for a keyword that there is not, and for a value of another type.
Io::RasterRequest requestOf(const pybind11::dict& keywords);

} // namespace Tilewright::Python

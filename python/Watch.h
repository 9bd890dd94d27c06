/// Watch: lets Python look on while the engine works.
#pragma once

#include <functional>

#include <pybind11/pybind11.h>

#include <io/runs/RasterRun.h>

namespace Tilewright::Python {

/// Does `work` on a thread of its own, without the GIL. Meanwhile the calling thread sees to signals, and
/// calls `callback(step, done, total, unit)` about ten times a second unless that is None: neither may be
/// done on a thread that Python doesn't know. A Ctrl-C or an exception of the callback stops the work and
/// comes out here; what the work throws does too.
void doWatched(const pybind11::object& callback, const std::function<void(const Io::RunProgress&)>& work);

} // namespace Tilewright::Python

#include <python/Requests.h>

#include <functional>
#include <map>
#include <string>

#include <pybind11/stl.h>

namespace py = pybind11;

namespace Tilewright::Python {

namespace {

using Setter = std::function<void(Io::RasterRequest& request, py::handle value)>;

template <class Member> Setter set(Member Io::RasterRequest::*member) {
    return [member](Io::RasterRequest& request, py::handle value) { request.*member = value.cast<Member>(); };
}

const std::map<std::string, Setter>& setters() {
    using R = Io::RasterRequest;
    static const std::map<std::string, Setter> all = {{"inputs", set(&R::inputs)},
                                                      {"output", set(&R::output)},
                                                      {"bands", set(&R::bands)},
                                                      {"requests", set(&R::requests)},
                                                      {"selections", set(&R::selections)},
                                                      {"returns", set(&R::returns)},
                                                      {"clip", set(&R::clip)},
                                                      {"ground", set(&R::ground)},
                                                      {"groundClasses", set(&R::groundClasses)},
                                                      {"bounds", set(&R::bounds)},
                                                      {"sparseLimit", set(&R::sparseLimit)},
                                                      {"alpha", set(&R::alpha)},
                                                      {"cell", set(&R::cell)},
                                                      {"origin", set(&R::origin)},
                                                      {"shift", set(&R::shift)},
                                                      {"like", set(&R::like)},
                                                      {"memory", set(&R::memory)},
                                                      {"threads", set(&R::threads)},
                                                      {"scratch", set(&R::scratch)},
                                                      {"pixelType", set(&R::pixelType)},
                                                      {"driver", set(&R::driver)},
                                                      {"creationOptions", set(&R::creationOptions)},
                                                      {"coordinateSystem", set(&R::coordinateSystem)},
                                                      {"nodata", set(&R::nodata)},
                                                      {"overwrite", set(&R::overwrite)},
                                                      {"stack", set(&R::stack)},
                                                      {"overviews", set(&R::overviews)},
                                                      {"fill", set(&R::fill)},
                                                      {"fillMethod", set(&R::fillMethod)},
                                                      {"preview", set(&R::preview)},
                                                      {"dryRun", set(&R::dryRun)},
                                                      {"shownAs", set(&R::shownAs)}};
    return all;
}

} // namespace

Io::RasterRequest requestOf(const py::dict& keywords) {
    Io::RasterRequest request;
    for (const auto& [key, value] : keywords) {
        const auto name = key.cast<std::string>();
        const auto setter = setters().find(name);
        if (setter == setters().end())
            throw py::type_error("there is no keyword " + name);
        if (value.is_none())
            continue;
        try {
            setter->second(request, value);
        } catch (const py::cast_error&) {
            throw py::type_error(name + " can't be " + py::repr(value).cast<std::string>());
        }
    }
    return request;
}

} // namespace Tilewright::Python

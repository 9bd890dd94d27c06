// A client of both libraries that is built with the flags of pkg-config alone.
#include <cstdio>

#include <io/gdal/CoordinateSystem.h>
#include <tilewright/tilewright.h>

int main() {
    const Larder::Ref<Quill::Grid> in, out;
    const std::string answer =
        Tilewright::raster(*in, *out, {}, {1, 1, 0}, {}, {}, false, false, "", 0u, nullptr);
    const std::string unit =
        Tilewright::Io::linearUnitOf(Tilewright::Io::coordinateSystemFromUser("EPSG:25832"));
    std::printf("%s; %s\n", answer.c_str(), unit.c_str());
    return answer == "Have no parse string" && unit == "metre" ? 0 : 1;
}

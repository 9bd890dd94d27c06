#include <io/formats/PolygonFile.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include <cpl_vsi.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <io/gdal/CoordinateSystem.h>
#include <io/gdal/Gdal.h>
#include <io/gdal/VirtualFile.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

bool exists(const std::string& path) {
    VSIStatBufL status;
    return VSIStatL(path.c_str(), &status) == 0;
}

class PolygonReader {
public:
    PolygonReader(std::string name, GDALDataset& data, const std::string& layer, const std::string& system)
        : Name(std::move(name)), Layer(chooseLayer(data, layer)) {
        planTransformation(system);
    }

    PolygonRings read() {
        const GdalMessages messages;
        Layer.ResetReading();
        while (const OGRFeatureUniquePtr feature{Layer.GetNextFeature()})
            if (const OGRGeometry* const geometry = feature->GetGeometryRef();
                geometry && !geometry->IsEmpty())
                add(*geometry);
        // The end of a layer and a fault in it look the same.
        if (messages.failed())
            fail("cannot be read to its end: " + messages.text());
        if (Result.rings.empty())
            fail("has no polygons");
        if (Repaired != 0)
            Result.notes.push_back(
                Name + ": " + std::to_string(Repaired) +
                (Repaired == 1 ? " polygon crosses itself and was" : " polygons cross themselves and were") +
                " repaired");
        return std::move(Result);
    }

private:
    [[noreturn]] void fail(const std::string& what) const { throw InputError(Name + ": " + what); }

    static bool mayHavePolygons(OGRLayer& layer) {
        const OGRwkbGeometryType type = wkbFlatten(layer.GetGeomType());
        return type == wkbUnknown || type == wkbGeometryCollection || OGR_GT_IsSubClassOf(type, wkbSurface) ||
               OGR_GT_IsSubClassOf(type, wkbMultiSurface);
    }

    OGRLayer& chooseLayer(GDALDataset& data, const std::string& wanted) const {
        std::string names;
        OGRLayer* only = nullptr;
        int candidates = 0;
        for (OGRLayer* const layer : data.GetLayers()) {
            names += (names.empty() ? "" : ", ") + std::string(layer->GetName());
            if (wanted == layer->GetName())
                return *layer;
            if (mayHavePolygons(*layer)) {
                only = layer;
                ++candidates;
            }
        }
        if (!wanted.empty())
            fail("has no layer '" + wanted + "'; it has " + (names.empty() ? "none" : names));
        if (candidates == 0)
            fail("has no polygons");
        if (candidates > 1)
            fail("has several layers: " + names + "; choose one of them with " + Name + ":LAYER");
        return *only;
    }

    /// Plans none for coordinates that are in the system already: it would change their last bits.
    void planTransformation(const std::string& system) {
        std::string own = wktOf(Layer.GetSpatialRef());
        // GeoPackage has such names for the lack of a system.
        if (systemName(own).starts_with("Undefined "))
            own.clear();
        if (own.empty() && !system.empty())
            Result.notes.push_back(Name + " names no coordinate system; its polygons are taken to be in " +
                                   systemName(system));
        if (system.empty() && !own.empty())
            fail("is in " + systemName(own) + ", and the cloud names no system; --srs would say which it is");
        if (own.empty() || isSameWithoutHeights(own, system))
            return;
        const GdalMessages messages;
        OGRSpatialReference from, to;
        const bool areRead =
            from.importFromWkt(own.c_str()) == OGRERR_NONE && to.importFromWkt(system.c_str()) == OGRERR_NONE;
        // Polygons have no heights to transform.
        from.StripVertical();
        to.StripVertical();
        from.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        to.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (areRead)
            Transformation.reset(OGRCreateCoordinateTransformation(&from, &to));
        if (!Transformation)
            fail("is in " + systemName(own) + ", and there is no way from there to " + systemName(system) +
                 (messages.text().empty() ? "" : " (" + messages.text() + ")"));
    }

    void add(const OGRGeometry& geometry) {
        const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
        const bool isArea =
            OGR_GT_IsSubClassOf(type, wkbSurface) || OGR_GT_IsSubClassOf(type, wkbMultiSurface);
        if (!isArea && type != wkbGeometryCollection)
            fail("has other things than polygons in it, such as a " +
                 std::string(OGRGeometryTypeToName(type)));
        std::unique_ptr<OGRGeometry> lines(geometry.getLinearGeometry());
        lines->flattenTo2D();
        transform(*lines);
        if (!lines->IsValid()) {
            lines.reset(lines->MakeValid());
            if (!lines)
                fail("has a polygon that crosses itself and cannot be repaired");
            ++Repaired;
        }
        addParts(*lines);
    }

    void transform(OGRGeometry& geometry) const {
        const GdalMessages messages;
        if (Transformation && geometry.transform(Transformation.get()) != OGRERR_NONE)
            fail("has a polygon that cannot be transformed into the system of the cloud" +
                 (messages.text().empty() ? "" : " (" + messages.text() + ")"));
        checkCorners(geometry);
    }

    /// An envelope would leave out what is not a number.
    void checkCorners(const OGRGeometry& geometry) const {
        constexpr double farthest = 1e100;
        const auto isUsual = [](double coordinate) { return std::fabs(coordinate) <= farthest; };
        if (OGR_GT_IsSubClassOf(wkbFlatten(geometry.getGeometryType()), wkbGeometryCollection)) {
            for (const OGRGeometry* const part : *geometry.toGeometryCollection())
                checkCorners(*part);
        } else if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon) {
            for (const OGRLinearRing* const ring : *geometry.toPolygon())
                for (int i = 0; i < ring->getNumPoints(); ++i)
                    if (!isUsual(ring->getX(i)) || !isUsual(ring->getY(i)))
                        fail("has a polygon with coordinates that are too large or no numbers");
        }
    }

    /// A repair may leave lines and points, which have no area.
    void addParts(const OGRGeometry& geometry) {
        if (OGR_GT_IsSubClassOf(wkbFlatten(geometry.getGeometryType()), wkbGeometryCollection)) {
            for (const OGRGeometry* const part : *geometry.toGeometryCollection())
                addParts(*part);
        } else if (wkbFlatten(geometry.getGeometryType()) == wkbPolygon && !geometry.IsEmpty()) {
            bool isOutline = true;
            for (const OGRLinearRing* const ring : *geometry.toPolygon()) {
                addRing(*ring, isOutline);
                isOutline = false;
            }
        }
    }

    void addRing(const OGRLinearRing& ring, bool isOutline) {
        PolygonRing corners;
        for (int i = 0; i < ring.getNumPoints(); ++i)
            corners.push_back({ring.getX(i), ring.getY(i)});
        if ((ring.isClockwise() != 0) == isOutline)
            std::ranges::reverse(corners);
        Result.rings.push_back(std::move(corners));
    }

    std::string Name;
    OGRLayer& Layer;
    std::unique_ptr<OGRCoordinateTransformation> Transformation;
    std::uint64_t Repaired = 0;
    PolygonRings Result;
};

} // namespace

PolygonFileName polygonFileName(const std::string& text) {
    // Names of layers may have colons too.
    std::size_t colon = text.size();
    if (!exists(text))
        do
            colon = colon == 0 ? std::string::npos : text.rfind(':', colon - 1);
        while (colon != std::string::npos && !exists(text.substr(0, colon)));
    if (colon == text.size() || colon == std::string::npos)
        return {text, ""};
    return {text.substr(0, colon), text.substr(colon + 1)};
}

PolygonRings readPolygons(const std::string& text, const std::string& system) {
    registerAllDrivers();
    const GdalMessages messages;
    const auto [file, layer] = polygonFileName(text);
    // Absolute, so that no name is taken for that of a database or a server.
    const std::string path = isVirtualPath(file) ? file.string() : std::filesystem::absolute(file).string();
    if (!exists(path))
        throw InputError(file.string() + ": cannot be found");
    const GDALDatasetUniquePtr data(GDALDataset::Open(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY));
    if (!data)
        throw InputError(file.string() + ": is no file of polygons" +
                         (messages.text().empty() ? "" : " (" + messages.text() + ")"));
    return PolygonReader(file.string(), *data, layer, system).read();
}

} // namespace Tilewright::Io

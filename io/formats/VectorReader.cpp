#include <io/formats/VectorReader.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <io/gdal/CoordinateSystem.h>
#include <io/gdal/Gdal.h>
#include <io/records/FieldNames.h>
#include <io/records/RecordStore.h>

namespace Tilewright::Io {

namespace {

/// A numeric attribute that all layers have.
struct Attribute {
    std::string name;
    std::vector<int> places; ///< among the fields of each layer
    ValueRange range;
};

/// Nothing if the feature has no value there.
std::optional<Number> valueOf(const OGRFeature& feature, int place) {
    if (!feature.IsFieldSetAndNotNull(place))
        return std::nullopt;
    if (feature.GetFieldDefnRef(place)->GetType() == OFTReal)
        return feature.GetFieldAsDouble(place);
    return static_cast<long long>(feature.GetFieldAsInteger64(place));
}

class VectorReader {
public:
    VectorReader(std::string name, GDALDataset& data, const ReadOptions& options)
        : name(std::move(name)), options(options) {
        chooseLayers(data);
        chooseAttributes();
    }

    std::unique_ptr<PointSource> read() {
        forEachFeature([this](const OGRFeature& feature, std::size_t layer) {
            for (Attribute& attribute : attributes)
                if (const auto value = valueOf(feature, attribute.places[layer]))
                    attribute.range.add(*value);
                else
                    attribute.range.addReal();
        });
        RecordFormat format;
        for (const Attribute& attribute : attributes)
            format.fields.push_back(storedField(attribute.name, attribute.range.typeFor(attribute.name)));
        makeNamesUnique(format.fields);
        auto store = std::make_unique<RecordStore>(name, std::move(format), system, options.scratch);
        forEachFeature([&](const OGRFeature& feature, std::size_t layer) {
            const OGRGeometry* const geometry = feature.GetGeometryRef();
            if (!geometry)
                return;
            if (wkbFlatten(geometry->getGeometryType()) == wkbMultiPoint)
                for (const OGRPoint* const point : *geometry->toMultiPoint())
                    append(*store, *point, feature, layer);
            else if (wkbFlatten(geometry->getGeometryType()) == wkbPoint)
                append(*store, *geometry->toPoint(), feature, layer);
            else
                fail("has other things than points in it, such as a " +
                     std::string(OGRGeometryTypeToName(geometry->getGeometryType())) +
                     "; export the points alone");
        });
        store->finish();
        return store;
    }

private:
    [[noreturn]] void fail(const std::string& what) const { throw InputError(name + ": " + what); }

    void chooseLayers(GDALDataset& data) {
        std::string others;
        for (OGRLayer* const layer : data.GetLayers()) {
            const OGRwkbGeometryType type = wkbFlatten(layer->GetGeomType());
            if (type == wkbPoint || type == wkbMultiPoint || type == wkbUnknown)
                layers.push_back(layer);
            else
                others = std::string(", but one of ") + OGRGeometryTypeToName(type);
        }
        if (layers.empty())
            fail("has no layer of points" + others);
        for (OGRLayer* const layer : layers) {
            const std::string own = wktOf(layer->GetSpatialRef());
            if (system.empty())
                system = own;
            else if (!own.empty() && !isSameCoordinateSystem(own, system))
                fail("has layers in different coordinate systems: " + systemName(system) + " and " +
                     systemName(own) + "; export one of them");
            featureCount += static_cast<std::uint64_t>(std::max<GIntBig>(layer->GetFeatureCount(), 0));
        }
    }

    void chooseAttributes() {
        OGRFeatureDefn& first = *layers.front()->GetLayerDefn();
        for (int i = 0; i < first.GetFieldCount(); ++i) {
            const char* const own = first.GetFieldDefn(i)->GetNameRef();
            Attribute attribute = {fieldName(own), {}, {}};
            for (OGRLayer* const layer : layers) {
                OGRFeatureDefn& definition = *layer->GetLayerDefn();
                const int place = layer == layers.front() ? i : definition.GetFieldIndex(own);
                const OGRFieldType type = place < 0 ? OFTString : definition.GetFieldDefn(place)->GetType();
                if (type == OFTReal)
                    attribute.range.addReal();
                if (type == OFTReal || type == OFTInteger || type == OFTInteger64)
                    attribute.places.push_back(place);
            }
            if (attribute.places.size() == layers.size())
                attributes.push_back(std::move(attribute));
        }
    }

    template <class Visitor> void forEachFeature(Visitor&& visit) {
        constexpr std::uint64_t stride = 4096;
        for (std::size_t i = 0; i < layers.size(); ++i) {
            const GdalMessages messages;
            layers[i]->ResetReading();
            while (const OGRFeatureUniquePtr feature{layers[i]->GetNextFeature()}) {
                visit(*feature, i);
                if (++visited % stride == 0 && options.report &&
                    !options.report(std::min(visited, 2 * featureCount), 2 * featureCount))
                    throw Interruption();
            }
            // The end of a layer and a fault in it look the same.
            if (messages.failed())
                fail("cannot be read to its end: " + messages.text());
        }
    }

    void append(RecordStore& store, const OGRPoint& point, const OGRFeature& feature,
                std::size_t layer) const {
        if (point.IsEmpty())
            return;
        if (!point.Is3D())
            fail("has points without heights; with a column of heights 'ogr2ogr -zfield COLUMN' adds them");
        std::byte* const record = store.append({point.getX(), point.getY(), point.getZ()});
        for (std::size_t i = 0; i < attributes.size(); ++i) {
            const auto value = valueOf(feature, attributes[i].places[layer]);
            constexpr double none = std::numeric_limits<double>::quiet_NaN();
            if (!putNumber(record, store.format().fields[i], value ? *value : Number(none)))
                fail("was changed while it was read");
        }
    }

    std::string name;
    const ReadOptions& options;
    std::vector<OGRLayer*> layers;
    std::vector<Attribute> attributes;
    std::string system;
    std::uint64_t featureCount = 0;
    std::uint64_t visited = 0;
};

} // namespace

std::unique_ptr<PointSource> readVector(const std::filesystem::path& path, const ReadOptions& options) {
    registerAllDrivers();
    const GdalMessages messages;
    // Absolute, so that no name is taken for that of a database or a server.
    const std::string absolute = std::filesystem::absolute(path).string();
    const GDALDatasetUniquePtr data(GDALDataset::Open(absolute.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY));
    if (!data && GDALIdentifyDriverEx(absolute.c_str(), GDAL_OF_VECTOR, nullptr, nullptr))
        throw InputError(path.string() + ": cannot be opened: " + messages.text());
    return data ? VectorReader(path.string(), *data, options).read() : nullptr;
}

} // namespace Tilewright::Io

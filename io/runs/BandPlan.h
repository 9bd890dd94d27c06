/// BandPlan: what the bands that a user asks for mean in terms of the library.
///
/// There are two languages. A request, "FIELD:FILTER:DIRECTION", is the library's own and means what the
/// library makes of it: sums as narrow as the values, bounds of a million, pixels of the type that comes out.
/// A band, "FIELD:FILTER", says what is wanted, and the plan finds the request that gives the true value of
/// it: directions with wide sums, and keys in the place of values where the library's bounds would cut them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <io/blocks/RasterJob.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/PointCloud.h>

#include <io/runs/RasterRequest.h>

namespace Tilewright::Io {

/// A band as it was asked for.
struct WantedBand {
    enum class Kind { Field, Request, Count, Density, CellType, Alpha, Rgb };

    Kind kind = Kind::Field;
    /// Unique among the bands.
    std::string name;
    /// As the user put it.
    std::string text;
    /// "Height", "X", "Y", or an attribute of the cloud; of a request "Positions" or an attribute.
    std::string field;
    std::string filter;
    /// Empty where the user leaves it open.
    std::string direction;
};

/// Throws InputError, with the fields there are, if the cloud doesn't have this one.
const CloudField& requireField(const PointCloud& cloud, const std::string& name);

/// Reads the texts of the options; by default the mean height. Throws UsageError for texts that make no
/// sense, and InputError for attributes that the cloud doesn't have.
std::vector<WantedBand> readBands(const RasterRequest& options, const PointCloud& cloud);

/// Attributes whose ranges planBands() needs.
std::vector<std::string> fieldsToMeasure(const std::vector<WantedBand>& bands, const PointCloud& cloud);

/// A band of a file.
struct PlannedBand {
    std::string name;
    std::string request;
    std::string unit;
    BandColour colour = BandColour::Undefined;
    PixelType type = PixelType::Float32;
    JobBand job;
};

/// A file with the bands that belong into it, in their order.
struct PlannedFile {
    /// Of its bands together.
    std::string name;
    std::vector<PlannedBand> bands;
    /// Whether cells without data are told by a value of their own.
    bool hasNoData = true;
};

struct BandPlan {
    std::vector<PlannedFile> files;
    ReductionPlan points;
    std::vector<std::string> notes;
};

/// The index has the ranges of fieldsToMeasure(), in their order. Colours take up all of `fixedType`, the
/// type that the user wants, where that is one of colours.
BandPlan planBands(const std::vector<WantedBand>& bands, const PointCloud& cloud, const CloudIndex& index,
                   std::optional<PixelType> fixedType);

} // namespace Tilewright::Io

/// BandPlan: what the bands that a user asks for mean in terms of reductions.
///
/// For a band in the user's own words the plan finds the reduction that gives the true value of it:
/// directions with wide sums, and keys in the place of values where the library's bounds would cut them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <io/blocks/RasterJob.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/PointCloud.h>

#include <io/runs/BandReader.h>

namespace Tilewright::Io {

/// Attributes whose ranges planBands() needs.
std::vector<std::string> fieldsToMeasure(const std::vector<WantedBand>& bands, const PointCloud& cloud);

/// A band of a file.
struct PlannedBand {
    /// What the values are that it is made of.
    enum class Quantity { Other, Height, Coordinate, Class };

    std::string name;
    std::string request;
    PixelType type = PixelType::Float32;
    Quantity quantity = Quantity::Other;
    /// None for what is not made of values.
    const BandFilter* filter = nullptr;
    BandColour colour = BandColour::Undefined;
    JobBand job = {};
};

/// A file with the bands that belong into it, in their order.
struct PlannedFile {
    /// Of its bands together.
    std::string name;
    std::vector<PlannedBand> bands;
    /// Whether cells without data are marked by a value of their own.
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

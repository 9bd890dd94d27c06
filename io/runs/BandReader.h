/// BandReader: reads the words that bands are asked for with.
///
/// There are two languages. A request, "FIELD:FILTER:DIRECTION", is the library's own and means what the
/// library makes of it: sums as narrow as the values, bounds of a million, pixels of the type that comes out.
/// A band, "FIELD:FILTER", says what is wanted, and means the true value of it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <io/clouds/CloudSelection.h>
#include <io/clouds/PointCloud.h>
#include <io/runs/BandFilters.h>
#include <io/runs/RasterRequest.h>

namespace Tilewright::Io {

/// A band as it was asked for.
struct WantedBand {
    enum class Kind { Field, Request, Count, Density, CellType, Alpha, Filled, Rgb };

    Kind kind = Kind::Field;
    /// Unique among the bands.
    std::string name;
    /// As the user put it.
    std::string text;
    /// "Height", "X", "Y", or an attribute of the cloud; of a request "Positions" or an attribute.
    std::string field = {};
    /// Of a field, a request or colours.
    const BandFilter* filter = nullptr;
    /// The filter's, with its numbers.
    Statistic statistic = {};
    /// Of a request: the library's number.
    std::uint32_t direction = 0;
    /// Points of which it is made, among those that the selection leaves.
    PointConditions conditions = {};
};

/// The fields of a band of colours.
inline constexpr std::array<const char*, 3> colourChannels = {"Red", "Green", "Blue"};

/// Whether a field is of the positions, and no attribute.
bool isPosition(const std::string& field);

/// The field of a band of heights above the ground; no attribute can have a colon in the name of a band.
inline constexpr const char* fieldAboveGround = "Height:AboveGround";

/// Throws InputError, with the fields there are, if the cloud doesn't have this one.
const CloudField& requireField(const PointCloud& cloud, const std::string& name);

/// Reads the texts of the options; by default the mean height. Throws UsageError for texts that make no
/// sense, and InputError for attributes that the cloud doesn't have.
std::vector<WantedBand> readBands(const RasterRequest& options, const PointCloud& cloud);

} // namespace Tilewright::Io

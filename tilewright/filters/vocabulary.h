/// The vocabulary of the reductions: the numbers of filters and directions, and names for them to display.
///
/// Two numberings live side by side. The numbers are what a request is parsed to and what the pipeline reads.
/// The name tables are for display only and older than the regression: their row 5 says "Skip", while filter
/// 5 is the regression, and they have no row for filter 6 or direction 4. Code that shows a number through a
/// table must bound it by the table's rows.
#pragma once

#include <cstdint>

#include <tilewright/export.h>

namespace Tilewright {

enum FilterNumber : std::uint32_t {
    filterMean = 0,
    filterMin = 1,
    filterMax = 2,
    filterMedian = 3,
    filterMaxOccurrence = 4,
    filterRegression = 5,
    filterSkip = 6
};

enum DirectionNumber : std::uint32_t {
    directionX = 0,
    directionY = 1,
    directionZ = 2,
    directionAll = 3,
    /// A plane fit through whole values; has no word of its own in a request.
    directionFit = 4
};

/// What is requested for one field: a DirectionNumber and a FilterNumber.
struct TILEWRIGHT_API DirectionAndFilter {
    std::uint32_t direction;
    std::uint32_t filter;

    bool operator==(const DirectionAndFilter&) const = default;
};

extern TILEWRIGHT_API const char* const FilterTypeName[6];
extern TILEWRIGHT_API const char* const DirectionName[4];

} // namespace Tilewright

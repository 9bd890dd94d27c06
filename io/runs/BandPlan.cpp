#include <io/runs/BandPlan.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include <tilewright/filters/vocabulary.h>

namespace Tilewright::Io {

namespace {

using Kind = WantedBand::Kind;
using Column = PointColumn;
using Extreme = BandFilter::Extreme;
using Quantity = PlannedBand::Quantity;

/// The library's bounds of the extremes that it can find.
constexpr double libraryBound = 1e6;

constexpr std::array<const char*, 3> axisNames = {"x", "y", "z"};

/// Sums and extremes of requests are what the library makes of them.
bool isBounded(const WantedBand& band) {
    return band.kind == Kind::Field && band.filter->extreme != Extreme::None;
}

bool addsUp(const WantedBand& band) { return band.kind == Kind::Field && band.filter->addsUp; }

PixelType pixelTypeFor(FieldType type) {
    return visitFieldType(type, []<class T>() { return pixelTypeOf<T>; });
}

/// What the library makes of the whole values of a field, and of the numbers along an axis.
PixelType typeOfRequest(const BandFilter& filter, bool isAlongAxis, FieldType values) {
    if (isAlongAxis)
        return PixelType::Float64;
    return filter.isPlane ? PixelType::Float32 : pixelTypeFor(values);
}

/// Puts a plan together, band by band.
class Planner {
public:
    Planner(const std::vector<WantedBand>& bands, const PointCloud& cloud, const CloudIndex& index,
            std::optional<PixelType> fixedType)
        : Cloud(cloud), Index(index), FixedType(fixedType), Measured(fieldsToMeasure(bands, cloud)) {}

    BandPlan plan(const std::vector<WantedBand>& bands) {
        for (const WantedBand& band : bands)
            planPoints(band);
        return std::move(Plan);
    }

private:
    /// Plans a band of its own points, or of all.
    void planPoints(const WantedBand& band) {
        Subset = subsetOf(band.conditions);
        const std::size_t before = Plan.files.size();
        planBand(band);
        for (std::size_t f = before; f < Plan.files.size(); ++f)
            for (PlannedBand& planned : Plan.files[f].bands)
                planned.job.subset = Subset;
    }

    /// The number of a subset that other bands may share.
    std::size_t subsetOf(const PointConditions& conditions) {
        if (conditions.empty())
            return 0;
        auto& subsets = Plan.points.subsets;
        auto found = std::ranges::find(subsets, conditions);
        if (found == subsets.end()) {
            for (const std::string& name : attributesOf(conditions))
                attributeColumn(requireField(Cloud, name));
            found = subsets.insert(found, conditions);
        }
        return static_cast<std::size_t>(found - subsets.begin()) + 1;
    }

    void planBand(const WantedBand& band) {
        switch (band.kind) {
        case Kind::Field:
            return planField(band);
        case Kind::Request:
            return planRequest(band);
        case Kind::Count:
            return addFile(band, PixelType::UInt32, JobBand::Source::Count, true);
        case Kind::Density:
            return addFile(band, PixelType::UInt16, JobBand::Source::Density, false);
        case Kind::CellType:
            return addFile(band, PixelType::Byte, JobBand::Source::CellType, false);
        case Kind::Alpha:
            return addFile(band, PixelType::Byte, JobBand::Source::Alpha, false);
        case Kind::Filled:
            return addFile(band, PixelType::Byte, JobBand::Source::Filled, false);
        case Kind::Rgb:
            return planColours(band);
        }
    }

    void addFile(const WantedBand& band, PixelType type, JobBand::Source source, bool hasNoData) {
        PlannedBand planned{band.name, band.text, type};
        planned.job.source = source;
        Plan.files.push_back({band.name, {planned}, hasNoData});
    }

    /// What is known of a band's values; none if they were not measured. Coordinates are finite.
    std::optional<FieldRange> rangeOf(const WantedBand& band) const {
        if (!isPosition(band.field)) {
            const auto found = std::ranges::find(Measured, band.field);
            return found == Measured.end()
                       ? std::nullopt
                       : std::optional(Index.ranges[static_cast<std::size_t>(found - Measured.begin())]);
        }
        // The ground may be anywhere within the bounds too.
        if (band.field == fieldAboveGround)
            return FieldRange{-2.0 * libraryBound, 2.0 * libraryBound};
        const std::size_t axis = band.field == "X" ? 0 : band.field == "Y" ? 1 : 2;
        FieldRange range;
        range.least = Index.bounds.low[axis];
        range.greatest = Index.bounds.high[axis];
        return range;
    }

    /// The keys by which the library finds the extreme of the values; none if it finds the extreme itself.
    OrderKeys keysFor(const WantedBand& band) const {
        const std::optional<FieldRange> range = rangeOf(band);
        if (!isBounded(band) || !range ||
            (range->least >= -libraryBound && range->greatest <= libraryBound && !range->hasNaN))
            return OrderKeys::None;
        const bool isGreatest = band.filter->extreme == Extreme::Greatest;
        if (!isPosition(band.field) && requireField(Cloud, band.field).type == FieldType::UnsignedLongLong)
            return isGreatest ? OrderKeys::Integers : OrderKeys::ReversedIntegers;
        return isGreatest ? OrderKeys::Numbers : OrderKeys::ReversedNumbers;
    }

    /// What to multiply values by that are added up, so that no sum of 2^32 doubles is an infinity.
    double scaleFor(const WantedBand& band) const {
        constexpr double safe = 0x1p990;
        const bool areDoubles =
            isPosition(band.field) || requireField(Cloud, band.field).type == FieldType::Double;
        if (!addsUp(band) || !areDoubles)
            return 1.0;
        const std::optional<FieldRange> range = rangeOf(band);
        return range && (range->least < -safe || range->greatest > safe) && range->least <= range->greatest
                   ? 0x1p-33
                   : 1.0;
    }

    /// Of heights, which few clouds have beyond single precision.
    PixelType typeOfHeights() const {
        constexpr double most = std::numeric_limits<float>::max();
        const double low = Index.bounds.low[2];
        const double high = Index.bounds.high[2];
        return !(low < -most) && !(high > most) ? PixelType::Float32 : PixelType::Float64;
    }

    /// Of results of coordinates, `plain` being that of the coordinates themselves.
    static PixelType typeOfCoordinates(const BandFilter& filter, PixelType plain) {
        const bool isPlain = filter.isPlane || filter.result == BandFilter::Result::OneOfThem ||
                             filter.result == BandFilter::Result::Widened;
        return isPlain ? plain : pixelTypeOfResult(filter, FieldType::Double);
    }

    void planField(const WantedBand& band) {
        PlannedBand planned{band.name, band.text, PixelType::Float32, Quantity::Other, band.filter};
        if (band.field == "Height") {
            planned.quantity = Quantity::Height;
            planned.type = typeOfCoordinates(*band.filter, typeOfHeights());
            if (band.filter->isPlane)
                planned.job.reduction = addReduction({Column::Kind::Positions, 0, FieldType::Double},
                                                     {0, {directionZ, band.filter->number}, {}});
            else
                reduceNumbers(band, {Column::Kind::Z, 0, FieldType::Double}, planned.job);
        } else if (band.field == fieldAboveGround) {
            planned.quantity = Quantity::Height;
            planned.type = typeOfCoordinates(*band.filter, typeOfHeights());
            reduceNumbers(band, {Column::Kind::HeightAboveGround, 0, FieldType::Double}, planned.job);
        } else if (isPosition(band.field)) {
            planned.quantity = Quantity::Coordinate;
            planned.type = typeOfCoordinates(*band.filter, PixelType::Float64);
            reduceNumbers(band, {band.field == "X" ? Column::Kind::X : Column::Kind::Y, 0, FieldType::Double},
                          planned.job);
        } else {
            const CloudField& field = requireField(Cloud, band.field);
            planned.quantity = quantityOf(field);
            planned.type = pixelTypeOfResult(*band.filter, field.type);
            reduceNumbers(band, attributeColumn(field), planned.job);
        }
        Plan.files.push_back({band.name, {planned}, true});
    }

    static Quantity quantityOf(const CloudField& attribute) {
        return attribute.name == "Classification" ? Quantity::Class : Quantity::Other;
    }

    /// The true result for the values of a column, whatever their range.
    void reduceNumbers(const WantedBand& band, Column column, JobBand& job) {
        if (band.statistic.kind != Statistic::Kind::None) {
            column.hasHeights = goesByHeight(band.statistic.kind);
            job.reachesOut = band.statistic.kind == Statistic::Kind::InverseDistance;
            job.reduction = addReduction(column, {0, {}, band.statistic});
            return;
        }
        job.keys = column.keys = keysFor(band);
        column.scale = scaleFor(band);
        job.scale = scaleOfResult(*band.filter, column.scale);
        // The extreme of values is the greatest of their keys.
        const bool hasKeys = column.keys != OrderKeys::None;
        if (hasKeys)
            column.type = FieldType::UnsignedLongLong;
        // Along an axis numbers are doubles: sums are wide, but long integers lose their last digits.
        const bool keepsDigits = column.type == FieldType::UnsignedLongLong &&
                                 band.filter->result == BandFilter::Result::OneOfThem;
        job.reduction = addReduction(
            column,
            {0, {keepsDigits ? directionAll : directionX, hasKeys ? filterMax : band.filter->number}, {}});
    }

    void planRequest(const WantedBand& band) {
        const BandFilter& filter = *band.filter;
        PlannedBand planned{band.name, band.text, PixelType::Float64, Quantity::Other, band.filter};
        const bool isAlongAxis = band.direction <= directionZ;
        const DirectionAndFilter wanted{band.direction, filter.number};
        if (band.field == "Positions") {
            planned.quantity = Quantity::Height;
            planned.type = typeOfRequest(filter, isAlongAxis, FieldType::Double);
            const Column::Kind kind =
                isAlongAxis && !filter.isPlane ? axisOf(band.direction) : Column::Kind::Positions;
            planned.job.reduction = addReduction({kind, 0, FieldType::Double}, {0, wanted, {}});
            if (!isAlongAxis && !filter.isPlane)
                return addComponents(planned);
        } else {
            const CloudField& field = requireField(Cloud, band.field);
            planned.quantity = quantityOf(field);
            planned.type = typeOfRequest(filter, isAlongAxis, field.type);
            planned.job.reduction = addReduction(attributeColumn(field), {0, wanted, {}});
        }
        Plan.files.push_back({band.name, {planned}, true});
    }

    /// The coordinate along a direction.
    static Column::Kind axisOf(std::uint32_t direction) {
        return direction == directionX   ? Column::Kind::X
               : direction == directionY ? Column::Kind::Y
                                         : Column::Kind::Z;
    }

    /// Whole positions become a file per coordinate.
    void addComponents(const PlannedBand& whole) {
        for (int c = 0; c < 3; ++c) {
            PlannedBand part = whole;
            part.name += std::string("-") + axisNames[static_cast<std::size_t>(c)];
            part.quantity = c == 2 ? Quantity::Height : Quantity::Coordinate;
            part.job.component = c;
            Plan.files.push_back({part.name, {part}, true});
        }
    }

    void planColours(const WantedBand& band) {
        constexpr std::array<BandColour, 3> colours = {BandColour::Red, BandColour::Green, BandColour::Blue};
        const double toBytes = scaleOfColours();
        const bool areBytes = Cloud.findField(colourChannels[0])->type == FieldType::UnsignedChar;
        const bool isNarrow = areBytes || toBytes != 0.0;
        const PixelType type = FixedType.value_or(isNarrow ? PixelType::Byte : PixelType::UInt16);
        const double scale = (isNarrow && toBytes != 0.0 ? toBytes : 1.0) * scaleOfDepth(isNarrow, type);
        PlannedFile file{band.name, {}, false};
        for (std::size_t c = 0; c < 3; ++c) {
            PlannedBand planned{colourChannels[c], band.text, type};
            planned.colour = colours[c];
            WantedBand channel = band;
            channel.kind = Kind::Field;
            channel.field = colourChannels[c];
            reduceNumbers(channel, attributeColumn(requireField(Cloud, channel.field)), planned.job);
            planned.job.scale *= scale;
            file.bands.push_back(planned);
        }
        PlannedBand alpha{"Alpha", band.text, type};
        alpha.colour = BandColour::Alpha;
        alpha.job.source = JobBand::Source::Alpha;
        alpha.job.scale = type == PixelType::UInt16 ? depthStep : 1.0;
        file.bands.push_back(alpha);
        Plan.files.push_back(file);
        if (isNarrow && !FixedType && !areBytes)
            Plan.notes.push_back(
                "the colours have 8 bits, although they are stored in more; so has the band " + band.name);
    }

    /// From 8 bits to 16: 255 becomes 65535.
    static constexpr double depthStep = 257.0;

    /// What makes colours of 8 or 16 bits fill pixels of a type of 16 or 8.
    static double scaleOfDepth(bool isNarrow, PixelType type) {
        if (isNarrow)
            return type == PixelType::UInt16 ? depthStep : 1.0;
        return type == PixelType::Byte ? 1.0 / depthStep : 1.0;
    }

    /// What makes 8 bits of the colours of a scan that keeps 8-bit colours in wider fields; 0 for others.
    double scaleOfColours() const {
        FieldRange all;
        for (const char* const channel : colourChannels)
            all.add(Index.ranges[static_cast<std::size_t>(std::ranges::find(Measured, channel) -
                                                          Measured.begin())]);
        if (!(all.greatest > 255.0))
            return 1.0;
        return all.by257 ? 1.0 / 257.0 : all.by256 ? 1.0 / 256.0 : 0.0;
    }

    Column attributeColumn(const CloudField& field) {
        auto& fields = Plan.points.needs.fields;
        auto found = std::ranges::find(fields, field.name, &CloudField::name);
        if (found == fields.end())
            found = fields.insert(found, field);
        return {Column::Kind::Attribute, static_cast<std::size_t>(found - fields.begin()), field.type};
    }

    /// Adds a reduction, whose column others may share. Gives its number.
    std::size_t addReduction(Column column, ReductionPlan::Reduction wanted) {
        column.subset = Subset;
        auto& columns = Plan.points.columns;
        auto found = std::ranges::find(columns, column);
        if (found == columns.end())
            found = columns.insert(found, column);
        wanted.column = static_cast<std::size_t>(found - columns.begin());
        Plan.points.reductions.push_back(wanted);
        return Plan.points.reductions.size() - 1;
    }

    const PointCloud& Cloud;
    const CloudIndex& Index;
    std::optional<PixelType> FixedType;
    std::vector<std::string> Measured;
    /// Of the band at hand.
    std::size_t Subset = 0;
    BandPlan Plan;
};

} // namespace

std::vector<std::string> fieldsToMeasure(const std::vector<WantedBand>& bands, const PointCloud& cloud) {
    std::vector<std::string> fields;
    const auto add = [&](const std::string& name) {
        if (std::ranges::find(fields, name) == fields.end())
            fields.push_back(name);
    };
    for (const WantedBand& band : bands) {
        if (band.kind == Kind::Rgb)
            for (const char* const channel : colourChannels)
                add(channel);
        if (band.kind != Kind::Field || isPosition(band.field))
            continue;
        const FieldType type = requireField(cloud, band.field).type;
        // Values of 8 and 16 bits lie within all bounds, and only doubles can add up to infinity.
        const bool mayExceed = type != FieldType::UnsignedChar && type != FieldType::UnsignedShort;
        if ((isBounded(band) && mayExceed) || (addsUp(band) && type == FieldType::Double))
            add(band.field);
    }
    return fields;
}

BandPlan planBands(const std::vector<WantedBand>& bands, const PointCloud& cloud, const CloudIndex& index,
                   std::optional<PixelType> fixedType) {
    return Planner(bands, cloud, index, fixedType).plan(bands);
}

} // namespace Tilewright::Io

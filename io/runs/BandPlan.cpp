#include <io/runs/BandPlan.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include <io/system/Errors.h>
#include <io/system/Suggestion.h>
#include <tilewright/raster/raster.h>
#include <tilewright/raster/requests.h>
#include <tilewright/values/StringUtil.h>

#include <io/runs/BandWords.h>

namespace Tilewright::Io {

const CloudField& requireField(const PointCloud& cloud, const std::string& name) {
    if (const CloudField* const field = cloud.findField(name))
        return *field;
    std::vector<std::string> fields = {"Height", "X", "Y"};
    for (const CloudField& field : cloud.fields())
        fields.push_back(field.name);
    std::string known;
    for (const std::string& field : fields)
        known += (known.empty() ? "" : ", ") + field;
    throw InputError(cloud.name() + " has no field '" + name + "'; it has " + known +
                     nearestHint(name, fields));
}

namespace {

using Kind = WantedBand::Kind;
using Column = PointColumn;

/// The library's bounds of what Min and Max can find.
constexpr double libraryBound = 1e6;

constexpr std::array<const char*, 3> axisNames = {"x", "y", "z"};
constexpr std::array<const char*, 3> channels = {"Red", "Green", "Blue"};

bool isPosition(const std::string& field) {
    return field == "Height" || field == "X" || field == "Y" || field == "Positions";
}

std::vector<std::string> splitAtColons(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char c : text)
        if (c == ':')
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

/// The library's own word on a request: it parses before it looks at any data.
void checkRequest(const std::string& request, const std::string& asked) {
    const std::string answer = checkRequests({request});
    if (answer == "Wrong input: ")
        throw UsageError("the request '" + asked + "' is not of the form FIELD:FILTER:DIRECTION");
    if (answer.starts_with("Unknown filter")) {
        std::string known;
        for (const std::string& filter : filterWords())
            known += (known.empty() ? "" : ", ") + filter;
        const std::string filter = answer.substr(answer.find(": ") + 2);
        throw UsageError("'" + asked + "' can't be read: there is no filter '" + filter + "' among " + known +
                         nearestHint(filter, filterWords()));
    }
    if (answer.starts_with("Unknown"))
        throw UsageError("'" + asked + "' can't be read: " + answer);
}

/// Collects the bands in the order of the options.
class BandReader {
public:
    BandReader(const PointCloud& cloud) : Cloud(cloud) {}

    void addBand(const std::string& text) {
        const std::size_t equals = text.find('=');
        std::string name = equals == std::string::npos ? "" : text.substr(0, equals);
        const std::string what = equals == std::string::npos ? text : text.substr(equals + 1);
        if (equals == 0)
            throw UsageError("the band '" + text + "' has an empty name");
        if (addWord(what, name, text))
            return;
        const std::vector<std::string> parts = splitAtColons(what);
        if (parts.size() != 2 && parts.size() != 3)
            throw UsageError(
                "the band '" + text +
                "' is neither of the form FIELD:FILTER nor count, rgb, density, celltype or alpha");
        const std::string field = parts[0] == "Z" ? "Height" : parts[0];
        if (parts.size() == 3) {
            addRequest((field == "Height" ? "Positions" : field) + ":" + parts[1] + ":" + parts[2], text,
                       name);
            return;
        }
        checkRequest("f:" + parts[1] + ":Xdir", text);
        if (field == "Positions" || parts[1] == "Skip")
            throw UsageError("the band '" + text +
                             "' asks for nothing; the heights are Height, X and Y the coordinates");
        if (!isPosition(field))
            requireField(Cloud, field);
        if (parts[1] == "Regression" && field != "Height")
            throw UsageError("the band '" + text +
                             "' makes no sense: a plane is fitted through heights alone");
        append({Kind::Field, name.empty() ? field + "-" + parts[1] : name, text, field, parts[1], ""});
    }

    void addRequest(const std::string& request, const std::string& asked, std::string name) {
        checkRequest(request, asked);
        const std::vector<std::string> parts = splitAtColons(request);
        if (parts[0] != "Positions")
            requireField(Cloud, parts[0]);
        if (parts[1] == "Skip")
            return;
        if (name.empty())
            name = nameOfRequest(parts);
        append({Kind::Request, name, asked, parts[0], parts[1], parts[2]});
    }

    bool addWord(const std::string& word, const std::string& name, const std::string& text) {
        struct Word {
            const char* word;
            Kind kind;
        };
        constexpr std::array<Word, 8> words = {{{"count", Kind::Count},
                                                {"rgb", Kind::Rgb},
                                                {"density", Kind::Density},
                                                {"Density", Kind::Density},
                                                {"celltype", Kind::CellType},
                                                {"CellType", Kind::CellType},
                                                {"alpha", Kind::Alpha},
                                                {"Alpha", Kind::Alpha}}};
        const auto found = std::ranges::find_if(words, [&](const Word& known) { return word == known.word; });
        if (found == words.end())
            return false;
        if (found->kind == Kind::Rgb)
            for (const char* const channel : channels)
                requireField(Cloud, channel);
        append({found->kind, name.empty() ? word : name, text, "", "", ""});
        return true;
    }

    bool has(Kind kind) const { return std::ranges::find(Bands, kind, &WantedBand::kind) != Bands.end(); }

    std::vector<WantedBand> take() { return std::move(Bands); }

private:
    bool isTaken(const std::string& name) const {
        return std::ranges::find(Bands, name, &WantedBand::name) != Bands.end();
    }

    /// The name of the field; of a further request for it Height-Max, or Height-Max-Zdir.
    std::string nameOfRequest(const std::vector<std::string>& parts) const {
        std::string name = parts[0] == "Positions" ? "Height" : parts[0];
        for (std::size_t i = 1; i < 3 && isTaken(name); ++i)
            name += "-" + parts[i];
        return name;
    }

    void append(const WantedBand& band) {
        if (band.name.find('/') != std::string::npos)
            throw UsageError("the band '" + band.text + "' can't be named '" + band.name + "'");
        if (isTaken(band.name))
            throw UsageError("two bands are named '" + band.name +
                             "'; give one of them a name of its own, as in NAME=" +
                             band.text.substr(band.text.find('=') + 1));
        Bands.push_back(band);
    }

    const PointCloud& Cloud;
    std::vector<WantedBand> Bands;
};

bool isBounded(const WantedBand& band) {
    return band.kind == Kind::Field && (band.filter == "Min" || band.filter == "Max");
}

PixelType pixelTypeFor(FieldType type) {
    return visitFieldType(type, []<class T>() { return pixelTypeOf<T>; });
}

bool fitsFloat(FieldType type) {
    return type == FieldType::Float || type == FieldType::UnsignedChar || type == FieldType::UnsignedShort;
}

/// Puts a plan together, band by band.
class Planner {
public:
    Planner(const std::vector<WantedBand>& bands, const PointCloud& cloud, const CloudIndex& index,
            std::optional<PixelType> fixedType)
        : Cloud(cloud), Index(index), FixedType(fixedType), Measured(fieldsToMeasure(bands, cloud)) {}

    BandPlan plan(const std::vector<WantedBand>& bands) {
        for (const WantedBand& band : bands)
            planBand(band);
        return std::move(Plan);
    }

private:
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
        case Kind::Rgb:
            return planColours(band);
        }
    }

    void addFile(const WantedBand& band, PixelType type, JobBand::Source source, bool hasNoData) {
        PlannedBand planned{band.name, band.text, "", BandColour::Undefined, type, {}};
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
        const bool isLargest = band.filter == "Max";
        if (!isPosition(band.field) && requireField(Cloud, band.field).type == FieldType::UnsignedLongLong)
            return isLargest ? OrderKeys::Integers : OrderKeys::ReversedIntegers;
        return isLargest ? OrderKeys::Numbers : OrderKeys::ReversedNumbers;
    }

    /// What to multiply the values of a mean by, so that no sum of 2^32 doubles is an infinity.
    double scaleFor(const WantedBand& band) const {
        constexpr double safe = 0x1p990;
        const bool areDoubles =
            isPosition(band.field) || requireField(Cloud, band.field).type == FieldType::Double;
        if (band.kind != Kind::Field || band.filter != "Mean" || !areDoubles)
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

    void planField(const WantedBand& band) {
        PlannedBand planned{band.name, band.text, "", BandColour::Undefined, PixelType::Float32, {}};
        const OrderKeys keys = keysFor(band);
        const double scale = scaleFor(band);
        planned.job.keys = keys;
        planned.job.scale = 1.0 / scale;
        const auto addColumn = [&](Column column) {
            column.keys = keys;
            column.scale = scale;
            if (keys != OrderKeys::None)
                column.type = FieldType::UnsignedLongLong;
            // Along an axis numbers are doubles: sums are wide, but long integers lose their last digits.
            const bool keepsDigits = column.type == FieldType::UnsignedLongLong && band.filter != "Mean";
            return addReduction(column, keys != OrderKeys::None ? "Max" : band.filter,
                                keepsDigits ? "All" : "Xdir");
        };
        if (band.field == "Height") {
            planned.unit = "height";
            planned.type = typeOfHeights();
            planned.job.reduction =
                band.filter == "Regression"
                    ? addReduction({Column::Kind::Positions, 0, FieldType::Double}, band.filter, "Zdir")
                    : addColumn({Column::Kind::Z, 0, FieldType::Double});
        } else if (isPosition(band.field)) {
            planned.unit = "coordinate";
            planned.type = PixelType::Float64;
            planned.job.reduction =
                addColumn({band.field == "X" ? Column::Kind::X : Column::Kind::Y, 0, FieldType::Double});
        } else {
            const CloudField& field = requireField(Cloud, band.field);
            planned.type = band.filter != "Mean"   ? pixelTypeFor(field.type)
                           : fitsFloat(field.type) ? PixelType::Float32
                                                   : PixelType::Float64;
            planned.job.reduction = addColumn(attributeColumn(field));
        }
        Plan.files.push_back({band.name, {planned}, true});
    }

    void planRequest(const WantedBand& band) {
        PlannedBand planned{band.name, band.text, "", BandColour::Undefined, PixelType::Float64, {}};
        const bool isFit = band.filter == "Regression";
        const bool alongAxis =
            band.direction == "Xdir" || band.direction == "Ydir" || band.direction == "Zdir";
        if (band.field == "Positions") {
            planned.unit = "height";
            const bool isWhole = !alongAxis && !isFit;
            planned.job.reduction =
                addReduction({alongAxis && !isFit ? axisOf(band.direction) : Column::Kind::Positions, 0,
                              FieldType::Double},
                             band.filter, band.direction);
            if (isFit && !alongAxis)
                planned.type = PixelType::Float32;
            if (isWhole) {
                addComponents(planned);
                return;
            }
        } else {
            const CloudField& field = requireField(Cloud, band.field);
            if (!alongAxis)
                planned.type = isFit ? PixelType::Float32 : pixelTypeFor(field.type);
            planned.job.reduction = addReduction(attributeColumn(field), band.filter, band.direction);
        }
        Plan.files.push_back({band.name, {planned}, true});
    }

    /// The coordinate along a direction.
    static Column::Kind axisOf(const std::string& direction) {
        return direction == "Xdir"   ? Column::Kind::X
               : direction == "Ydir" ? Column::Kind::Y
                                     : Column::Kind::Z;
    }

    /// Whole positions become a file per coordinate.
    void addComponents(const PlannedBand& whole) {
        for (int c = 0; c < 3; ++c) {
            PlannedBand part = whole;
            part.name += std::string("-") + axisNames[static_cast<std::size_t>(c)];
            part.unit = c == 2 ? "height" : "coordinate";
            part.job.component = c;
            Plan.files.push_back({part.name, {part}, true});
        }
    }

    void planColours(const WantedBand& band) {
        constexpr std::array<BandColour, 3> colours = {BandColour::Red, BandColour::Green, BandColour::Blue};
        const double toBytes = scaleOfColours();
        const bool isNarrow = FieldType::UnsignedChar == Cloud.findField(channels[0])->type || toBytes != 0.0;
        const PixelType type = FixedType.value_or(isNarrow ? PixelType::Byte : PixelType::UInt16);
        const double scale = (isNarrow && toBytes != 0.0 ? toBytes : 1.0) * scaleOfDepth(isNarrow, type);
        PlannedFile file{band.name, {}, false};
        for (std::size_t c = 0; c < 3; ++c) {
            PlannedBand planned{channels[c], band.text, "", colours[c], type, {}};
            planned.job.scale = scale;
            planned.job.reduction =
                addReduction(attributeColumn(requireField(Cloud, channels[c])), "Mean", "Xdir");
            file.bands.push_back(planned);
        }
        PlannedBand alpha{"Alpha", band.text, "", BandColour::Alpha, type, {}};
        alpha.job.source = JobBand::Source::Alpha;
        alpha.job.scale = type == PixelType::UInt16 ? depthStep : 1.0;
        file.bands.push_back(alpha);
        Plan.files.push_back(file);
        if (isNarrow && !FixedType && Cloud.findField(channels[0])->type != FieldType::UnsignedChar)
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
        for (const char* const channel : channels)
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

    /// A reduction of a column that others may share. Gives its number.
    std::size_t addReduction(const Column& column, const std::string& filter, const std::string& direction) {
        auto& columns = Plan.points.columns;
        auto found = std::ranges::find(columns, column);
        if (found == columns.end())
            found = columns.insert(found, column);
        Modus modus;
        parseRequests({"f:" + filter + ":" + direction}, modus);
        Plan.points.reductions.push_back({static_cast<std::size_t>(found - columns.begin()), modus.at("f")});
        return Plan.points.reductions.size() - 1;
    }

    const PointCloud& Cloud;
    const CloudIndex& Index;
    std::optional<PixelType> FixedType;
    std::vector<std::string> Measured;
    BandPlan Plan;
};

} // namespace

std::vector<WantedBand> readBands(const RasterRequest& options, const PointCloud& cloud) {
    BandReader reader(cloud);
    for (const std::string& text : options.bands)
        reader.addBand(text);
    for (const std::string& text : options.requests) {
        if (std::ranges::count(options.requests, text) > 1)
            throw UsageError("the request '" + text + "' is there twice");
        if (!reader.addWord(text, "", text))
            reader.addRequest(text, text, "");
    }
    if (options.bands.empty() && options.requests.empty())
        reader.addBand("Height=Height:Mean");
    if (options.alpha && !reader.has(Kind::Alpha))
        reader.addWord("Alpha", "", "Alpha");
    std::vector<WantedBand> bands = reader.take();
    if (bands.empty())
        throw UsageError("no band is asked for");
    return bands;
}

std::vector<std::string> fieldsToMeasure(const std::vector<WantedBand>& bands, const PointCloud& cloud) {
    std::vector<std::string> fields;
    const auto add = [&](const std::string& name) {
        if (std::ranges::find(fields, name) == fields.end())
            fields.push_back(name);
    };
    for (const WantedBand& band : bands) {
        if (band.kind == Kind::Rgb)
            for (const char* const channel : channels)
                add(channel);
        if (isBounded(band) && !isPosition(band.field)) {
            // Values of 8 and 16 bits lie within all bounds.
            const FieldType type = requireField(cloud, band.field).type;
            if (type != FieldType::UnsignedChar && type != FieldType::UnsignedShort)
                add(band.field);
        }
        // Only doubles can add up to infinity.
        if (band.kind == Kind::Field && band.filter == "Mean" && !isPosition(band.field) &&
            requireField(cloud, band.field).type == FieldType::Double)
            add(band.field);
    }
    return fields;
}

BandPlan planBands(const std::vector<WantedBand>& bands, const PointCloud& cloud, const CloudIndex& index,
                   std::optional<PixelType> fixedType) {
    return Planner(bands, cloud, index, fixedType).plan(bands);
}

} // namespace Tilewright::Io

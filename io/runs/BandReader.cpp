#include <io/runs/BandReader.h>

#include <algorithm>
#include <utility>

#include <io/runs/BandWords.h>
#include <io/runs/SelectionText.h>
#include <io/system/Errors.h>
#include <io/system/Suggestion.h>
#include <tilewright/raster/raster.h>
#include <tilewright/raster/requests.h>

namespace Tilewright::Io {

namespace {

using Kind = WantedBand::Kind;

std::vector<std::string> splitAtColons(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char c : text)
        if (c == ':')
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

std::string listed(const std::vector<std::string>& words) {
    std::string list;
    for (const std::string& word : words)
        list += (list.empty() ? "" : ", ") + word;
    return list;
}

/// The library's own word on a request: it parses before it looks at any data.
void checkRequest(const std::string& request, const std::string& asked) {
    const std::string answer = checkRequests({request});
    if (answer == "Wrong input: ")
        throw UsageError("the request '" + asked + "' is not of the form FIELD:FILTER:DIRECTION");
    if (answer.starts_with("Unknown filter")) {
        const std::string filter = answer.substr(answer.find(": ") + 2);
        throw UsageError("'" + asked + "' can't be read: there is no filter '" + filter + "' among " +
                         listed(requestWords()) + nearestHint(filter, requestWords()));
    }
    if (answer.starts_with("Unknown"))
        throw UsageError("'" + asked + "' can't be read: " + answer);
}

/// A condition as a part of the name of a file.
std::string plainWord(const std::string& condition) {
    std::string word;
    for (const char c : condition) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                             c == '.' || c == '_';
        if (isPlain)
            word += c;
        else if (!word.empty() && word.back() != '-')
            word += '-';
        word += c == '!' ? "not-" : "";
    }
    while (word.ends_with('-'))
        word.pop_back();
    return word;
}

ChosenFilter requireFilter(const std::string& word, const std::string& asked) {
    if (const std::optional<ChosenFilter> chosen = chooseFilter(word))
        return *chosen;
    if (findRequestFilter(word))
        throw UsageError("the band '" + asked + "' can't be read: " + word +
                         " is a filter of --request alone; the most frequent value is Mode");
    throw UsageError("'" + asked + "' can't be read: there is no filter '" + word + "' among " +
                     listed(filterWords()) + nearestHint(word, filterWords()));
}

struct BandWord {
    const char* word;
    Kind kind;
};

constexpr std::array<BandWord, 9> words = {{{"count", Kind::Count},
                                            {"rgb", Kind::Rgb},
                                            {"density", Kind::Density},
                                            {"Density", Kind::Density},
                                            {"celltype", Kind::CellType},
                                            {"CellType", Kind::CellType},
                                            {"alpha", Kind::Alpha},
                                            {"filled", Kind::Filled},
                                            {"Alpha", Kind::Alpha}}};

/// Collects the bands in the order of the options.
class BandReader {
public:
    BandReader(const PointCloud& cloud, bool hasGround) : Cloud(cloud), HasGround(hasGround) {}

    void addBand(const std::string& text) {
        const auto [band, condition] = splitCondition(text);
        const std::size_t equals = band.find('=');
        const std::string name = equals == std::string::npos ? "" : band.substr(0, equals);
        const std::string what = equals == std::string::npos ? band : band.substr(equals + 1);
        if (equals == 0)
            throw UsageError("the band '" + text + "' has an empty name");
        if (condition) {
            Conditions =
                readConditions("the condition of the band '" + text + "'", *condition, Cloud, HasGround);
            Suffix = name.empty() ? std::string("-").append(plainWord(*condition)) : "";
        }
        addAllOf(what, name, text);
        Conditions.clear();
        Suffix.clear();
    }

    void addAllOf(const std::string& what, const std::string& name, const std::string& text) {
        if (addWord(what, name, text))
            return;
        const std::vector<std::string> parts = splitAtColons(what);
        if (parts.size() != 2 && parts.size() != 3)
            throw UsageError(
                "the band '" + text +
                "' is neither of the form FIELD:FILTER nor count, rgb, density, celltype, alpha or filled");
        if (parts[0] == "rgb" && parts.size() == 2)
            return addColours(requireFilter(parts[1], text), text, name);
        const std::string field = parts[0] == "Z" ? "Height" : parts[0];
        if (parts.size() == 3)
            addRequest((field == "Height" ? "Positions" : field) + ":" + parts[1] + ":" + parts[2], text,
                       name);
        else
            addField(field, parts[1], text, name);
    }

    void addRequest(const std::string& request, const std::string& asked, std::string name) {
        checkRequest(request, asked);
        const std::vector<std::string> parts = splitAtColons(request);
        if (parts[0] != "Positions")
            requireField(Cloud, parts[0]);
        // The library also knows how to skip a field, which makes no band.
        const BandFilter* const filter = findRequestFilter(parts[1]);
        if (!filter)
            return;
        if (name.empty())
            name = nameOfRequest(parts);
        std::uint32_t direction = 0;
        findDirection(parts[2], filter->number, direction);
        append({Kind::Request, name, asked, parts[0], filter, {}, direction});
    }

    bool addWord(const std::string& word, const std::string& name, const std::string& text) {
        const auto found =
            std::ranges::find_if(words, [&](const BandWord& known) { return word == known.word; });
        if (found == words.end())
            return false;
        if (found->kind == Kind::Rgb)
            addColours(requireFilter("Mean", text), text, name.empty() ? word : name);
        else
            append({found->kind, name.empty() ? word : name, text});
        return true;
    }

    bool has(Kind kind) const { return std::ranges::find(Bands, kind, &WantedBand::kind) != Bands.end(); }

    std::vector<WantedBand> take() { return std::move(Bands); }

private:
    void addField(const std::string& field, const std::string& word, const std::string& text,
                  const std::string& name) {
        if (field == "Positions" || word == "Skip")
            throw UsageError("the band '" + text +
                             "' asks for nothing; the heights are Height, X and Y the coordinates");
        const ChosenFilter chosen = requireFilter(word, text);
        const bool isAboveGround = HasGround && field == heightAboveGround;
        if (field == heightAboveGround && !HasGround && !Cloud.findField(field))
            throw UsageError("the band '" + text +
                             "' asks for heights above the ground, which --ground or --ground-classes gives");
        if (!isPosition(field) && !isAboveGround)
            requireField(Cloud, field);
        if (!suits(*chosen.filter, field))
            throw UsageError("the band '" + text +
                             "' makes no sense: a plane is fitted through heights alone");
        append({Kind::Field, name.empty() ? field + "-" + chosen.name : name, text,
                isAboveGround ? fieldAboveGround : field, chosen.filter, chosen.statistic});
    }

    void addColours(const ChosenFilter& chosen, const std::string& text, const std::string& name) {
        if (chosen.filter->dimension != BandFilter::Dimension::Value || chosen.filter->isPlane ||
            chosen.statistic.kind == Statistic::Kind::InverseDistance)
            throw UsageError("the band '" + text + "' makes no sense: " + chosen.filter->word +
                             " gives no colour");
        for (const char* const channel : colourChannels)
            requireField(Cloud, channel);
        append({Kind::Rgb, name.empty() ? "rgb-" + chosen.name : name, text, "", chosen.filter,
                chosen.statistic});
    }

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

    void append(WantedBand band) {
        band.name += Suffix;
        band.conditions = Conditions;
        if (band.name.find('/') != std::string::npos)
            throw UsageError("the band '" + band.text + "' can't be named '" + band.name + "'");
        if (isTaken(band.name))
            throw UsageError("two bands are named '" + band.name +
                             "'; give one of them a name of its own, as in NAME=" +
                             band.text.substr(band.text.find('=') + 1));
        Bands.push_back(band);
    }

    const PointCloud& Cloud;
    bool HasGround;
    std::vector<WantedBand> Bands;
    /// Of the band at hand, and what they add to a name that the user didn't choose.
    PointConditions Conditions;
    std::string Suffix;
};

} // namespace

bool isPosition(const std::string& field) {
    return field == "Height" || field == "X" || field == "Y" || field == "Positions" ||
           field == fieldAboveGround;
}

const CloudField& requireField(const PointCloud& cloud, const std::string& name) {
    if (const CloudField* const field = cloud.findField(name))
        return *field;
    std::vector<std::string> fields = {"Height", "X", "Y"};
    for (const CloudField& field : cloud.fields())
        fields.push_back(field.name);
    throw InputError(cloud.name() + " has no field '" + name + "'; it has " + listed(fields) +
                     nearestHint(name, fields));
}

std::vector<WantedBand> readBands(const RasterRequest& options, const PointCloud& cloud) {
    BandReader reader(cloud, hasGround(options));
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

} // namespace Tilewright::Io

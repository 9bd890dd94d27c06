#include <io/parts/MadeParts.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include <io/blocks/BandTile.h>
#include <io/rasters/PixelTypes.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

using Source = JobBand::Source;

template <class P> bool isSame(P a, P b) {
    if constexpr (std::is_floating_point_v<P>)
        return a == b || (std::isnan(a) && std::isnan(b));
    else
        return a == b;
}

/// Pixels of a part as they are in the file: of its type, and with its nodata value.
template <class To> class PixelConversion {
public:
    PixelConversion(const JobBand& band, const PartFile& part, const RasterDescription& file)
        : Band(band), Part(part), IsMasked(file.nodata.has_value()),
          Blank(file.nodata ? *asPixel<To>(*file.nodata) : To()) {}

    template <class From> std::span<const To> convert(std::span<const From> pixels, NoDataClash& clash) {
        const std::optional<From> without = pixelWithoutData<From>();
        const To empty = Tilewright::Io::pixelWithoutData<To>(Band.source, Blank);
        Pixels.resize(pixels.size());
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            if (without && isSame(pixels[i], *without)) {
                Pixels[i] = empty;
                continue;
            }
            Pixels[i] = static_cast<To>(pixels[i]);
            if (IsMasked)
                clash.note(Pixels[i], Blank);
        }
        return Pixels;
    }

private:
    /// None if all pixels have data.
    template <class From> std::optional<From> pixelWithoutData() const {
        if (Band.source == Source::CellType || Band.source == Source::Alpha)
            return Tilewright::Io::pixelWithoutData<From>(Band.source, From());
        return Part.nodata ? asPixel<From>(*Part.nodata) : std::nullopt;
    }

    const JobBand& Band;
    const PartFile& Part;
    bool IsMasked;
    To Blank;
    std::vector<To> Pixels;
};

/// A part whose pixels are handed out as their rows come.
struct PartCopy {
    std::size_t number;
    PixelFileReader pixels;
};

/// "part 3", or "parts 3, 5-7".
std::string listOf(const std::vector<std::size_t>& parts) {
    std::string text = parts.size() == 1 ? "part " : "parts ";
    for (std::size_t i = 0; i < parts.size();) {
        std::size_t last = i;
        while (last + 1 < parts.size() && parts[last + 1] == parts[last] + 1)
            ++last;
        text += (i == 0 ? "" : ", ") + std::to_string(parts[i]);
        if (last > i)
            text += "-" + std::to_string(parts[last]);
        i = last + 1;
    }
    return text;
}

} // namespace

MadeParts::MadeParts(const JobFolder& folder, const RunPlan& plan) : Folder(folder), Plan(plan) {
    const std::uint64_t digest = folder.planDigest();
    std::vector<std::size_t> missing;
    for (std::size_t part = 1; part <= plan.parts.size(); ++part) {
        std::optional<PartReceipt> receipt = folder.readReceipt(part, digest);
        if (!receipt || !isSound(*receipt, plan.parts[part - 1]))
            missing.push_back(part);
        else
            Receipts.push_back(std::move(*receipt));
    }
    if (!missing.empty())
        throw InputError(folder.path().string() + ": " + listOf(missing) + " of " +
                         std::to_string(plan.parts.size()) + (missing.size() == 1 ? " is" : " are") +
                         " missing; make " + (missing.size() == 1 ? "it" : "them") + " with tilewright part");
    addUp();
}

JobResult MadeParts::copy(const std::vector<RasterDescription>& files, BlockSink& sink,
                          const StepReport& report) const {
    JobResult all = result(files.size());
    const BlockRectangle blocks = Plan.makeLattice().blocks();
    std::vector<std::size_t> parts(Receipts.size());
    std::iota(parts.begin(), parts.end(), std::size_t(0));
    std::ranges::sort(parts, {}, [&](std::size_t part) { return Plan.parts[part].north; });
    auto next = parts.begin();
    // Those that have blocks in a row, from west to east.
    std::map<std::uint64_t, PartCopy> open;
    std::uint64_t done = 0;
    for (std::uint64_t row = 0; row < blocks.south; ++row) {
        for (; next != parts.end() && Plan.parts[*next].north == row; ++next)
            open.emplace(Plan.parts[*next].west, PartCopy{*next, read(*next)});
        for (auto part = open.begin(); part != open.end();) {
            if (report && !report(done, blocks.count()))
                throw Interruption();
            const BlockRectangle& own = Plan.parts[part->second.number];
            part->second.pixels.readTo((row + 1) * BlockLattice::blockSide,
                                       visitorOf(part->second.number, files, sink, all));
            done += own.across();
            if (own.south != row + 1) {
                ++part;
                continue;
            }
            part->second.pixels.finish();
            part = open.erase(part);
        }
    }
    return all;
}

JobResult MadeParts::result(std::size_t files) const {
    JobResult all = Sums;
    all.clashes.assign(files, {});
    for (const PartReceipt& receipt : Receipts)
        for (std::size_t f = 0; f < files; ++f)
            all.clashes[f].happened |= receipt.files[f].isShared;
    return all;
}

bool MadeParts::isSound(const PartReceipt& receipt, const BlockRectangle& blocks) const {
    return receipt.blocks == blocks && receipt.files.size() == Plan.outputs.size() &&
           receipt.cutCells.size() == Plan.job.bands.size();
}

void MadeParts::addUp() {
    Sums.cutCells.resize(Plan.job.bands.size());
    for (const PartReceipt& receipt : Receipts) {
        Sums.points += receipt.points;
        Sums.filledCells += receipt.filledCells;
        for (std::size_t b = 0; b < Sums.cutCells.size(); ++b)
            Sums.cutCells[b] += receipt.cutCells[b];
    }
    Sums.pointsWithoutGround = Plan.withoutGround;
    if (Sums.points != Plan.wantedPoints)
        throw Error("the counts don't add up: " + std::to_string(Plan.wantedPoints) +
                    " points were to be rastered, " + std::to_string(Sums.points) +
                    " were; nothing was written, please report this");
}

void MadeParts::copyPart(std::size_t part, const std::vector<RasterDescription>& files, BlockSink& sink,
                         JobResult& result) const {
    PixelFileReader pixels = read(part);
    pixels.readTo(Plan.geometry.height, visitorOf(part, files, sink, result));
    pixels.finish();
}

PixelFileReader MadeParts::read(std::size_t part) const {
    const PartReceipt& receipt = Receipts[part];
    PixelFileShape shape{pixelsOf(receipt.blocks, Plan.geometry), {}};
    for (const JobBand& band : Plan.job.bands)
        shape.types.push_back(receipt.files[band.file].type);
    return {Folder.pixels(part + 1), receipt.pixels, std::move(shape)};
}

PixelVisitor MadeParts::visitorOf(std::size_t part, const std::vector<RasterDescription>& files,
                                  BlockSink& sink, JobResult& result) const {
    return [&, part](std::size_t b, const PixelWindow& window, const PixelSpan& pixels) {
        const JobBand& band = Plan.job.bands[b];
        const RasterDescription& file = files[band.file];
        withPixelType(file.type, [&]<class To>(To) {
            PixelConversion<To> conversion(band, Receipts[part].files[band.file], file);
            std::visit(
                [&]<class From>(std::span<const From> from) {
                    sink.take(b, window, conversion.convert(from, result.clashes[band.file]));
                },
                pixels);
        });
    };
}

} // namespace Tilewright::Io

#include <io/parts/MadeParts.h>

#include <cmath>

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
    for (std::size_t i = 0; i < Receipts.size(); ++i) {
        if (report && !report(i, Receipts.size()))
            throw Interruption();
        copyPart(i, files, sink, all);
    }
    return all;
}

JobResult MadeParts::result(std::size_t files) const {
    JobResult all = Sums;
    all.clashes.assign(files, {});
    return all;
}

bool MadeParts::isSound(const PartReceipt& receipt, const BlockRange& blocks) const {
    return receipt.blocks.first == blocks.first && receipt.blocks.end == blocks.end &&
           receipt.files.size() == Plan.outputs.size() && receipt.cutCells.size() == Plan.job.bands.size();
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

void MadeParts::copyPart(std::size_t i, const std::vector<RasterDescription>& files, BlockSink& sink,
                         JobResult& result) const {
    const PartReceipt& receipt = Receipts[i];
    PixelFileShape shape{Plan.geometry.width, Plan.geometry.height, {}};
    for (const JobBand& band : Plan.job.bands)
        shape.types.push_back(receipt.files[band.file].type);
    readPixelFile(Folder.pixels(i + 1), receipt.pixels, shape,
                  [&](std::size_t b, const PixelWindow& window, const PixelSpan& pixels) {
                      const JobBand& band = Plan.job.bands[b];
                      const RasterDescription& file = files[band.file];
                      withPixelType(file.type, [&]<class To>(To) {
                          PixelConversion<To> conversion(band, receipt.files[band.file], file);
                          std::visit(
                              [&]<class From>(std::span<const From> from) {
                                  sink.take(b, window, conversion.convert(from, result.clashes[band.file]));
                              },
                              pixels);
                      });
                  });
    for (std::size_t f = 0; f < files.size(); ++f)
        result.clashes[f].happened |= receipt.files[f].isShared;
}

} // namespace Tilewright::Io

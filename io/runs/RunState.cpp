#include <io/runs/RunState.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>
#include <variant>

#include <io/runs/PlanFile.h>
#include <io/system/Bytes.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr std::size_t stretchBytes = 52;

class StateWriter {
public:
    template <class T> void put(T value) {
        const std::size_t size = Bytes.size();
        Bytes.resize(size + sizeof(T));
        copyAsLittleEndian<sizeof(T)>(std::as_bytes(std::span(&value, 1)).data(),
                                      std::as_writable_bytes(std::span(Bytes)).data() + size);
    }
    void putText(const std::string& text) {
        put(std::uint64_t(text.size()));
        Bytes += text;
    }

    std::string Bytes;
};

class StateReader {
public:
    explicit StateReader(std::string_view bytes) : Rest(bytes) {}

    template <class T> T take() {
        const std::string_view bytes = takeBytes(sizeof(T));
        return loadLittleEndian<T>(std::as_bytes(std::span(bytes)).data());
    }
    std::string_view takeText() { return takeBytes(take<std::uint64_t>()); }
    std::size_t rest() const { return Rest.size(); }

private:
    std::string_view takeBytes(std::uint64_t count) {
        if (count > Rest.size())
            throw InputError("the state of a run ends too early; take it anew");
        const std::string_view bytes = Rest.substr(0, count);
        Rest.remove_prefix(count);
        return bytes;
    }

    std::string_view Rest;
};

void putFile(StateWriter& out, const RasterDescription& file) {
    out.put(static_cast<std::uint8_t>(file.type));
    out.put(static_cast<std::uint8_t>(file.nodata ? file.nodata->index() + 1 : 0));
    if (file.nodata)
        std::visit([&](auto value) { out.put(value); }, *file.nodata);
    else
        out.put(std::uint64_t(0));
}

RasterDescription takeFile(StateReader& in, const PlannedOutput& output) {
    RasterDescription file = output.description;
    file.type = static_cast<PixelType>(in.take<std::uint8_t>());
    if (file.type > PixelType::Int32)
        throw InputError("the state of a run has a pixel type that is none; take it anew");
    switch (in.take<std::uint8_t>()) {
    case 1:
        file.nodata = in.take<double>();
        break;
    case 2:
        file.nodata = in.take<unsigned long long>();
        break;
    default:
        in.take<std::uint64_t>();
    }
    return file;
}

void putStretch(StateWriter& out, const Stretch& stretch) {
    out.put(stretch.source);
    out.put(stretch.first);
    out.put(stretch.count);
    for (const auto& corner : {stretch.low, stretch.high})
        for (const double number : corner)
            out.put(number);
}

Stretch takeStretch(StateReader& in) {
    Stretch stretch = {in.take<std::uint32_t>(), 0, 0, {}, {}};
    stretch.first = in.take<std::uint64_t>();
    stretch.count = in.take<std::uint64_t>();
    for (auto* const corner : {&stretch.low, &stretch.high})
        for (double& number : *corner)
            number = in.take<double>();
    return stretch;
}

/// A stretch of other points would be read beyond their end.
void checkStretches(const CloudIndex& index, const PointCloud& cloud) {
    for (const Stretch& stretch : index.stretches) {
        const bool isThere = stretch.source < cloud.sources().size();
        const std::uint64_t points = isThere ? cloud.sources()[stretch.source]->pointCount() : 0;
        if (stretch.first > points || stretch.count > points - stretch.first)
            throw InputError(cloud.name() + ": has other points than when the raster was planned");
    }
}

} // namespace

std::string bytesOfRun(const SettledRun& settled) {
    StateWriter out;
    out.putText(textOfPlan(settled.run.plan));
    for (const RasterDescription& file : settled.files)
        putFile(out, file);
    out.put(settled.run.index.skippedPoints);
    out.Bytes.reserve(out.Bytes.size() + settled.run.index.stretches.size() * stretchBytes);
    for (const Stretch& stretch : settled.run.index.stretches)
        putStretch(out, stretch);
    return std::move(out.Bytes);
}

SettledRun runOfBytes(std::string_view bytes, const std::shared_ptr<const PointCloud>& cloud,
                      const RunProgress& progress) {
    StateReader in(bytes);
    SettledRun settled;
    PlannedRun& run = settled.run;
    run = openPlan(planOfText(in.takeText(), "the state of a run"), cloud, progress);
    for (const PlannedOutput& output : run.plan.outputs)
        settled.files.push_back(takeFile(in, output));
    run.index.skippedPoints = in.take<std::uint64_t>();
    run.index.stretches.reserve(in.rest() / stretchBytes);
    while (in.rest() != 0)
        run.index.stretches.push_back(takeStretch(in));
    checkStretches(run.index, *run.cloud);
    return settled;
}

} // namespace Tilewright::Io

#include <io/clouds/PointCloud.h>

#include <algorithm>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include <io/formats/ReadOptions.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/gdal/VirtualFile.h>
#include <io/system/Errors.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Maps are a little faster than reads, but a process can have only so many of them.
constexpr std::size_t mostMappedFiles = 256;

/// Makes what a file reports of itself a report on all of them, in bytes. `before` are those of the files
/// before it.
StepReport partOf(const StepReport& whole, std::uint64_t before, std::uint64_t size, std::uint64_t all) {
    if (!whole)
        return {};
    return [=](std::uint64_t done, std::uint64_t total) {
        const double share = total != 0 ? static_cast<double>(done) / static_cast<double>(total) : 0;
        return whole(before + static_cast<std::uint64_t>(share * static_cast<double>(size)), all);
    };
}

/// The attributes that all of `sources` have. Sources without points don't count if others have some: what
/// they lack, or hold in another type, is missing for no point.
std::vector<CloudField> commonFields(std::span<const std::unique_ptr<PointSource>> sources) {
    std::vector<const RecordFormat*> formats;
    for (const auto& source : sources)
        if (source->pointCount() != 0)
            formats.push_back(&source->format());
    if (formats.empty() && !sources.empty())
        formats.push_back(&sources.front()->format());
    std::vector<CloudField> fields;
    if (formats.empty())
        return fields;
    for (const PointField& field : formats.front()->fields)
        fields.push_back({field.name, field.type});
    for (const RecordFormat* format : formats)
        std::erase_if(fields, [format](CloudField& field) {
            const PointField* const own = format->findField(field.name);
            if (own && own->type != field.type)
                field.type = FieldType::Double;
            return !own;
        });
    return fields;
}

/// The files without those that come again, by whatever path.
std::vector<FileState> distinctFiles(std::span<const fs::path> files) {
    std::set<std::tuple<std::uint64_t, std::uint64_t, fs::path>> seen;
    std::vector<FileState> distinct;
    for (const fs::path& path : files) {
        const FileState file = stateOfInput(path);
        if (seen.insert({file.device, file.inode, isVirtualPath(path) ? path : fs::path()}).second)
            distinct.push_back(file);
    }
    return distinct;
}

std::unique_ptr<PointSource> openFile(const fs::path& path, const ReadOptions& options) {
    try {
        return openPartOfCloud(path, options);
    } catch (const InputError& error) {
        throw FileError(error.what());
    }
}

} // namespace

FileState stateOfInput(const fs::path& path) {
    if (!isVirtualPath(path))
        return stateOf(path);
    FileState state;
    state.path = path;
    state.size = VirtualFile(path).size();
    return state;
}

PointCloud::PointCloud(std::span<const fs::path> files, const CloudOptions& options, bool ignoreSystems) {
    ReadOptions reading = readOptionsOf(options);
    Files = distinctFiles(files);
    reading.mapsFiles = Files.size() <= mostMappedFiles;
    std::uint64_t before = 0, all = 0;
    for (const FileState& file : Files)
        all += file.size;
    for (const FileState& file : Files) {
        reading.report = partOf(options.report, before, file.size, all);
        before += file.size;
        add(openFile(file.path, reading), ignoreSystems);
    }
    Fields = commonFields(Sources);
}

PointCloud::PointCloud(std::vector<std::unique_ptr<PointSource>> sources, bool ignoreSystems) {
    for (auto& source : sources)
        add(std::move(source), ignoreSystems);
    Fields = commonFields(Sources);
}

void PointCloud::add(std::unique_ptr<PointSource> added, bool ignoreSystems) {
    const PointSource& source = *Sources.emplace_back(std::move(added));
    Count += source.pointCount();
    std::string system = source.coordinateSystem();
    if (system.empty())
        return;
    if (!SystemSource) {
        SystemSource = &source;
        System = std::move(system);
    } else if (!ignoreSystems && !isSameCoordinateSystem(system, System)) {
        throw InputError(source.name() + ": is in another coordinate system than " + SystemSource->name() +
                         ": " + systemName(system) + ", not " + systemName(System));
    }
}

const CloudField* PointCloud::findField(std::string_view name) const noexcept {
    const auto found = std::ranges::find(Fields, name, &CloudField::name);
    return found != Fields.end() ? &*found : nullptr;
}

void PointCloud::release(unsigned threads) const {
    constexpr std::uint64_t pointsAtATime = std::uint64_t{1} << 20;
    for (const auto& source : Sources)
        forEachPiece(threads, source->pointCount() / pointsAtATime + 1, [&](std::size_t i) {
            const std::uint64_t first = i * pointsAtATime;
            source->release(first, std::min(pointsAtATime, source->pointCount() - first));
        });
}

void PointCloud::checkUnchanged() const {
    for (const FileState& file : Files) {
        std::error_code error;
        const bool isThere = isVirtualPath(file.path) || fs::exists(file.path, error);
        if (!isThere || stateOfInput(file.path) != file)
            throw InputError(file.path.string() +
                             ": was changed while it was read; try again when it is complete");
    }
}

std::string PointCloud::name() const {
    return Sources.size() == 1 ? Sources.front()->name() : std::to_string(Sources.size()) + " files";
}

} // namespace Tilewright::Io

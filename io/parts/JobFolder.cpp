#include <io/parts/JobFolder.h>

#include <algorithm>
#include <fstream>

#include <io/outputs/NewFile.h>
#include <io/runs/PlanFile.h>
#include <io/runs/PlanMembers.h>
#include <io/system/InputFile.h>

namespace Tilewright::Io {

namespace fs = std::filesystem;

namespace {

/// A nodata value has one of two types.
struct NoDataMembers {
    std::optional<double> number;
    std::optional<std::uint64_t> integer;
};

void list(auto& members, Like<NoDataMembers> auto& value) {
    members("number", value.number);
    members("integer", value.integer);
}

NoDataMembers membersOf(const std::optional<NoData>& nodata) {
    NoDataMembers members;
    if (nodata && std::holds_alternative<double>(*nodata))
        members.number = std::get<double>(*nodata);
    else if (nodata)
        members.integer = std::get<unsigned long long>(*nodata);
    return members;
}

std::optional<NoData> nodataOf(const NoDataMembers& members) {
    if (members.number)
        return *members.number;
    if (members.integer)
        return static_cast<unsigned long long>(*members.integer);
    return std::nullopt;
}

bool isOurs(const std::string& name) {
    const bool isIndex = name.size() == 16 && name.find_first_not_of("0123456789abcdef") == std::string::npos;
    const bool isGround = name.starts_with("ground-") && name.ends_with(".tif");
    return name.starts_with('.') || isIndex || isGround;
}

} // namespace

void list(auto& members, Like<PartFile> auto& file) {
    NoDataMembers nodata = membersOf(file.nodata);
    members("type", file.type);
    members("nodata", nodata);
    members("isShared", file.isShared);
    if constexpr (!std::is_const_v<std::remove_reference_t<decltype(file)>>)
        file.nodata = nodataOf(nodata);
}

void list(auto& members, Like<FileSeal> auto& seal) {
    members("bytes", seal.bytes);
    members("digest", seal.digest);
}

void list(auto& members, Like<PartReceipt> auto& receipt) {
    members("plan", receipt.plan);
    members("blocks", receipt.blocks);
    members("points", receipt.points);
    members("filledCells", receipt.filledCells);
    members("cutCells", receipt.cutCells);
    members("files", receipt.files);
    members("pixels", receipt.pixels);
    members("seconds", receipt.seconds);
}

fs::path JobFolder::ground(std::uint64_t digest) const {
    return Folder / ("ground-" + std::to_string(digest) + ".tif");
}

fs::path JobFolder::raster(std::size_t part, std::size_t output) const {
    return parts() / (std::to_string(part) + "-" + std::to_string(output + 1) + ".tif");
}

fs::path JobFolder::receipt(std::size_t part) const { return parts() / (std::to_string(part) + ".json"); }

fs::path JobFolder::failed(std::size_t part) const { return parts() / (std::to_string(part) + ".failed"); }

void JobFolder::create() const {
    std::error_code failure;
    for (const fs::path& folder : {parts(), index()})
        if (fs::create_directories(folder, failure); failure)
            throw OutputError(Folder.string() + ": can't be made: " + failure.message());
}

void JobFolder::removeIfEmpty() const noexcept {
    std::error_code ignored;
    for (const fs::path& folder : {parts(), index(), Folder})
        fs::remove(folder, ignored);
}

bool JobFolder::hasReceipts() const {
    std::error_code failure;
    return std::ranges::any_of(
        fs::directory_iterator(parts(), failure),
        [](const fs::directory_entry& entry) { return entry.path().extension() == ".json"; });
}

void JobFolder::discardParts() const {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(parts(), ignored))
        if (entry.is_regular_file(ignored))
            fs::remove(entry.path(), ignored);
}

void JobFolder::writePlan(const RunPlan& written, bool discardsParts) const {
    std::error_code ignored;
    if (fs::exists(plan(), ignored)) {
        if (readDocument(plan()) == textOfPlan(written))
            return;
        if (!discardsParts && hasReceipts())
            throw OutputError(Folder.string() +
                              ": has parts of another plan; remove it, name another folder, or "
                              "discard them with --overwrite");
    }
    discardParts();
    Io::writePlan(plan(), written);
}

RunPlan JobFolder::readPlan() const {
    std::error_code ignored;
    if (!fs::exists(plan(), ignored))
        throw InputError(Folder.string() + ": is no folder of a job; tilewright plan makes one");
    RunPlan found = Io::readPlan(plan());
    if (found.parts.empty())
        throw InputError(plan().string() + ": is the plan of a run without parts");
    return found;
}

std::uint64_t JobFolder::planDigest() const {
    Digest sum;
    const std::string text = readDocument(plan());
    sum.add(std::as_bytes(std::span(text)));
    return sum.value();
}

void JobFolder::writeReceipt(std::size_t part, const PartReceipt& written) const {
    const std::string text = JsonWriter::write(written).dump(1) + '\n';
    NewFile file(receipt(part));
    file.write(std::as_bytes(std::span(text)));
    file.publish();
}

std::optional<PartReceipt> JobFolder::readReceipt(std::size_t part, std::uint64_t digest) const {
    try {
        const Json document = Json::parse(readDocument(receipt(part)), nullptr, false);
        PartReceipt found;
        JsonReader(document, receipt(part).string()).read(found);
        if (found.plan == digest)
            return found;
    } catch (const InputError&) {
        // Not there, or not whole: it has to be made.
    }
    return std::nullopt;
}

void JobFolder::noteFailure(std::size_t part, const std::string& what) const noexcept {
    try {
        const std::string text = what + '\n';
        NewFile file(failed(part));
        file.write(std::as_bytes(std::span(text)));
        file.publish();
    } catch (...) {
        // The failure itself matters more.
    }
}

void JobFolder::forgetFailure(std::size_t part) const noexcept {
    std::error_code ignored;
    fs::remove(failed(part), ignored);
}

std::string JobFolder::failure(std::size_t part) const {
    std::ifstream file(failed(part));
    std::string line;
    std::getline(file, line);
    return line;
}

void JobFolder::remove(std::size_t count) const {
    std::error_code ignored;
    for (std::size_t part = 1; part <= count; ++part)
        for (const fs::path& path : {pixels(part), receipt(part), failed(part)})
            fs::remove(path, ignored);
    // Among them the hidden files of processes that were killed.
    for (const fs::path& folder : {parts(), index(), Folder})
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored))
            if (isOurs(entry.path().filename().string()) && entry.is_regular_file(ignored))
                fs::remove(entry.path(), ignored);
    for (const fs::path& path : {Folder / "request.json", plan(), index(), parts(), Folder})
        fs::remove(path, ignored);
}

} // namespace Tilewright::Io

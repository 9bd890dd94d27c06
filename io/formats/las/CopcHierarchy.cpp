#include <io/formats/las/CopcHierarchy.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include <io/formats/las/CodingError.h>

namespace Tilewright::Io {

namespace {

constexpr std::size_t entryLength = 32;
constexpr std::int32_t isPage = -1; ///< as the number of points of an entry

[[noreturn]] void fail(const std::string& what) { throw CodingError("its COPC hierarchy " + what); }

std::string name(const CopcKey& key) {
    std::string text = std::to_string(key.level);
    for (const std::int32_t coordinate : key.place) {
        text += '-';
        text += std::to_string(coordinate);
    }
    return text;
}

bool contains(ByteRange outer, ByteRange inner) {
    return inner.offset >= outer.offset && inner.length <= outer.length &&
           inner.offset - outer.offset <= outer.length - inner.length;
}

/// A page, and the cube in which all of its entries lie.
struct Page {
    CopcKey key;
    ByteRange bytes;
};

struct Entry {
    CopcKey key;
    std::uint64_t offset;
    std::int32_t length;
    std::int32_t pointCount;
};

Entry loadEntry(const std::byte* from) {
    Entry entry;
    entry.key.level = loadLittleEndian<std::int32_t>(from);
    for (std::size_t axis = 0; axis < 3; ++axis)
        entry.key.place[axis] = loadLittleEndian<std::int32_t>(from + 4 + 4 * axis);
    entry.offset = loadLittleEndian<std::uint64_t>(from + 16);
    entry.length = loadLittleEndian<std::int32_t>(from + 24);
    entry.pointCount = loadLittleEndian<std::int32_t>(from + 28);
    return entry;
}

class Walker {
public:
    explicit Walker(const CopcWalk& walk) : walk(walk) {}

    std::vector<CopcNode> run(ByteRange rootPage) {
        notePage({{}, rootPage});
        while (!pages.empty()) {
            const Page page = pages.back();
            pages.pop_back();
            readPage(page);
        }
        std::sort(nodes.begin(), nodes.end(),
                  [](const CopcNode& a, const CopcNode& b) { return a.chunk.offset < b.chunk.offset; });
        for (std::size_t i = 1; i < nodes.size(); ++i) {
            if (nodes[i - 1].chunk.offset + nodes[i - 1].chunk.length > nodes[i].chunk.offset)
                fail("gives " + name(nodes[i - 1].key) + " and " + name(nodes[i].key) + " the same bytes");
        }
        return std::move(nodes);
    }

private:
    /// Pages that overlap, or link to each other in a circle, take more bytes together than the file has.
    void notePage(const Page& page) {
        if (!contains({0, walk.fileSize}, page.bytes))
            fail("has a page after the end of the file");
        if (page.bytes.length % entryLength != 0)
            fail("has a page of " + std::to_string(page.bytes.length) +
                 " bytes, which is no number of entries");
        pageBytes += page.bytes.length;
        if (pageBytes > walk.fileSize)
            fail("has pages that overlap");
        pages.push_back(page);
    }

    void readPage(const Page& page) {
        const auto bytes = walk.readPage(page.bytes);
        if (bytes.size() != page.bytes.length)
            fail("has a page that can't be read");
        for (std::size_t at = 0; at < bytes.size(); at += entryLength)
            addEntry(loadEntry(bytes.data() + at), page);
    }

    void addEntry(const Entry& entry, const Page& page) {
        if (!entry.key.isValid())
            fail("has a node " + name(entry.key) + ", which no octree has");
        if (!entry.key.isWithin(page.key))
            fail("has node " + name(entry.key) + " on the page of " + name(page.key));
        if (entry.pointCount < isPage)
            fail("gives node " + name(entry.key) + " " + std::to_string(entry.pointCount) + " points");
        // A page is linked to by the key of its first node, which then has an entry of its own there.
        auto& known = entry.pointCount == isPage ? linked : seen;
        if (!known.insert(entry.key).second)
            fail("has node " + name(entry.key) + " twice");
        if (entry.pointCount == 0 || (walk.matters && !walk.matters(entry.key)))
            return;
        if (entry.length <= 0)
            fail("gives node " + name(entry.key) + " " + std::to_string(entry.length) + " bytes");
        const ByteRange bytes = {entry.offset, static_cast<std::uint64_t>(entry.length)};
        if (entry.pointCount == isPage)
            notePage({entry.key, bytes});
        else
            addNode(entry, bytes);
    }

    void addNode(const Entry& entry, ByteRange chunk) {
        if (!contains(walk.chunks, chunk))
            fail("places node " + name(entry.key) + " outside of the points");
        if (chunk.length < walk.leastChunkBytes)
            fail("gives node " + name(entry.key) + " " + std::to_string(chunk.length) +
                 " bytes, too few for a chunk");
        nodes.push_back({entry.key, chunk, static_cast<std::uint64_t>(entry.pointCount)});
    }

    const CopcWalk& walk;
    std::vector<Page> pages; ///< yet to read
    std::uint64_t pageBytes = 0;
    std::set<CopcKey> seen, linked;
    std::vector<CopcNode> nodes;
};

} // namespace

std::vector<CopcNode> readCopcNodes(const CopcInfo& info, const CopcWalk& walk) {
    return Walker(walk).run(info.rootPage);
}

} // namespace Tilewright::Io

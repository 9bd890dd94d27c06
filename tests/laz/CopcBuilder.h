/// CopcBuilder: large COPC files, made of one chunk of a sample that lies in many places.
///
/// All coordinates of a layered chunk are differences from its first point, which is stored as it is. So a
/// chunk moves when that point does. Only the chunk table has to be encoded for it.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include <io/formats/las/BitModel.h>
#include <io/formats/las/SymbolModel.h>
#include <tests/laz/LazSamples.h>

namespace Tilewright::Io::Test {

/// The counterpart of ArithmeticDecoder.
class ArithmeticEncoder {
public:
    template <unsigned capacity> void symbol(SymbolModel<capacity>& model, unsigned value) {
        const std::uint32_t step = length >> 15;
        const std::uint32_t low = model.begin(value) * step;
        narrow(low, (value + 1 == model.size() ? length : model.begin(value + 1) * step) - low);
        model.add(value);
    }

    void bit(BitModel& model, unsigned value) {
        const std::uint32_t zeros = model.probability() * (length >> 13);
        narrow(value != 0 ? zeros : 0, value != 0 ? length - zeros : zeros);
        model.add(value);
    }

    void bits(unsigned count, std::uint32_t value) {
        if (count > 19) {
            bits(16, value & 0xFFFFU);
            return bits(count - 16, value >> 16);
        }
        const std::uint32_t step = length >> count;
        narrow(value * step, step);
    }

    Bytes finish() {
        for (int i = 0; i < 4; ++i)
            putByte();
        return bytes;
    }

private:
    void narrow(std::uint32_t low, std::uint32_t newLength) {
        base += low;
        if (base < low)
            for (std::size_t i = bytes.size();
                 (bytes[--i] = std::byte(std::to_integer<unsigned>(bytes[i]) + 1)) == std::byte{0};) {
            }
        length = newLength;
        for (; length < std::uint32_t{1} << 24; length <<= 8)
            putByte();
    }

    void putByte() {
        bytes.push_back(std::byte(base >> 24));
        base <<= 8;
    }

    std::uint32_t base = 0, length = 0xFFFFFFFFU;
    Bytes bytes;
};

/// A table of chunks of variable size: of each the number of points and of bytes.
inline Bytes chunkTable(const std::vector<std::array<std::uint32_t, 2>>& chunks) {
    ArithmeticEncoder coder;
    std::array<SymbolModel<33>, 2> magnitudes;
    for (auto& model : magnitudes)
        model.create(33);
    BitModel zeroOrOne;
    std::map<unsigned, SymbolModel<256>> corrections;
    std::array<std::uint32_t, 2> before = {};
    for (const auto& chunk : chunks)
        for (const std::size_t i : {0U, 1U}) {
            const auto change = static_cast<std::int32_t>(chunk[i] - before[i]);
            before[i] = chunk[i];
            const auto size = static_cast<std::uint32_t>(change > 0 ? change - 1 : -change);
            const auto magnitude = static_cast<unsigned>(std::bit_width(size));
            coder.symbol(magnitudes[i], magnitude);
            if (magnitude == 0) {
                coder.bit(zeroOrOne, change == 1 ? 1 : 0);
                continue;
            }
            const auto [model, isNew] = corrections.try_emplace(magnitude);
            if (isNew)
                model->second.create(1U << std::min(magnitude, 8U));
            const std::uint32_t code = change > 0 ? size : (std::uint32_t{1} << magnitude) - 1 - size;
            const unsigned rest = magnitude > 8 ? magnitude - 8 : 0;
            coder.symbol(model->second, code >> rest);
            if (rest != 0)
                coder.bits(rest, code & ((std::uint32_t{1} << rest) - 1));
        }
    Bytes table;
    put(table, std::uint32_t{0}, static_cast<std::uint32_t>(chunks.size()), coder.finish());
    return table;
}

/// A square of 2^level by 2^level nodes, side by side, each with the points of the longest chunk.
class CopcGrid {
public:
    CopcGrid(const LazCloud& sample, std::int32_t level) {
        const auto longest = std::ranges::max_element(sample.chunks, {}, &Chunk::size);
        const auto chunk = static_cast<std::size_t>(longest - sample.chunks.begin());
        const Bytes records = decodeChunk(sample, chunk);
        std::array<std::int32_t, 3> low, high;
        low.fill(std::numeric_limits<std::int32_t>::max());
        high.fill(std::numeric_limits<std::int32_t>::min());
        for (std::size_t at = 0; at < records.size(); at += sample.recordLength)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const auto value = loadLittleEndian<std::int32_t>(&records[at + 4 * axis]);
                low[axis] = std::min(low[axis], value);
                high[axis] = std::max(high[axis], value);
            }
        std::int32_t widest = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            widest = std::max(widest, high[axis] - low[axis]);
        step = widest + 2;

        bytes.assign(sample.bytes.begin(),
                     sample.bytes.begin() + static_cast<std::ptrdiff_t>(sample.pointOffset));
        put(bytes, std::uint64_t{0});
        const auto source = sample.slice(sample.chunks[chunk]);
        const std::int32_t side = std::int32_t{1} << level;
        std::vector<std::array<std::uint32_t, 2>> chunks;
        Bytes entries;
        for (std::int32_t y = 0; y < side; ++y)
            for (std::int32_t x = 0; x < side; ++x) {
                put(entries, level, x, y, std::int32_t{0}, std::uint64_t{bytes.size()},
                    static_cast<std::int32_t>(source.size()),
                    static_cast<std::int32_t>(sample.chunks[chunk].pointCount));
                Bytes moved(source.begin(), source.end());
                poke(moved, 0, loadLittleEndian<std::int32_t>(&source[0]) + x * step);
                poke(moved, 4, loadLittleEndian<std::int32_t>(&source[4]) + y * step);
                put(bytes, moved);
                chunks.push_back({static_cast<std::uint32_t>(sample.chunks[chunk].pointCount),
                                  static_cast<std::uint32_t>(source.size())});
            }
        pointCount = chunks.size() * sample.chunks[chunk].pointCount;
        poke(bytes, sample.pointOffset, std::uint64_t{bytes.size()});
        put(bytes, chunkTable(chunks));
        const std::uint64_t record = bytes.size();
        put(bytes, std::uint16_t{0}, textBytes("copc", 16), std::uint16_t{1000},
            std::uint64_t{entries.size()}, Bytes(32), entries);
        poke(bytes, 107, std::uint32_t{0});
        poke(bytes, 235, record);
        poke(bytes, 243, std::uint32_t{1});
        poke(bytes, 247, std::uint64_t{pointCount});
        poke(bytes, 429 + 40, record + 60);
        poke(bytes, 429 + 48, std::uint64_t{entries.size()});
        placeCube(sample, low, high, side);
    }

    Bytes bytes;
    std::uint64_t pointCount = 0;
    std::array<double, 2> corner = {}; ///< low x and y
    double nodeSide = 0;

private:
    void placeCube(const LazCloud& sample, const std::array<std::int32_t, 3>& low,
                   const std::array<std::int32_t, 3>& high, std::int32_t side) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double scale = sample.at<double>(131 + 8 * axis),
                         offset = sample.at<double>(155 + 8 * axis);
            const double half = 0.5 * step * scale * side;
            const std::int32_t reach = axis < 2 ? (side - 1) * step : 0;
            poke(bytes, 429 + 8 * axis, (low[axis] - 1) * scale + offset + half);
            poke(bytes, 429 + 24, half);
            poke(bytes, 429 + 32, half / 64);
            poke(bytes, 179 + 16 * axis, (high[axis] + reach) * scale + offset);
            poke(bytes, 187 + 16 * axis, low[axis] * scale + offset);
            if (axis < 2)
                corner[axis] = (low[axis] - 1) * scale + offset;
            nodeSide = step * scale;
        }
    }

    std::int32_t step = 0; ///< from node to node
};

} // namespace Tilewright::Io::Test

/// GpsTimeDecoder: GPS times, of up to four sequences that take turns.
#pragma once

#include <array>
#include <cstdint>

#include <io/formats/las/CodingError.h>
#include <io/formats/las/IntegerDecoder.h>
#include <io/formats/las/RecordBytes.h>

namespace Tilewright::Io {

/// Times are the bits of a double as a whole number.
struct GpsTimeSequences {
    void start(std::uint64_t first) noexcept {
        *this = {};
        time[0] = first;
    }

    unsigned current = 0, newest = 0;
    std::array<std::uint64_t, 4> time = {};
    std::array<std::int32_t, 4> step = {};
    std::array<unsigned, 4> outliers = {}; ///< differences since the last that confirmed `step`
};

/// `mayStay` is whether a code of its own says that the time stays as it is; of formats 6 to 10 another layer
/// says so.
template <bool mayStay> class GpsTimeDecoder {
public:
    void create() noexcept {
        multiples.create(multipleCodes + otherCodes);
        starts.create(1 + otherCodes);
        differences.create();
    }

    /// The next time.
    std::uint64_t decode(ArithmeticDecoder& stream, GpsTimeSequences& sequences) {
        ArithmeticDecoder coder = stream;
        // Writers switch at most once a point; a damaged file could go on for long.
        for (unsigned switches = 0; switches <= mostSwitches; ++switches) {
            if (decodeStep(coder, sequences)) {
                stream = coder;
                return sequences.time[sequences.current];
            }
        }
        throw CodingError("it switches between GPS times without end");
    }

private:
    static constexpr unsigned multipleCodes = 511; ///< 0 to 510
    static constexpr unsigned otherCodes = mayStay ? 5 : 4;
    static constexpr unsigned mostSwitches = 8;

    /// False where only another sequence was chosen.
    [[gnu::always_inline]] bool decodeStep(ArithmeticDecoder& coder, GpsTimeSequences& sequences) {
        const unsigned current = sequences.current;
        const bool hasStep = sequences.step[current] != 0;
        unsigned code = hasStep ? coder.symbol(multiples) : coder.symbol(starts);
        const unsigned firstOther = hasStep ? multipleCodes : 1;
        if (code < firstOther && hasStep) {
            addMultiple(coder, sequences, code);
            return true;
        }
        if constexpr (mayStay) {
            if (code == (hasStep ? multipleCodes : 0))
                return true;
            --code;
        }
        if (code < firstOther) {
            const std::int32_t difference = differences.decode(coder, 0, 0).value;
            sequences.step[current] = difference;
            sequences.time[current] = wrappingSum(sequences.time[current], difference);
            sequences.outliers[current] = 0;
            return true;
        }
        if (code == firstOther) {
            beginSequence(coder, sequences);
            return true;
        }
        sequences.current = (current + code - firstOther) & 3U;
        return false;
    }

    /// Adds about `code` steps; the last codes stand for negative numbers of them.
    [[gnu::always_inline]] void addMultiple(ArithmeticDecoder& coder, GpsTimeSequences& sequences,
                                            unsigned code) {
        const unsigned current = sequences.current;
        const std::int32_t step = sequences.step[current];
        const auto factor = static_cast<std::int32_t>(code <= 500 ? code : 500 - code);
        const unsigned context = code == 0     ? 7
                                 : code == 1   ? 1
                                 : code < 10   ? 2
                                 : code < 500  ? 3
                                 : code == 500 ? 4
                                 : code < 510  ? 5
                                               : 6;
        const std::int32_t difference =
            differences.decode(coder, wrappingProduct(factor, step), context).value;
        sequences.time[current] = wrappingSum(sequences.time[current], difference);
        if (code == 1) {
            sequences.outliers[current] = 0;
        } else if (code == 0 || code == 500 || code == 510) {
            if (++sequences.outliers[current] > 3) {
                sequences.step[current] = difference;
                sequences.outliers[current] = 0;
            }
        }
    }

    void beginSequence(ArithmeticDecoder& coder, GpsTimeSequences& sequences) {
        const std::uint64_t time = sequences.time[sequences.current];
        const auto high = static_cast<std::uint32_t>(
            differences.decode(coder, static_cast<std::int32_t>(time >> 32), 8).value);
        sequences.newest = (sequences.newest + 1) & 3U;
        sequences.current = sequences.newest;
        sequences.time[sequences.current] = std::uint64_t{high} << 32 | coder.bits32();
        sequences.step[sequences.current] = 0;
        sequences.outliers[sequences.current] = 0;
    }

    SymbolModel<516> multiples;
    SymbolModel<6> starts;
    IntegerDecoder<32, 9> differences;
};

} // namespace Tilewright::Io

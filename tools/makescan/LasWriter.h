/// LasWriter: writes LAS 1.4 with point format 7.
#pragma once

#include "ByteBuffer.h"
#include "Pulse.h"
#include "Scanner.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>

namespace Tilewright::MakeScan {

/// The file appears under its name when it is complete. Until then it has a hidden name in the same folder,
/// and a writer that is destroyed before finish() removes it. All failures to write throw std::runtime_error.
class LasWriter {
public:
    explicit LasWriter(const std::filesystem::path& path);
    ~LasWriter();

    LasWriter(const LasWriter&) = delete;
    LasWriter& operator=(const LasWriter&) = delete;

    std::uint64_t points() const { return points_; }

    /// One point per echo, the first echo first. At most 15 echoes, as many as a header counts.
    void add(const Shot& shot, std::span<const Echo> echoes);

    /// Gives the file its name.
    void finish();

private:
    [[noreturn]] void fail() const;
    void addPoint(const Shot& shot, const Echo& echo, std::size_t number, std::size_t count);
    void writeHead();
    void addHeader(ByteBuffer& head) const;

    std::filesystem::path path_;
    std::filesystem::path part_;
    std::ofstream file_;
    bool complete_ = false;
    ByteBuffer buffer_;
    std::uint64_t points_ = 0;
    std::array<std::uint64_t, 15> pointsOfReturn_{};
    std::array<std::int32_t, 3> least_{INT32_MAX, INT32_MAX, INT32_MAX};
    std::array<std::int32_t, 3> greatest_{INT32_MIN, INT32_MIN, INT32_MIN};
};

} // namespace Tilewright::MakeScan

// shuffle IN.las OUT.las: the points of a scan in no order, as files come out of some programs.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <numeric>
#include <random>
#include <vector>

template <class T> static T at(const std::vector<char>& bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    std::ifstream in(argv[1], std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
    if (bytes.size() < 227)
        return 1;
    const auto first = at<std::uint32_t>(bytes, 96);
    const auto length = at<std::uint16_t>(bytes, 105);
    std::vector<std::uint32_t> order((bytes.size() - first) / length);
    std::iota(order.begin(), order.end(), 0U);
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    std::ofstream out(argv[2], std::ios::binary);
    out.write(bytes.data(), first);
    for (const std::uint32_t i : order)
        out.write(bytes.data() + first + std::size_t(i) * length, length);
    return out.flush() ? 0 : 1;
}

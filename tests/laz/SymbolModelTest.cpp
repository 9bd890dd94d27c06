#include <io/formats/las/SymbolModel.h>

#include <memory>
#include <random>

#include <gtest/gtest.h>

namespace Tilewright::Io::Test {
namespace {

/// Compares with a plain search, over all places that a decoder can ask for.
template <unsigned capacity> void expectFindsEveryPlace(unsigned symbols, double concentration) {
    const auto model = std::make_unique<SymbolModel<capacity>>();
    model->create(symbols);
    std::minstd_rand random;
    std::geometric_distribution<unsigned> skewed(concentration);
    for (int round = 0; round < 6; ++round) {
        unsigned end = 1;
        for (std::uint32_t place = 0; place < (1U << 15) + 64; ++place) {
            while (end < symbols && model->begin(end) <= place)
                ++end;
            ASSERT_EQ(model->beginUpTo(place), end) << place << " of " << symbols << " symbols";
        }
        for (int i = 0; i < 20000; ++i)
            model->add(skewed(random) * 7 % symbols);
    }
}

TEST(SymbolModelTest, FindsTheSymbolOfEveryPlaceHoweverTheyAreDistributed) {
    for (const double concentration : {0.9, 0.3, 0.01}) {
        expectFindsEveryPlace<4>(3, concentration);
        expectFindsEveryPlace<16>(16, concentration);
        expectFindsEveryPlace<33>(33, concentration);
        expectFindsEveryPlace<128>(128, concentration);
        for (const unsigned symbols : {2U, 64U, 256U})
            expectFindsEveryPlace<256>(symbols, concentration);
        expectFindsEveryPlace<516>(515, concentration);
    }
}

} // namespace
} // namespace Tilewright::Io::Test

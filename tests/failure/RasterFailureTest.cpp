// A call that ends early, at whichever step: what it had made is freed with its grids, and the next call on
// the same output makes what it would have made without.
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include <tests/support/CloudBuilder.h>

namespace {

// The whole program allocates through these. Constant-initialised: they are in use before main.
constexpr long long never = std::numeric_limits<long long>::max();
constinit long long living = 0;
constinit long long untilFailure = never;

/// The record of a reference can't fail: the constructor that makes it may not throw.
constexpr std::size_t recordSize = sizeof(Larder::ReferenceBlock<Larder::Cacheable>);

void* allocate(std::size_t size, std::size_t alignment) {
    if (untilFailure != never && size != recordSize && untilFailure-- == 0) {
        untilFailure = never;
        throw std::bad_alloc();
    }
    const std::size_t whole = (size + alignment) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, whole);
    if (!memory)
        throw std::bad_alloc();
    ++living;
    return memory;
}

void release(void* memory) noexcept {
    living -= memory != nullptr;
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) { return allocate(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }

namespace TestSupport {
namespace {

const Index fragments{2, 1, 1};

/// Two fragments with fields for every kind of view, and for filters with and without a memory of their own.
/// `make` gives the fragments of "Real" when they are asked for.
CloudBuilder cloud(const std::function<Quill::ArrayPtr(const std::vector<float>&)>& make = arrayOf<float>) {
    CloudBuilder built(fragments);
    std::mt19937 random(3);
    const auto draw = [&](unsigned range) { return static_cast<double>(random() % range) / 16; };
    for (unsigned i = 0; i < 2; ++i) {
        std::vector<point> places, colours;
        std::vector<float> reals;
        std::vector<unsigned char> classes;
        for (int k = 0; k < 40; ++k) {
            places.push_back({draw(64) + 4.0 * i, draw(48), draw(99)});
            colours.push_back({draw(9), draw(9), draw(9)});
            reals.push_back(static_cast<float>(draw(200)));
            classes.push_back(static_cast<unsigned char>(random() % 4));
        }
        const Index index{i, 0, 0};
        built.points(places, index).values("Colour", colours, index).values("Class", classes, index);
        built.creator("Real", Larder::Ref<OnDemand>([=] { return make(reals); }), index);
    }
    return built;
}

RasterCall callOfAllKinds() {
    RasterCall call;
    call.requests = {"Positions:Regression:Zdir", "Real:Median:Xdir", "Colour:Max:All",
                     "Class:MaxOccurrence:All"};
    call.withAlpha = true;
    call.selection = "0:2@Class";
    return call;
}

using Contents = std::map<std::string, std::vector<std::optional<CellBits>>>;
Contents contentsOf(const Quill::Grid& grid) {
    Contents contents;
    for (const std::string& name : fieldNames(grid))
        for (unsigned i = 0; i < 2; ++i)
            contents[name].push_back(readCells(dataOf(grid, name, {i, 0, 0})));
    return contents;
}

/// Runs `round` with 0, 1, 2, ... until it answers that its failure did not come any more. Each round has to
/// give back all that it takes. Gives the number of rounds with a failure.
int forEachFailure(const std::function<bool(int)>& round) {
    for (int n = 0;; ++n) {
        const long long before = living;
        const bool failed = round(n);
        EXPECT_EQ(living, before) << "lost by failure number " << n;
        if (!failed || testing::Test::HasFailure())
            return n;
    }
}

class RasterFailure : public testing::Test {
protected:
    /// Makes all that is made once a process, too.
    RasterFailure() {
        const Larder::Ref<Quill::Grid> out;
        EXPECT_EQ(callOfAllKinds()(cloud().grid(), *out), "");
        Expected = contentsOf(*out);
    }

    void expectRetrySucceeds(const CloudBuilder& in, Quill::Grid& out) const {
        EXPECT_EQ(callOfAllKinds()(in.grid(), out), "");
        EXPECT_EQ(contentsOf(out), Expected);
    }

    Contents Expected;
};

/// Acts, and lets the allocation of that number fail. Gives whether it came to that.
template <class Act> bool failsAt(int number, const Act& act) {
    untilFailure = number;
    bool failed = false;
    try {
        act();
    } catch (const std::bad_alloc&) {
        failed = true;
    }
    failed = failed || untilFailure == never;
    untilFailure = never;
    return failed;
}

TEST_F(RasterFailure, OfAnyAllocationLosesNothing) {
    ASSERT_EQ(Expected.size(), 8u);
    const RasterCall call = callOfAllKinds();
    const int failures = forEachFailure([&](int n) {
        const CloudBuilder in = cloud();
        const Larder::Ref<Quill::Grid> out;
        testing::internal::CaptureStdout();
        const bool failed = failsAt(n, [&] { EXPECT_EQ(call.direct(in.grid(), *out), ""); });
        testing::internal::GetCapturedStdout();
        expectRetrySucceeds(in, *out);
        return failed;
    });
    EXPECT_GT(failures, 100);
}

/// Attaches nothing, but takes memory as those do that attach something.
struct TakingMemory : Larder::SaveInterfaceCreator<Quill::MemBase> {
    std::uint32_t createSaveInterface(Quill::MemBase*) override {
        return static_cast<std::uint32_t>(std::vector<char>(100).size());
    }
};

TEST(ArrayFailure, InsideACreatorOfInterfacesLeavesNoArray) {
    Larder::SaveRegistryBase::registerCreator(typeid(Quill::MemBase), Larder::Ref<TakingMemory>());
    const int failures = forEachFailure([](int n) {
        return failsAt(n, [] {
            EXPECT_EQ((Larder::Ref<Quill::MemArray<3, float>>(Index{2, 2, 2})->rank()), 3);
        });
    });
    EXPECT_GE(failures, 3);
}

TEST_F(RasterFailure, OfACreatorComesOut) {
    const int failures = forEachFailure([&](int n) {
        int left = n;
        const CloudBuilder in = cloud([&](const std::vector<float>& values) {
            if (left-- == 0)
                throw std::runtime_error("no such file");
            return arrayOf(values);
        });
        const Larder::Ref<Quill::Grid> out;
        const std::string result = callOfAllKinds()(in.grid(), *out);
        EXPECT_EQ(result, n < 2 ? "threw no such file" : "");
        expectRetrySucceeds(in, *out);
        return !result.empty();
    });
    EXPECT_EQ(failures, 2);
}

} // namespace
} // namespace TestSupport

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

/// What comes out for people: result text and fields.
std::map<std::string, std::vector<double>> contentsOf(const Quill::Grid& grid) {
    std::map<std::string, std::vector<double>> contents;
    const auto take = [&]<class T>(const std::string& name, const Index& index) {
        if (const auto cells = cellsOf<T>(grid, name, index))
            contents[name].insert(contents[name].end(), cells->begin(), cells->end());
    };
    for (const std::string& name : fieldNames(grid))
        for (unsigned i = 0; i < 2; ++i) {
            const Index index{i, 0, 0};
            take.operator()<float>(name, index);
            take.operator()<double>(name, index);
            take.operator()<unsigned char>(name, index);
            take.operator()<unsigned short>(name, index);
            if (const auto cells = cellsOf<point>(grid, name, index))
                for (const point& cell : *cells)
                    contents[name].insert(contents[name].end(), {cell[0], cell[1], cell[2]});
        }
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

    std::map<std::string, std::vector<double>> Expected;
};

TEST_F(RasterFailure, OfAnyAllocationLosesNothing) {
    ASSERT_EQ(Expected.size(), 7u);
    const RasterCall call = callOfAllKinds();
    const int failures = forEachFailure([&](int n) {
        const CloudBuilder in = cloud();
        const Larder::Ref<Quill::Grid> out;
        bool failed = false;
        testing::internal::CaptureStdout();
        untilFailure = n;
        try {
            EXPECT_EQ(call.direct(in.grid(), *out), "");
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        failed = failed || untilFailure == never;
        untilFailure = never;
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
        untilFailure = n;
        bool failed = false;
        try {
            const Larder::Ref<Quill::MemArray<3, float>> array(Index{2, 2, 2});
            EXPECT_EQ(array->nElements(), 8u);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        untilFailure = never;
        return failed;
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
        bool failed = false;
        try {
            callOfAllKinds().direct(in.grid(), *out);
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "no such file");
            failed = true;
        }
        expectRetrySucceeds(in, *out);
        return failed;
    });
    EXPECT_EQ(failures, 2);
}

TEST_F(RasterFailure, OnDemandStopsAtEachFragment) {
    const int failures = forEachFailure([&](int n) {
        const CloudBuilder in = cloud();
        const Larder::Ref<Quill::Grid> out;
        RasterCall call = callOfAllKinds();
        call.progress = Larder::Ref<ProgressLog>(static_cast<std::size_t>(n));
        const std::string result = call(in.grid(), *out);
        EXPECT_EQ(result, n < 2 ? "Interrupted" : "");
        expectRetrySucceeds(in, *out);
        return !result.empty();
    });
    EXPECT_EQ(failures, 2);
}

} // namespace
} // namespace TestSupport

// What threads may share: the records of the reference pointers, the serial numbers, the statistics, and the
// registry of value types. Most of these tests say little by themselves; the thread sanitizer reads them.
#include <atomic>
#include <set>
#include <thread>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include <tilewright/tilewright.h>

namespace {

constexpr int threads = 4;

template <class Work> void onThreads(Work work) {
    std::atomic<int> waiting{threads};
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t)
        running.emplace_back([&, t] {
            // All at once, so that the work overlaps even where it is short.
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            work(t);
        });
    for (std::thread& thread : running)
        thread.join();
}

struct Shared : Larder::ReferenceBase<Shared> {
    using reference_domain_t = Shared;
    explicit Shared(std::atomic<int>& deaths) : ReferenceBase<Shared>(this), Deaths(deaths) {}
    ~Shared() override {
        Whole = false;
        ++Deaths;
    }
    std::atomic<int>& Deaths;
    bool Whole = true;
};
using SharedPtr = Larder::StrongPtr<Shared, Shared>;
using SharedWeak = Larder::WeakPtrImpl<Shared, Shared>;

TEST(SharedObject, DiesOnceHoweverItsHoldersInterleave) {
    std::atomic<int> deaths{0};
    for (int round = 0; round < 200; ++round) {
        std::vector<SharedPtr> held(threads, Larder::Ref<Shared>(deaths));
        onThreads([&](int t) {
            SharedPtr mine = std::move(held[static_cast<std::size_t>(t)]);
            for (int i = 0; i < 20; ++i) {
                const SharedPtr copy = mine;
                const SharedWeak observer = copy;
                ASSERT_TRUE(copy && copy->Whole);
            }
            mine = {};
        });
        held.clear();
        ASSERT_EQ(deaths, round + 1);
    }
}

TEST(SharedObject, IsWholeForWhoeverPromotesAWeakPointerInTime) {
    std::atomic<int> deaths{0};
    for (int round = 0; round < 200; ++round) {
        SharedPtr last = Larder::Ref<Shared>(deaths);
        const std::vector<SharedWeak> observers(threads, last);
        onThreads([&](int t) {
            if (t == 0) {
                last = {};
                return;
            }
            while (const SharedPtr promoted = observers[static_cast<std::size_t>(t)].promote())
                ASSERT_TRUE(promoted->Whole);
        });
        ASSERT_EQ(deaths, round + 1);
    }
}

TEST(SerialNumbers, AreDealtOnceAcrossThreads) {
    constexpr int each = 500;
    std::atomic<int> deaths{0};
    std::vector<std::vector<unsigned long long>> dealt(threads);
    onThreads([&](int t) {
        for (int i = 0; i < each; ++i)
            dealt[static_cast<std::size_t>(t)].push_back(Larder::Ref<Shared>(deaths)->objectId);
    });
    std::set<unsigned long long> all;
    for (const auto& ids : dealt)
        all.insert(ids.begin(), ids.end());
    EXPECT_EQ(all.size(), std::size_t{threads} * each);
}

TEST(Cloud, IsReadByCallsOnManyThreadsWhileItsDataAreMadeOnDemandAndLetGo) {
    using Orrery::PhysicalSpace::point;
    using Quill::ArrayPtr;
    struct Maker : Quill::CreativeArrayBase {
        ArrayPtr create() override {
            const Larder::Ref<Quill::MemArray<1, point>> made(Quill::MultiIndex<1>(500));
            for (unsigned i = 0; i < 500; ++i)
                made->data[i] = point(i % 20, i / 25, i);
            return made;
        }
    };
    const Larder::Ref<Quill::Grid> cloud;
    const Larder::Ref<Quill::RegularlyFragmentedField<3>> positions(Quill::MultiIndex<3>(3, 1, 1), "F");
    cloud->makeCartesianRepresentation(3, "", 0)["Positions"] = positions;
    for (unsigned i = 0; i < 3; ++i)
        (*positions)[{i, 0, 0}] = Larder::Ref<Maker>();
    const Larder::StrongPtr<Larder::Cache, Larder::CacheBase> cache = Larder::Cache::MemCache();
    cache->setBudget(cache->bytesKept() + 12000);
    testing::internal::CaptureStdout();
    onThreads([&](int) {
        for (int i = 0; i < 5; ++i) {
            const Larder::Ref<Quill::Grid> out;
            ASSERT_EQ(Tilewright::raster(*cloud, *out, {"Positions:Max:Zdir"}, {1, 1, 0}, {}, {}, false,
                                         false, "", 0, {}),
                      "");
        }
    });
    testing::internal::GetCapturedStdout();
    cache->setBudget(Larder::Cache::noLimit);
}

TEST(Arrays, MadeOnManyThreadsLeaveTheByteCountAsItWas) {
    const long long before = Larder::ChunkBase::TotalMemsize;
    onThreads([](int t) {
        const auto extent = static_cast<unsigned long long>(t) + 1;
        for (int i = 0; i < 200; ++i) {
            const auto allocator = Quill::MemBase::findAllocator(typeid(float));
            ASSERT_TRUE(!!allocator);
            const auto array = allocator->create(Quill::DynamicSize(2, new unsigned long long[2]{extent, 3}));
            ASSERT_EQ(array->nElements(), extent * 3);
            ASSERT_TRUE(!!array->copy({}));
        }
    });
    EXPECT_EQ(Larder::ChunkBase::TotalMemsize, before);
}

} // namespace

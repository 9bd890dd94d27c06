// What threads may share. Most of these tests say little by themselves; the thread sanitizer reads them.
#include "tests/support/CloudBuilder.h"

#include <atomic>
#include <barrier>
#include <thread>
#include <typeinfo>

namespace {

using namespace TestSupport;

constexpr int threads = 4;

template <class Work> void onThreads(Work work) {
    std::barrier start(threads); // All at once, so that the work overlaps even where it is short.
    std::vector<std::jthread> running;
    for (int t = 0; t < threads; ++t)
        running.emplace_back([&, t] {
            start.arrive_and_wait();
            work(t);
        });
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

TEST(SharedObject, DiesOnceAndIsWholeForWhoeverPromotesAWeakPointerInTime) {
    std::atomic<int> deaths{0};
    for (int round = 0; round < 200; ++round) {
        std::vector<SharedPtr> held(threads, Larder::Ref<Shared>(deaths));
        const std::vector<SharedWeak> observers(threads, held[0]);
        onThreads([&](int t) {
            for (int i = 0; i < 20; ++i) {
                const SharedPtr copy = held[static_cast<std::size_t>(t)];
                const SharedWeak observer = copy;
                ASSERT_TRUE(copy->Whole);
            }
            held[static_cast<std::size_t>(t)] = {};
            for (int i = 0; i < 50; ++i) {
                const SharedPtr promoted = observers[static_cast<std::size_t>(t)].promote();
                ASSERT_TRUE(!promoted || promoted->Whole);
            }
        });
        ASSERT_EQ(deaths, round + 1);
    }
}

TEST(Cloud, IsReadByCallsOnManyThreadsWhileItsDataAreMadeOnDemandAndLetGo) {
    CloudBuilder cloud({3, 1, 1});
    std::vector<point> points(500);
    for (unsigned i = 0; i < 500; ++i)
        points[i] = point(i % 20, i / 25, i);
    for (unsigned i = 0; i < 3; ++i)
        cloud.creator("Positions", onDemand(points), {i, 0, 0});
    const CacheBudget budget(Larder::Cache::MemCache()->bytesKept() + 12000);
    const RasterCall call{.requests = {"Positions:Max:Zdir"}};
    testing::internal::CaptureStdout();
    onThreads([&](int) {
        for (int i = 0; i < 5; ++i)
            ASSERT_EQ(call.direct(cloud.grid(), *Larder::Ref<Quill::Grid>()), "");
    });
    testing::internal::GetCapturedStdout();
}

TEST(Arrays, MadeOnManyThreadsLeaveTheByteCountAsItWas) {
    const long long before = Larder::ChunkBase::TotalMemsize;
    onThreads([](int t) {
        const auto extent = static_cast<unsigned long long>(t) + 1;
        for (int i = 0; i < 200; ++i) {
            const auto allocator = Quill::MemBase::findAllocator(typeid(float));
            const auto array = allocator->create(Quill::DynamicSize(2, new unsigned long long[2]{extent, 3}));
            ASSERT_EQ(array->copy({})->nElements(), extent * 3);
        }
    });
    EXPECT_EQ(Larder::ChunkBase::TotalMemsize, before);
}

} // namespace

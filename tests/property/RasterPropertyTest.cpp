// Random calls of raster, compared bit for bit with the plain statement of its rules.
//
// To look further than the default run does: TILEWRIGHT_CASES=100000 TILEWRIGHT_SEED=7. A failure names the
// seed of its case, with which it runs alone.
#include "tests/property/Rules.h"

#include <cstdlib>
#include <iostream>
#include <thread>

namespace Property {
namespace {

std::uint64_t numberFrom(const char* variable, std::uint64_t otherwise) {
    const char* const text = std::getenv(variable);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

/// On one of several threads nobody can tell who printed what: then only the result is taken.
Outcome run(const Case& c, bool isAlone) {
    const CloudBuilder in = c.build();
    const Larder::Ref<Quill::Grid> out;
    const Larder::Ref<TestSupport::ProgressLog> log(c.refuseAt.value_or(~std::size_t{0}));
    RasterCall call = c.call;
    call.progress = log;
    Outcome outcome;
    if (isAlone)
        static_cast<RasterCall::Outcome&>(outcome) = call.observed(in.grid(), *out);
    else
        outcome.result = call.direct(in.grid(), *out);
    outcome.progress = log->calls;
    outcome.places.resize(c.lattice.product());
    for (const std::string& name : TestSupport::fieldNames(*out)) {
        auto& fragments = outcome.field(name);
        for (std::size_t f = 0; f < fragments.size(); ++f)
            fragments[f] = TestSupport::readCells(TestSupport::dataOf(*out, name, c.indexOf(f)));
    }
    if (const Quill::RegularFieldPtr positions = TestSupport::fieldOf(*out, "Positions"))
        for (std::size_t f = 0; f < outcome.places.size(); ++f) {
            Quill::FragmentID& fragment = *positions->getFragmentID(c.indexOf(f));
            outcome.places[f] = {Quill::FragmentLocation<3, Quill::GlobalOffset>::make(fragment),
                                 Quill::FragmentLocation<3, Quill::LowOverlap>::make(fragment),
                                 Quill::FragmentLocation<3, Quill::HighOverlap>::make(fragment)};
        }
    return outcome;
}

/// Says of two different results of a fragment where the difference begins.
std::string firstDifference(const std::optional<Cells>& wanted, const std::optional<Cells>& found) {
    if (!wanted || !found)
        return found ? "has data" : "has no data";
    if (wanted->type != found->type || wanted->bits.size() != found->bits.size())
        return std::to_string(found->bits.size()) + " numbers of type " + found->type.name();
    const auto [want, have] = std::ranges::mismatch(wanted->bits, found->bits);
    std::ostringstream text;
    text.precision(17);
    text << "number " << want - wanted->bits.begin() << " is " << *have << " ("
         << std::bit_cast<double>(*have) << "), not " << *want << " (" << std::bit_cast<double>(*want) << ")";
    return text.str();
}

void compare(const Outcome& wanted, const Outcome& found) {
    EXPECT_EQ(found.result, wanted.result);
    EXPECT_EQ(found.printed, wanted.printed);
    EXPECT_EQ(found.warned, wanted.warned);
    EXPECT_EQ(found.progress, wanted.progress);
    EXPECT_TRUE(found.places == wanted.places);
    ASSERT_EQ(found.fields.size(), wanted.fields.size());
    for (std::size_t n = 0; n < wanted.fields.size(); ++n) {
        const auto& [name, cells] = wanted.fields[n];
        ASSERT_EQ(found.fields[n].first, name);
        for (std::size_t f = 0; f < cells.size(); ++f)
            if (cells[f] != found.fields[n].second[f])
                ADD_FAILURE() << name << " in fragment " << f << ": "
                              << firstDifference(cells[f], found.fields[n].second[f]);
    }
}

TEST(RandomCalls, GiveWhatThePlainRulesGive) {
    const std::uint64_t first = numberFrom("TILEWRIGHT_SEED", 1);
    const std::uint64_t count = numberFrom("TILEWRIGHT_CASES", 600);
    for (std::uint64_t seed = first; seed < first + count && !HasFailure(); ++seed) {
        const Case c = CaseMaker(seed).make();
        const Outcome wanted = Teller(c).tell();
        compare(wanted, run(c, true));
        if (HasFailure())
            std::cerr << c.describe() << '\n';
    }
}

TEST(RandomCalls, DoNotDisturbOneAnotherOnSeveralThreadsWithACacheTooSmallForAll) {
    const TestSupport::CacheBudget budget(20000);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        std::vector<std::jthread> threads;
        for (std::uint64_t t = 0; t < 3; ++t)
            threads.emplace_back([t] {
                for (std::uint64_t seed = 1000 + t; seed < 1150; seed += 3) {
                    const Case c = CaseMaker(seed).make();
                    const Outcome wanted = Teller(c).tell(), found = run(c, false);
                    EXPECT_EQ(found.result, wanted.result) << seed;
                    EXPECT_TRUE(found.fields == wanted.fields) << seed;
                }
            });
    }
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
}

} // namespace
} // namespace Property

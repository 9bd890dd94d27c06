// A cloud that is larger than the memory it may take: its points are made when the raster asks for them.
#include <cmath>
#include <iostream>
#include <vector>

#include <tilewright/tilewright.h>

using Orrery::PhysicalSpace::point;
using Quill::MultiIndex;

// The data model of the program at hand: samples in strips of ten metres, side by side to the east.
struct Sample {
    float east, north, height;
    unsigned short intensity;
};

constexpr unsigned stripCount = 8;
constexpr unsigned samplesPerStrip = 100 * 100;
static unsigned stripsLoaded = 0;

// In place of reading a file: a sample every ten centimetres on a slope, one metre up for two to the east.
static std::vector<Sample> loadStrip(unsigned number) {
    ++stripsLoaded;
    std::vector<Sample> samples(samplesPerStrip);
    for (unsigned i = 0; i < samplesPerStrip; ++i) {
        const float east = 10.0F * static_cast<float>(number) + 0.1F * static_cast<float>(i % 100) + 0.05F;
        const float north = 0.1F * static_cast<float>(i / 100) + 0.05F;
        samples[i] = {east, north, east / 2, static_cast<unsigned short>(100 + number)};
    }
    return samples;
}

static point positionOf(const Sample& sample) { return {sample.east, sample.north, sample.height}; }
static unsigned short intensityOf(const Sample& sample) { return sample.intensity; }

// One column of a strip, made when it is asked for, and again if the cache has let it go meanwhile.
template <class T> class StripColumn : public Quill::CreativeArrayBase {
public:
    StripColumn(unsigned number, T (*valueOf)(const Sample&)) : Number(number), ValueOf(valueOf) {}

    Quill::ArrayPtr create() override {
        const std::vector<Sample> samples = loadStrip(Number);
        const Larder::Ref<Quill::MemArray<1, T>> values(MultiIndex<1>(samples.size()));
        for (unsigned i = 0; i < samples.size(); ++i)
            (*values)[i] = ValueOf(samples[i]);
        return values;
    }

private:
    unsigned Number;
    T (*ValueOf)(const Sample&);
};

// The strips as a grid: one fragment per strip, one creator per field and strip, and nothing loaded yet.
static Larder::Ref<Quill::Grid> describeCloud() {
    const Larder::Ref<Quill::RegularlyFragmentedField<3>> positions(MultiIndex<3>(stripCount, 1, 1), "Strip");
    // The copy shares the fragments.
    const Larder::Ref<Quill::RegularlyFragmentedField<3>> intensities(*positions);
    for (unsigned number = 0; number < stripCount; ++number) {
        const MultiIndex<3> index(number, 0, 0);
        (*positions)[index] = Larder::Ref<StripColumn<point>>(number, positionOf);
        (*intensities)[index] = Larder::Ref<StripColumn<unsigned short>>(number, intensityOf);
    }

    // Without a box of its own the field would have all its points made, to find their extent.
    positions->addInterface(Larder::Ref<Orrery::BoundingBox>(point{0, 0, 0}, point{80, 10, 40}));

    const Larder::Ref<Quill::Grid> cloud;
    Quill::Representation& fields = cloud->makeCartesianRepresentation(3, "", 0);
    fields["Positions"] = positions;
    fields["Intensity"] = intensities;
    return cloud;
}

// The array of a field of the result in one of its fragments.
template <class T>
static Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable>
valuesOf(const Quill::Grid& result, const char* name, unsigned number) {
    const Quill::RegularFieldPtr field = result.getCartesianRepresentation("")->findField(name);
    return Quill::getData((*field)[{number, 0, 0}]);
}

int main() {
    // Room for the columns of two strips out of eight.
    const unsigned long long budget = 2ULL * samplesPerStrip * (sizeof(point) + sizeof(unsigned short));
    const auto cache = Larder::Cache::MemCache();
    cache->setBudget(budget);

    const Larder::Ref<Quill::Grid> cloud = describeCloud();
    const Larder::Ref<Quill::Grid> result;
    // Half a cell of shift puts the nodes between the strips' edges, so that every sample is in a cell.
    const std::string failure =
        Tilewright::raster(*cloud, *result, {"Positions:Mean:Zdir", "Intensity:Max:All"}, {1.0, 1.0, 0.0},
                           {0, 0, 0}, {0.5, 0.5, 0.0}, false, false, "", 0, nullptr);
    if (!failure.empty()) {
        std::cerr << failure << "\n";
        return 1;
    }

    unsigned long long counted = 0;
    bool isRight = true;
    for (unsigned number = 0; number < stripCount; ++number) {
        const auto heights = valuesOf<double>(*result, "Height", number);
        const auto intensities = valuesOf<unsigned short>(*result, "Intensity", number);
        const auto counts = valuesOf<unsigned short>(*result, "Density", number);
        MultiIndex<3> cell;
        do {
            const double middle = static_cast<double>(10 * number + cell[0]) + 0.5;
            // The samples have single precision.
            isRight = isRight && std::fabs((*heights)[cell] - middle / 2) < 1e-5;
            isRight = isRight && (*intensities)[cell] == 100 + number;
            counted += (*counts)[cell];
        } while (cell.inc(heights->Size()));
    }
    std::cout << "\n"
              << counted << " samples in cells; strips were loaded " << stripsLoaded << " times; "
              << cache->bytesKept() << " of " << budget << " bytes are kept\n";

    const bool isComplete = counted == stripCount * samplesPerStrip;
    const bool isOnDemand = stripsLoaded == 2 * stripCount && cache->bytesKept() <= budget;
    return isRight && isComplete && isOnDemand ? 0 : 1;
}

#include <io/clouds/CloudSelection.h>

#include <tilewright/values/MultiRange.h>

namespace Tilewright::Io {

namespace {

template <class T> class TypedTest : public SelectionTest::Test {
public:
    explicit TypedTest(const CloudSelection& selection)
        : Name(selection.field.name), Axis(selection.axis), Wanted(selection.ranges) {}

    const unsigned char* pass(const RecordFormat& format, const std::byte* records,
                              std::size_t count) override {
        Values.resize(count);
        Passes.resize(count);
        if (Axis)
            decodeCoordinates(format, records);
        else
            decodeField(format, *format.findField(Name), records, std::span(Values));
        const Orrery::MultiRange<T>& wanted = *Wanted;
        for (std::size_t i = 0; i < count; ++i)
            Passes[i] = wanted.contains(Values[i]) ? 1 : 0;
        return Passes.data();
    }

private:
    void decodeCoordinates(const RecordFormat& format, const std::byte* records) {
        Positions.resize(3 * Values.size());
        decodePositions(format, records, Values.size(), Positions.data());
        for (std::size_t i = 0; i < Values.size(); ++i)
            Values[i] = static_cast<T>(Positions[3 * i + *Axis]);
    }

    std::string Name;
    std::optional<std::size_t> Axis;
    std::vector<double> Positions;
    Larder::Ref<Orrery::MultiRange<T>> Wanted;
    std::vector<T> Values;
    std::vector<unsigned char> Passes;
};

} // namespace

SelectionTest::SelectionTest(const std::optional<CloudSelection>& selection) {
    if (selection)
        visitFieldType(selection->axis ? FieldType::Double : selection->field.type,
                       [&]<class T>() { test = std::make_unique<TypedTest<T>>(*selection); });
}

SelectionTest::~SelectionTest() = default;

const unsigned char* SelectionTest::operator()(const RecordFormat& format, const std::byte* records,
                                               std::size_t count) {
    return test->pass(format, records, count);
}

} // namespace Tilewright::Io

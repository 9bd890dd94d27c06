#include <io/preview/PointClasses.h>

#include <array>
#include <cmath>
#include <numbers>

namespace Tilewright::Io {

namespace {

struct PointClass {
    const char* name;
    Colour colour;
};

/// By number; 8 and 12 are those of LAS 1.2, which later versions reserve.
constexpr std::array<PointClass, 23> classes = {{{"never classified", {150, 150, 155}},
                                                 {"unclassified", {196, 196, 200}},
                                                 {"ground", {178, 134, 84}},
                                                 {"low vegetation", {186, 214, 122}},
                                                 {"medium vegetation", {112, 176, 82}},
                                                 {"high vegetation", {44, 118, 62}},
                                                 {"building", {208, 72, 62}},
                                                 {"low point", {228, 60, 200}},
                                                 {"model key-point", {255, 168, 60}},
                                                 {"water", {62, 128, 214}},
                                                 {"rail", {92, 60, 46}},
                                                 {"road surface", {104, 104, 112}},
                                                 {"overlap", {170, 196, 214}},
                                                 {"wire guard", {250, 220, 70}},
                                                 {"wire conductor", {236, 190, 20}},
                                                 {"transmission tower", {126, 84, 188}},
                                                 {"wire connector", {182, 150, 240}},
                                                 {"bridge deck", {150, 82, 110}},
                                                 {"high noise", {255, 110, 170}},
                                                 {"overhead structure", {70, 168, 168}},
                                                 {"ignored ground", {222, 194, 158}},
                                                 {"snow", {206, 240, 252}},
                                                 {"temporal exclusion", {60, 60, 100}}}};

bool hasName(int number) { return number >= 0 && static_cast<std::size_t>(number) < classes.size(); }

} // namespace

std::string nameOfClass(int number) {
    const std::string text = std::to_string(number);
    return hasName(number) ? text + " " + classes[static_cast<std::size_t>(number)].name : text;
}

Colour colourOfClass(int number) {
    if (hasName(number))
        return classes[static_cast<std::size_t>(number)].colour;
    // Steps of the golden angle keep any number of hues far apart.
    constexpr double goldenAngle = 2.399963229728653;
    const auto share = [&](int third) {
        return 0.5 + 0.38 * std::cos(goldenAngle * number + third * 2 * std::numbers::pi / 3);
    };
    return {255 * share(0), 255 * share(1), 255 * share(2)};
}

} // namespace Tilewright::Io

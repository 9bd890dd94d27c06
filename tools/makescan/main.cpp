/// Makes a small airborne laser scan of a valley that does not exist, for demos, tests and benchmarks.
///
/// The landscape is built first: relief, roads, houses, trees. Then a scanner flies over it in strips and
/// follows every pulse down to what it meets. All coordinates are metres from the south-west corner of the
/// scene until they reach the file.
#include "Landscape.h"
#include "LasWriter.h"
#include "Scanner.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <vector>

namespace Tilewright::MakeScan {

namespace {

struct Request {
    std::string out;
    double points = 400000;
    double density = 2.5;
    std::uint64_t seed = 7;
};

/// Calls take(Shot, std::span<const Echo>) for each pulse, with the echoes that lie in the scene.
template <class Take>
void scan(const Landscape& landscape, const Scanner& scanner, double spacing, std::uint64_t seed, Take take) {
    scanner.fly(spacing, seed, [&](const Shot& shot, Chance& chance) {
        std::vector<Echo> echoes = landscape.echoes(shot.pulse, chance);
        std::erase_if(echoes, [&](const Echo& echo) { return !scanner.covers(echo.x, echo.y); });
        take(shot, std::span<const Echo>(echoes));
    });
}

/// The spacing of pulses that gives about the requested number of points. The number of echoes per pulse
/// depends on the landscape, so a thin scan counts them first.
double spacingFor(const Request& request, const Landscape& landscape, const Scanner& scanner, double side) {
    const double thin = std::max(side / 150, std::sqrt(side * side / request.points));
    double found = 0;
    scan(landscape, scanner, thin, request.seed,
         [&](const Shot&, std::span<const Echo> echoes) { found += static_cast<double>(echoes.size()); });
    return thin * std::sqrt(found / request.points);
}

void make(const Request& request) {
    const double side = std::sqrt(request.points / request.density);
    const Landscape landscape(request.seed, side);
    const Scanner scanner(side);
    const double spacing = spacingFor(request, landscape, scanner, side);

    LasWriter file(request.out);
    scan(landscape, scanner, spacing, request.seed,
         [&](const Shot& shot, std::span<const Echo> echoes) { file.add(shot, echoes); });
    file.finish();
    std::cout << request.out << ": " << file.points() << " points in " << scanner.strips() << " strips over "
              << std::lround(side) << " x " << std::lround(side) << " m\n";
}

int run(int argc, char** argv) {
    Request request;
    CLI::App app("Makes an airborne laser scan of a valley that does not exist", "tilewright-makescan");
    app.add_option("OUT", request.out, "LAS file to write")->required();
    app.add_option("--points", request.points, "About how many points")
        ->check(CLI::Range(1000.0, 4e9))
        ->capture_default_str();
    app.add_option("--density", request.density,
                   "Points per square metre; the size of the scene follows from it")
        ->check(CLI::Range(0.01, 1000.0))
        ->capture_default_str();
    app.add_option("--seed", request.seed, "A different number makes a different valley")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        make(request);
    } catch (const std::exception& error) {
        std::cerr << "tilewright-makescan: " << error.what() << '\n';
        return 1;
    }
    return 0;
}

} // namespace

} // namespace Tilewright::MakeScan

int main(int argc, char** argv) { return Tilewright::MakeScan::run(argc, argv); }

#include <tilewright/model/BaseSpace.h>

namespace Quill {

BaseSpaceDependency::~BaseSpaceDependency() = default;

bool BaseSpaceDependency::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    return Ownable<BaseSpaceDependency>::processOwnership(target, source);
}

BaseSpace::~BaseSpace() = default;

bool BaseSpace::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    return Ownable<BaseSpace>::processOwnership(target, source);
}

CartesianChart::CartesianChart(const std::string& chartName, unsigned short chartNumber)
    : name(chartName), number(chartNumber) {}

CartesianChart::~CartesianChart() = default;

} // namespace Quill

#include <tilewright/model/BaseSpace.h>

namespace Quill {

BaseSpaceDependency::~BaseSpaceDependency() = default;

bool BaseSpaceDependency::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    return Ownable<BaseSpaceDependency>::processOwnership(target, source);
}

void BaseSpaceDependency::takeAge(const Larder::Ageable& changed) { updateOwnershipAge(changed); }

BaseSpace::~BaseSpace() = default;

bool BaseSpace::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    return Ownable<BaseSpace>::processOwnership(target, source);
}

void BaseSpace::takeAge(const Larder::Ageable& changed) { updateOwnershipAge(changed); }

CartesianChart::CartesianChart(const std::string& chartName, unsigned short chartNumber)
    : name(chartName), number(chartNumber) {}

CartesianChart::~CartesianChart() = default;

} // namespace Quill

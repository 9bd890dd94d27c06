#pragma once

#include <string>

#include <tilewright/model/Ownable.h>
#include <tilewright/model/references.h>

namespace Quill {

/// Something described over a base space: it owns fields.
class TILEWRIGHT_API BaseSpaceDependency : public Ownable<Field>::Container,
                                           public Ownable<BaseSpaceDependency> {
public:
    ~BaseSpaceDependency() override;

    bool processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const override;
};

/// Something over which others can be described: a skeleton or a chart.
class TILEWRIGHT_API BaseSpace : public Ownable<BaseSpaceDependency>::Container,
                                 public Ownable<BaseSpace>,
                                 public Larder::Intercube {
public:
    ~BaseSpace() override;

    bool processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const override;
};

/// A Cartesian coordinate system, identified by name and number.
class TILEWRIGHT_API CartesianChart : public BaseSpace {
public:
    CartesianChart(const std::string& chartName, unsigned short chartNumber);
    ~CartesianChart() override;

    const std::string name;
    const unsigned short number;
};

} // namespace Quill

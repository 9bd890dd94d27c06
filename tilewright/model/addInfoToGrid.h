#pragma once

#include <string>

#include <tilewright/model/Grid.h>

namespace Retort::Commonplace {

/// Stores `Text` as the attribute of `grid` whose name is `Source`. The grid that the text is about and the
/// two numbers are for other stores of such reports.
TILEWRIGHT_API void addInfoToGrid(const std::string& Text, Quill::Grid& grid, const std::string& Source,
                                  const Quill::GridPtr& other, const int&, const int&);

} // namespace Retort::Commonplace

#include <tilewright/model/RegularlyFragmentedGrid.h>

namespace Quill {

TypedGrid::~TypedGrid() = default;

RegularlyFragmentedGridBase::~RegularlyFragmentedGridBase() = default;

} // namespace Quill

template class Quill::RegularlyFragmentedGrid<3>;

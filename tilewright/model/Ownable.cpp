#include <tilewright/model/Ownable.h>

namespace Quill {

OwnerBase::OwnerBase() = default;

OwnerBase::~OwnerBase() = default;

SaveableAttributes::~SaveableAttributes() = default;

} // namespace Quill

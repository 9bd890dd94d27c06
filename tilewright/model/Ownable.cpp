#include <tilewright/model/Ownable.h>

namespace Quill {

OwnerBase::OwnerBase() = default;

OwnerBase::~OwnerBase() = default;

void OwnerBase::updateOwnershipAge(const Larder::Ageable&) {}

SaveableAttributes::~SaveableAttributes() = default;

} // namespace Quill

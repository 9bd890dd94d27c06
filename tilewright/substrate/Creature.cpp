#include <tilewright/substrate/Creature.h>

namespace Larder {

unsigned long long Ageable::GlobalTime = 0;

Creature::Creature() : ReferenceBase(this) {}

Creature::~Creature() = default;

void Creature::enableCaching(bool) const {}

} // namespace Larder

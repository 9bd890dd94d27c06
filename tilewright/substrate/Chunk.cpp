#include <tilewright/substrate/Chunk.h>

namespace Larder {

RelaxedCounter ChunkBase::TotalMemsize;

ChunkBase::ChunkBase() : ReferenceBase(this) {}

ChunkBase::~ChunkBase() = default;

} // namespace Larder

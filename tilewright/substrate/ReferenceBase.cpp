#include <tilewright/substrate/ReferenceBase.h>

void Larder::throwMemoryException() { throw MemoryException(); }

#include <tilewright/substrate/breakpoint.h>

void Larder::breakpoint() {}

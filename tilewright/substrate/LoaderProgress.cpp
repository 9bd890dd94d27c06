#include <tilewright/substrate/LoaderProgress.h>

Larder::LoaderProgress::~LoaderProgress() = default;

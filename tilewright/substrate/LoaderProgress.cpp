#include <tilewright/substrate/LoaderProgress.h>

template class Larder::Interface<Larder::LoaderProgress>;

Larder::LoaderProgress::~LoaderProgress() = default;

#pragma once

#include <mutex>
#include <string>

#include <tilewright/substrate/Interface.h>

namespace Larder {

class TILEWRIGHT_API LoaderProgress;

extern template class Interface<LoaderProgress>;

/// A sink for progress reports, implemented by the caller of a long operation. The mutex is for the
/// implementer; nothing in the library locks it.
class TILEWRIGHT_API LoaderProgress : public Interface<LoaderProgress>, public std::mutex {
public:
    ~LoaderProgress() override;

    /// `done` of `total` steps of `what` are finished; false asks the operation to stop. Called on the thread
    /// of the operation.
    virtual bool reportProgress(const std::string& what, unsigned done, unsigned total) = 0;
};

} // namespace Larder

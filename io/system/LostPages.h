/// LostPages: keeps the process alive when a page of a mapped file can't be read.
///
/// The system answers such a read with SIGBUS, which ends the process. Instead zeros take the place of the
/// page and of all after it, and the map is marked.
#pragma once

#include <atomic>
#include <cstddef>
#include <span>

namespace Tilewright::Io {

/// Guards a map from now on. What comes back turns true when a page of it is lost; it is valid until the map
/// is forgotten. Throws InputError if the handler can't be installed.
const std::atomic<bool>* guardPages(std::span<const std::byte> map);

/// Ends the guard, before the memory is unmapped. Null is ignored.
void forgetPages(const std::atomic<bool>* guard) noexcept;

} // namespace Tilewright::Io

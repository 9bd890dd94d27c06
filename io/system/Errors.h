/// Errors: what the readers and writers throw.
///
/// The text of each is one line for the person at the keyboard: what is wrong, with which file, and what to
/// do about it where that helps.
#pragma once

#include <stdexcept>

#include <tilewright/export.h>

namespace Tilewright::Io {

class TILEWRIGHT_API Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file that cannot be read or is not what it claims to be.
class TILEWRIGHT_API InputError : public Error {
public:
    using Error::Error;
};

/// A file that cannot be opened as what it is asked for.
class TILEWRIGHT_API FileError : public InputError {
public:
    using InputError::InputError;
};

/// A file that is not there, or a pattern that none fits.
class TILEWRIGHT_API MissingFileError : public FileError {
public:
    using FileError::FileError;
};

/// A result that cannot be written.
class TILEWRIGHT_API OutputError : public Error {
public:
    using Error::Error;
};

/// A request that makes no sense, whatever the files hold.
class TILEWRIGHT_API UsageError : public Error {
public:
    using Error::Error;
};

/// The user has asked to stop.
class TILEWRIGHT_API Interruption : public Error {
public:
    Interruption() : Error("interrupted") {}
};

} // namespace Tilewright::Io

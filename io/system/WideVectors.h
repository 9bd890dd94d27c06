/// WideVectors: compiles a function for wider vectors too, and takes that version on processors that have
/// them.
#pragma once

#include <features.h>

/// Before a function whose loops the compiler turns into vectors. Results have the same bits either way,
/// because no version may contract a product and a sum.
#if defined(__GLIBC__) && defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) &&                 \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define TILEWRIGHT_WIDE_VECTORS __attribute__((target_clones("default", "avx2")))
#else
#define TILEWRIGHT_WIDE_VECTORS
#endif

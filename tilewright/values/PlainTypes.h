/// PlainTypes: the plain numbers among the value types of fields. The whole catalogue is arrays/ValueTypes.h.
#pragma once

/// In the order in which a field is probed for them.
#define TILEWRIGHT_PLAIN_VALUE_TYPES(X)                                                                      \
    X(float)                                                                                                 \
    X(double)                                                                                                \
    X(unsigned char)                                                                                         \
    X(unsigned short)                                                                                        \
    X(unsigned int)                                                                                          \
    X(unsigned long long)                                                                                    \
    X(int)

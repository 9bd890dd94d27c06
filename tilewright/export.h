/// TILEWRIGHT_API marks what the library exports: everything else is hidden.
///
/// Class templates carry it too, and so do the types that they are instantiated with. A template over a
/// hidden type would be hidden itself, and its run-time type information would then exist once in the library
/// and once in the client, so that a dynamic cast between the two could fail.
///
/// So do forward declarations: GCC settles whether a template over a class is hidden by what it has seen of
/// the class when the template is first named.
#pragma once

#define TILEWRIGHT_API __attribute__((visibility("default")))

// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Holds one object of static storage that is built before any dynamic initialisation (declare the holder
/// constinit) and never destroyed: static objects of callers may use it before our own statics exist and
/// after those are gone.
template <class Type>
union NeverDestroyed
{
    constexpr NeverDestroyed() : itsObject() {}
    ~NeverDestroyed() {}

    Type itsObject;
};

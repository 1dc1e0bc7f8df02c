// Whether this is a checking build: one with assertions, which looks after its own passes.
#pragma once

namespace pelorus {

#ifdef NDEBUG
constexpr bool CHECKING_BUILD = false;
#else
constexpr bool CHECKING_BUILD = true;
#endif

} // namespace pelorus

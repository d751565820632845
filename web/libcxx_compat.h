// SPDX-License-Identifier: Apache-2.0
// C++20 library pieces that the libc++ of Debian's Emscripten (libc++ 13)
// lacks, given to every source of the WebAssembly build with -include. Each
// is the standard's definition over the compiler's builtin.
#ifndef FIBERDECODE_WEB_LIBCXX_COMPAT_H
#define FIBERDECODE_WEB_LIBCXX_COMPAT_H

#include <type_traits>
#include <version>

#if defined(_LIBCPP_VERSION) && !defined(__cpp_lib_bit_cast)
namespace std {
template <class To, class From>
    requires(sizeof(To) == sizeof(From) && is_trivially_copyable_v<To> && is_trivially_copyable_v<From>)
constexpr To bit_cast(const From &from) noexcept {
    return __builtin_bit_cast(To, from);
}
}  // namespace std
#endif

#endif

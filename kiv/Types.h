// Integer names used throughout the project.
//
// The width is part of every interface: attributes, hardware ids and counters are documented by
// it, and the 32-bit and 64-bit builds must agree on it.
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace Kiv {

// Brought into other namespaces with `using namespace Kiv::Integers;`.
namespace Integers {
using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using S8 = std::int8_t;
using S16 = std::int16_t;
using S32 = std::int32_t;
using S64 = std::int64_t;
}  // namespace Integers

using namespace Integers;

template < std::integral T >
constexpr auto sameWidth() {
  constexpr bool isSigned = std::is_signed_v< T >;
  if constexpr ( sizeof( T ) == 1 )
    return std::conditional_t< isSigned, S8, U8 >();
  else if constexpr ( sizeof( T ) == 2 )
    return std::conditional_t< isSigned, S16, U16 >();
  else if constexpr ( sizeof( T ) == 4 )
    return std::conditional_t< isSigned, S32, U32 >();
  else
    return std::conditional_t< isSigned, S64, U64 >();
}

// The name above for an integer type of the language: U64 or U32 for unsigned long, by the word
// size.
template < std::integral T >
using FixedWidth = decltype( sameWidth< T >() );

}  // namespace Kiv

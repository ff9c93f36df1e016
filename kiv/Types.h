// Integer names used throughout the project.
//
// The width is part of every interface: attributes, hardware ids and counters are documented by
// it, and the 32-bit and 64-bit builds must agree on it.
#pragma once

#include <cstdint>

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

}  // namespace Kiv

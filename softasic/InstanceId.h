// Group and entry ids of the chip: a 24-bit number with the table instance above it.
//
//   bits 0-23 number, bits 24-25 pipe, bit 26 copy within the pipe, bits 27-31 zero
//
// Chip rules
// - Ingress (IFP) tables exist per pipe and copy: a group's bits choose its instance, and the
//   entries of a group carry the same bits. A pipe or a copy that the chip lacks: -4.
// - Tables that exist once (VFP, EFP, and all tables of a chip that shares them between pipes) have
//   groups without instance bits. On a shared chip entry ids may have pipe bits all the same; they
//   only tell entries of one group apart.
#pragma once

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

inline constexpr U32 idNumberMask = 0x00FFFFFF;
inline constexpr U32 idPipeMask = 0x03000000;
inline constexpr U32 idCopyMask = 0x04000000;
inline constexpr U32 idInstanceMask = idPipeMask | idCopyMask;

inline U32 idNumber( U32 id ) {
  return id & idNumberMask;
}
inline U32 idPipe( U32 id ) {
  return ( id & idPipeMask ) >> 24;
}
inline U32 idCopy( U32 id ) {
  return ( id & idCopyMask ) >> 26;
}
inline U32 idInstance( U32 id ) {
  return id & idInstanceMask;
}
inline bool idWellFormed( U32 id ) {
  return ( id & ~( idNumberMask | idInstanceMask ) ) == 0;
}

}  // namespace SoftAsic

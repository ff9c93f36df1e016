// Group and entry ids: a 24-bit number with the table instance in the bits above.
//
//   bits 0-23 number, bits 24-25 pipe, bit 26 copy within the pipe, bits 27-31 zero
//
// Chip rules
// - Ingress (IFP) tables exist per pipe and copy: the bits of a group id select the instance, and
//   entry ids have the bits of their group. BCM_E_PARAM for a pipe or copy that the chip lacks.
// - Group ids of single-instance tables (VFP, EFP, and all tables if the pipes share them) have no
//   instance bits. With shared tables entry ids may still have pipe bits, which only make them
//   distinct.
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

// Sets of ports, in words of 32, whatever the SDK's record of them is. Included by shim/SdkTypes.h.
#pragma once

namespace Shim {

inline constexpr U32 portsWords = BCM_PBMP_PORT_MAX / 32;

inline void portsAdd( bcm_pbmp_t & ports, U32 port ) {
  Fields::portsWordIs( ports, port / 32,
                       Fields::portsWord( ports, port / 32 ) | 1U << ( port % 32 ) );
}

// The set whose words are function( word of a, word of b ).
template < class F >
bcm_pbmp_t portsOf( const bcm_pbmp_t & a, const bcm_pbmp_t & b, F function ) {
  bcm_pbmp_t ports = {};
  for ( U32 word = 0; word < portsWords; ++word )
    Fields::portsWordIs( ports, word,
                         function( Fields::portsWord( a, word ), Fields::portsWord( b, word ) ) );
  return ports;
}

inline bcm_pbmp_t allPorts() {
  return portsOf(
      {}, {}, []( U32, U32 ) { return ~0U; } );
}

}  // namespace Shim

#ifdef MORVANE_SDK_HEADER
// What attributes need of the record, and a C header cannot declare.
inline bool operator==( const bcm_pbmp_t & a, const bcm_pbmp_t & b ) {
  for ( Kiv::U32 word = 0; word < Shim::portsWords; ++word )
    if ( Shim::Fields::portsWord( a, word ) != Shim::Fields::portsWord( b, word ) )
      return false;
  return true;
}

template <>
struct Kiv::FieldsOf< bcm_pbmp_t > {
  static constexpr const char * typeName = "bcm_pbmp_t";
  static constexpr auto fields() { return Shim::Fields::portsFields< bcm_pbmp_t >(); }
};
#endif

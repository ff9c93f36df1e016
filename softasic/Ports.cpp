#include "softasic/Ports.h"

namespace SoftAsic {

bool isSubset( const bcm_pbmp_t & inner, const bcm_pbmp_t & outer ) {
  for ( U32 i = 0; i < BCM_PBMP_PORT_MAX / 32; ++i )
    if ( ( inner.pbits[ i ] & ~outer.pbits[ i ] ) != 0 )
      return false;
  return true;
}

Ports::Ports( const ChipProfile & profile )
    : count_( profile.ports() ),
      portsPerPipe_( profile.portsPerPipe ),
      secondCopy_( profile.secondCopy ) {
  for ( U32 port = 0; port < count_; ++port ) {
    config_.all.add( port );
    config_.per_pipe_ports[ pipeOf( port ) ].add( port );
  }
}

}  // namespace SoftAsic
